-- Type 9: one record per virtual host or context.

local instances = require("instances")
local web_servers = require("web_servers")

local M = {}

local Site = host.record({ "server", "environment", "server_name", "aliases", "path", "listen",
  "tls", "certificate_path", "certificate_expiry", "root", "root_owner", "root_mode", "upstream",
  "access_log", "error_log", "conf_path", "pid" })

local CERTIFICATE_BYTES = 1 << 18

-- When the certificate ends, in milliseconds as text; empty if that can't be told.
local function expiry(instance, path)
  if path == "" then return "" end
  instance.certificates = instance.certificates or {}
  local known = instance.certificates[path]
  if known then return known end
  local text = instance.files:read(path, CERTIFICATE_BYTES)
  local ends = text and host.certificate(text)
  known = ends and tostring(ends) .. "000" or ""
  instance.certificates[path] = known
  return known
end

-- What the files of the sites tell besides the configuration.
local function look(instance, model)
  for _, site in ipairs(model.sites) do
    site.owner, site.mode = instance.files:owner(site.root)
    site.certificate_expiry = expiry(instance, site.certificate_path)
  end
end

function M.collect(run, list)
  web_servers.each(run, function(instance, model)
    for _, site in ipairs(model.sites) do
      list:add(setmetatable({
        server = instance.name,
        environment = web_servers.environment(instance),
        server_name = site.server_name,
        aliases = site.aliases,
        path = site.path,
        listen = site.listen,
        tls = site.tls and "1" or "0",
        certificate_path = site.certificate_path,
        certificate_expiry = site.certificate_expiry,
        root = site.root,
        root_owner = site.owner,
        root_mode = site.mode,
        upstream = site.upstream,
        access_log = site.access_log,
        error_log = site.error_log,
        conf_path = model.conf_path,
        pid = instance.process.pid,
      }, Site), instances.owner(instance))
    end
  end, look)
end

return M
