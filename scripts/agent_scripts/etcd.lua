-- etcd: the command line, else ETCD_ variables, else a YAML file.

local addresses = require("addresses")
local instances = require("instances")
local settings = require("settings")

local M = {}

local NOTED = { "name", "listen-client-urls", "listen-peer-urls", "advertise-client-urls",
  "data-dir", "cert-file", "client-cert-auth", "trusted-ca-file", "peer-client-cert-auth",
  "auth-token" }

local function values_of(instance, path)
  local values = {}
  local text = path ~= "" and path:find("%.ya?ml") and instance.files:configuration(path)
  if text then
    settings.yaml(text, function(name, value)
      values[name:gsub("^client%-transport%-security%.", "")] = value
    end)
    -- With such a file neither variables nor the command line count.
    return values
  end
  for _, name in ipairs(NOTED) do
    local variable = instances.variable(instance, "ETCD_" .. name:upper():gsub("-", "_"))
    if variable ~= "" then values[name] = variable end
    local given = instances.option(instance, { "--" .. name })
    if given then values[name] = given end
  end
  for _, word in ipairs(instances.arguments(instance)) do
    local flag = word:match("^%-%-([%w-]+)$")
    if flag and flag:find("client%-cert%-auth$") then values[flag] = "true" end
  end
  return values
end

function M.read(instance, databases)
  local path = instances.configuration(instance, { "--config-file" }, {})
  local model = databases.new_model(path)
  local values = values_of(instance, path)
  model.data_path = values["data-dir"] or (values.name or "default") .. ".etcd"
  model.authentication = values["client-cert-auth"] == "true" and "1" or ""
  for url in (values["listen-client-urls"] or "http://localhost:2379"):gmatch("[^,%s]+") do
    local scheme, rest = url:match("^(%a+)://([^/]+)")
    if scheme then
      local address, port = addresses.parse(rest, "2379")
      if scheme == "https" then model.tls = "1" end
      addresses.add(model.listen, addresses.listen(address, port, scheme == "https"))
    end
  end
  databases.note(model, NOTED, values)
  return model
end

return M
