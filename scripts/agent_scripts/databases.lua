-- Type 12: one record per database server, with the settings that matter for
-- security as they are configured.

local addresses = require("addresses")
local apart = require("apart")
local instances = require("instances")
local secrets = require("secrets")
local web_servers = require("web_servers")

local M = {}

local Database = host.record({ "name", "version", "environment", "user", "binary_path", "conf_path",
  "data_path", "listen", "listen_all", "authentication", "tls", "settings", "pid" })
local Setting = host.record({ "name", "value" })

local MAXIMUM_VALUE_BYTES = 1024

-- What a reader fills: addresses, whether anybody may come in, settings in order.
function M.new_model(conf_path)
  return { conf_path = conf_path, data_path = "", listen = host.array(), authentication = "",
    tls = "0", settings = host.array() }
end

-- Notes the settings of `names` that `values` has, in that order.
function M.note(model, names, values)
  for _, name in ipairs(names) do
    local value = values[name]
    if value ~= nil then
      local shown = secrets.shown(name, tostring(value)):sub(1, MAXIMUM_VALUE_BYTES)
      model.settings[#model.settings + 1] = setmetatable({ name = name, value = shown }, Setting)
    end
  end
end

local function listens_on_all(model)
  for _, entry in ipairs(model.listen) do
    if addresses.all(entry.address) then return "1" end
  end
  return "0"
end

local function read(instance)
  local module = instances.DATABASE[instance.name]
  if not module then return M.new_model(instance.conf_path) end
  local model = apart.run(instance.name .. ": configuration can't be understood",
    instances.owner(instance), function() return require(module).read(instance, M) end)
  return model or M.new_model(instance.conf_path)
end

function M.collect(run, list)
  for _, instance in ipairs(run.instances) do
    if instances.DATABASE[instance.name] or instance.app_type == "db" then
      local model = read(instance)
      list:add(setmetatable({
        name = instance.name,
        version = instances.version(instance),
        environment = web_servers.environment(instance),
        user = instance.user,
        binary_path = instance.binary_path,
        conf_path = model.conf_path,
        data_path = model.data_path,
        listen = model.listen,
        listen_all = listens_on_all(model),
        authentication = model.authentication,
        tls = model.tls,
        settings = model.settings,
        pid = host.array(instance.pids),
      }, Database), instances.owner(instance))
    end
  end
end

return M
