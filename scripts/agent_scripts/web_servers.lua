-- Type 8: one record per web server.

local apart = require("apart")
local instances = require("instances")

local M = {}

local Server = host.record({ "name", "version", "environment", "user", "binary_path", "conf_path",
  "install_path", "listen", "pid" })
local Environment = host.record({ "type", "id" })

function M.environment(instance) return setmetatable(instance.environment, Environment) end

-- The servers with what their configurations say, one after the other:
-- visit(instance, model). A reader that fails costs one server's details.
-- What look(instance, model) does to a model on the way is bounded like reading.
function M.each(run, visit, look)
  for _, instance in ipairs(run.instances) do
    local module = instances.WEB[instance.name]
    if module then
      local model = apart.run(instance.name .. ": configuration can't be understood",
        instances.owner(instance), function()
          local read = require(module).read(instance)
          if look then look(instance, read) end
          return read
        end)
      visit(instance, model or require("sites").new_model(instance.conf_path))
    elseif instance.app_type == "web" then
      visit(instance, require("sites").new_model(instance.conf_path))
    end
  end
end

function M.collect(run, list)
  M.each(run, function(instance, model)
    list:add(setmetatable({
      name = instance.name,
      version = instances.version(instance),
      environment = M.environment(instance),
      user = instance.user,
      binary_path = instance.binary_path,
      conf_path = model.conf_path,
      install_path = instance.install_path ~= "" and instance.install_path or instance.binary_path,
      listen = model.listen,
      pid = host.array(instance.pids),
    }, Server), instances.owner(instance))
  end)
end

return M
