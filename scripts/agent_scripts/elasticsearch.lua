-- Elasticsearch and OpenSearch: a YAML file in the configuration directory.

local addresses = require("addresses")
local instances = require("instances")
local settings = require("settings")

local M = {}

local NOTED = { "cluster.name", "network.host", "http.host", "http.port", "transport.port",
  "discovery.type", "xpack.security.enabled", "xpack.security.http.ssl.enabled",
  "xpack.security.http.ssl.keystore.password", "plugins.security.disabled",
  "plugins.security.ssl.http.enabled", "xpack.security.authc.anonymous.username" }

function M.read(instance, databases)
  local name = instance.name == "OpenSearch" and "opensearch" or "elasticsearch"
  local short = name == "opensearch" and "opensearch" or "es"
  local directory = instances.property(instance, short .. ".path.conf") or "/etc/" .. name
  local path = instances.configuration(instance, {}, { directory .. "/" .. name .. ".yml" })
  local model = databases.new_model(path)
  local values = {}
  local text = path ~= "" and instance.files:configuration(path)
  if text then
    settings.yaml(text, function(key, value)
      values[key] = values[key] and key:find("host$") and values[key] .. "," .. value or value
    end)
  end
  model.data_path = values["path.data"] or ""
  local security = values["xpack.security.enabled"]
  if name == "opensearch" then
    model.authentication = values["plugins.security.disabled"] == "true" and "0" or "1"
  else
    -- Since version 8 it is on unless switched off.
    local since = tonumber(instance.version:match("^%d+")) or 8
    model.authentication = (security == "true" or security == nil and since >= 8) and "1" or "0"
  end
  local tls = values["xpack.security.http.ssl.enabled"] or values["plugins.security.ssl.http.enabled"]
  model.tls = tls == "true" and "1" or "0"
  local hosts = values["http.host"] or values["network.host"] or "localhost"
  addresses.add_each(model.listen, hosts, values["http.port"] or "9200", model.tls == "1")
  databases.note(model, NOTED, values)
  return model
end

return M
