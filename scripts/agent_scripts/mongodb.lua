-- MongoDB: YAML, the older "name = value" form, and the command line.

local addresses = require("addresses")
local instances = require("instances")
local settings = require("settings")

local M = {}

-- Older and command line names by the names of today.
local NAMES = { bind_ip = "net.bindIp", bind_ip_all = "net.bindIpAll", port = "net.port",
  dbpath = "storage.dbPath", auth = "security.authorization", keyFile = "security.keyFile",
  tlsMode = "net.tls.mode", sslMode = "net.ssl.mode", tlsCertificateKeyFile = "net.tls.certificateKeyFile" }
local NOTED = { "net.bindIp", "net.bindIpAll", "net.port", "security.authorization",
  "security.keyFile", "net.tls.mode", "net.ssl.mode", "net.tls.certificateKeyFile",
  "net.tls.certificateKeyFilePassword", "net.ssl.PEMKeyPassword", "security.javascriptEnabled" }

local function read_configuration(instance, path, values)
  local text = path ~= "" and instance.files:configuration(path)
  if not text then return end
  local function set(name, value)
    name = NAMES[name] or name
    values[name] = values[name] and name == "net.bindIp" and values[name] .. "," .. value or value
  end
  settings.yaml(text, set)
  if not text:find("^%s*%a+:") and not text:find("\n%s*%a+:") then settings.ini(text, set) end
end

function M.read(instance, databases)
  local path = instances.configuration(instance, { "--config", "-f" }, { "/etc/mongod.conf" })
  local model = databases.new_model(path)
  local values = {}
  read_configuration(instance, path, values)
  local arguments = instances.arguments(instance)
  for position, word in ipairs(arguments) do
    local option, value = word:match("^%-%-([%w_]+)=?(.*)$")
    local name = option and NAMES[option]
    if name then
      local next_word = arguments[position + 1] or ""
      values[name] = value ~= "" and value or next_word:sub(1, 1) ~= "-" and next_word or "true"
    end
  end
  model.data_path = values["storage.dbPath"] or "/data/db"
  local rights = values["security.authorization"]
  model.authentication = (rights == "enabled" or rights == "true" or values["security.keyFile"]) and
    "1" or "0"
  local mode = values["net.tls.mode"] or values["net.ssl.mode"] or "disabled"
  model.tls = mode ~= "disabled" and "1" or "0"
  local bind = values["net.bindIpAll"] == "true" and "*" or values["net.bindIp"] or "127.0.0.1"
  addresses.add_each(model.listen, bind, values["net.port"] or "27017", model.tls == "1")
  databases.note(model, NOTED, values)
  return model
end

return M
