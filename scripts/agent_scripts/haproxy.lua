-- HAProxy: one site per frontend and per "listen" section.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")
local sites = require("sites")

local M = {}

local MAXIMUM_SECTIONS = 50000
local SECTIONS = { global = true, defaults = true, frontend = true, backend = true, listen = true }

-- The sections of a text, in order: {kind, name, lines of words}.
function M.parse(text)
  local list, current = {}, nil
  settings.lines(text, function(line)
    line = line:match("^[^#]*")
    local words = {}
    for word in line:gmatch("%S+") do words[#words + 1] = word end
    if #words == 0 then return end
    if SECTIONS[words[1]] and #list < MAXIMUM_SECTIONS then
      current = { kind = words[1], name = words[2] or "", lines = {} }
      list[#list + 1] = current
    elseif current then
      current.lines[#current.lines + 1] = words
    end
  end)
  return list
end

local function servers_of(section, site)
  for _, words in ipairs(section.lines) do
    if words[1] == "server" and words[3] then sites.add_unique(site.upstream, words[3]) end
  end
end

local function site_of(section, backends)
  local site = sites.new_site()
  site.server_name = section.name
  for _, words in ipairs(section.lines) do
    if words[1] == "bind" and words[2] then
      local tls, certificate = false, nil
      for position = 3, #words do
        if words[position] == "ssl" then tls = true end
        if words[position] == "crt" then certificate = words[position + 1] end
      end
      for part in words[2]:gmatch("[^,]+") do
        local address, port = addresses.parse(part, "")
        addresses.add(site.listen, addresses.listen(address, port, tls))
      end
      if certificate and site.certificate_path == "" then site.certificate_path = certificate end
    elseif (words[1] == "default_backend" or words[1] == "use_backend") and words[2] then
      if backends[words[2]] then servers_of(backends[words[2]], site) end
    end
  end
  servers_of(section, site)
  return site
end

function M.read(instance)
  local conf_path = instances.configuration(instance, { "-f" }, { "/etc/haproxy/haproxy.cfg" })
  local model = sites.new_model(conf_path)
  local paths = { conf_path }
  if instance.files:is_directory(conf_path) then paths = instance.files:glob(conf_path .. "/*.cfg") end
  local list, backends = {}, {}
  for _, path in ipairs(paths) do
    local text = path ~= "" and instance.files:configuration(path)
    for _, section in ipairs(text and M.parse(text) or {}) do
      list[#list + 1] = section
      if section.kind == "backend" then backends[section.name] = section end
    end
  end
  for _, section in ipairs(list) do
    if section.kind == "frontend" or section.kind == "listen" then
      local site = site_of(section, backends)
      if site.certificate_path ~= "" then
        site.certificate_path = files.join(files.directory(conf_path), site.certificate_path)
      end
      sites.add(model, site)
    end
  end
  return model
end

return M
