-- Jetty: start.ini and start.d for the ports, one site per application.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")
local sites = require("sites")
local tomcat = require("tomcat")

local M = {}

local function read_values(instance, base)
  local values, modules = {}, {}
  local paths = instance.files:glob(base .. "/start.d/*.ini")
  table.insert(paths, 1, base .. "/start.ini")
  for _, path in ipairs(paths) do
    local text = instance.files:is_file(path) and instance.files:configuration(path)
    if text then
      settings.ini(text, function(name, value)
        if name == "--module" then
          for module in value:gmatch("[^,%s]+") do modules[module] = true end
        else
          values[name] = value
        end
      end)
    end
  end
  return values, modules
end

function M.read(instance)
  local base = instances.property(instance, "jetty.base") or
    instances.property(instance, "jetty.home") or ""
  local conf_path = base ~= "" and files.join(base, "start.ini") or instance.conf_path
  local model = sites.new_model(conf_path)
  if base == "" then return model end
  local values, modules = read_values(instance, base)
  if values["jetty.http.port"] or modules.http or not modules.https then
    addresses.add(model.listen, addresses.listen(values["jetty.http.host"] or "*",
      values["jetty.http.port"] or "8080", false))
  end
  if modules.https or modules.ssl then
    addresses.add(model.listen, addresses.listen(values["jetty.ssl.host"] or "*",
      values["jetty.ssl.port"] or "8443", true))
  end
  local element = { attributes = { appBase = "webapps" }, contexts = {} }
  for _, context in ipairs(tomcat.contexts(instance, element, base)) do
    local site = sites.new_site()
    site.path = context.path:lower() == "/root" and "/" or context.path
    site.root = context.root
    for _, entry in ipairs(model.listen) do addresses.add(site.listen, entry) end
    sites.add(model, site)
  end
  return model
end

return M
