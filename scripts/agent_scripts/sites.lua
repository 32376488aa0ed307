-- What the readers of web server configurations give: a model with `conf_path`,
-- `listen` and `sites`.

local addresses = require("addresses")

local M = {}

function M.new_model(conf_path)
  return { conf_path = conf_path, listen = host.array(), sites = {} }
end

function M.new_site()
  return {
    server_name = "", aliases = host.array(), path = "/", listen = host.array(), tls = false,
    certificate_path = "", root = "", upstream = host.array(), access_log = "", error_log = "",
  }
end

function M.add_unique(list, text)
  if text == "" then return end
  local seen = rawget(list, "seen") or {}
  if seen[text] then return end
  seen[text] = true
  rawset(list, "seen", seen)
  list[#list + 1] = text
end

-- Adds the site, and its addresses to those of the server.
function M.add(model, site)
  model.sites[#model.sites + 1] = site
  for _, entry in ipairs(site.listen) do
    addresses.add(model.listen, addresses.listen(entry.address, entry.port, entry.tls == "1"))
    if entry.tls == "1" then site.tls = true end
  end
end

return M
