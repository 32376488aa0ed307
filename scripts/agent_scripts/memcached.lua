-- Memcached: everything is on the command line.

local addresses = require("addresses")
local instances = require("instances")

local M = {}

local NOTED = { "listen", "port", "udp-port", "enable-sasl", "enable-ssl", "auth-file", "unix-socket" }
local FLAGS = { ["-S"] = "enable-sasl", ["--enable-sasl"] = "enable-sasl", ["-Z"] = "enable-ssl",
  ["--enable-ssl"] = "enable-ssl" }

function M.read(instance, databases)
  local model = databases.new_model(instance.conf_path)
  local values = {
    listen = instances.option(instance, { "-l", "--listen" }),
    port = instances.option(instance, { "-p", "--port" }),
    ["udp-port"] = instances.option(instance, { "-U", "--udp-port" }),
    ["unix-socket"] = instances.option(instance, { "-s", "--unix-socket" }),
    ["auth-file"] = instances.option(instance, { "-Y", "--auth-file" }),
  }
  for _, word in ipairs(instances.arguments(instance)) do
    if FLAGS[word] then values[FLAGS[word]] = "on" end
  end
  model.authentication = (values["enable-sasl"] or values["auth-file"]) and "1" or "0"
  model.tls = values["enable-ssl"] and "1" or "0"
  if values["unix-socket"] then
    addresses.add(model.listen, addresses.listen("unix:" .. values["unix-socket"], "", false))
  else
    for address in (values.listen or "*"):gmatch("[^,]+") do
      local name, port = addresses.parse(address, values.port or "11211")
      addresses.add(model.listen, addresses.listen(name, port, model.tls == "1"))
    end
  end
  databases.note(model, NOTED, values)
  return model
end

return M
