-- MySQL and MariaDB: option files with groups and includes, then the command line.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")

local M = {}

local USUAL = { "/etc/mysql/my.cnf", "/etc/my.cnf", "/etc/mysql/mariadb.cnf" }
local NOTED = { "bind-address", "port", "skip-networking", "skip-grant-tables", "skip-name-resolve",
  "local-infile", "secure-file-priv", "require-secure-transport", "ssl-ca", "ssl-cert", "ssl-key",
  "tls-version", "general-log", "log-error", "log-bin", "old-passwords", "init-file",
  "ssl-passphrase", "master-password", "wsrep-sst-auth", "user", "socket" }
local MAXIMUM_DEPTH = 10

local function is_server_group(group)
  local name = group:lower()
  return name == "mysqld" or name == "server" or name == "mariadb" or name == "mariadbd" or
    name:find("^mysqld%-%d") ~= nil or name:find("^mariadb%-%d") ~= nil or
    name:find("^mariadbd%-%d") ~= nil or name == "client-server" or name == "galera"
end

local function normal(name) return (name:lower():gsub("_", "-"):gsub("^loose%-", "")) end

local function read_file(instance, path, values, active, depth)
  if active[path] or depth > MAXIMUM_DEPTH then return end
  local text = instance.files:configuration(path)
  if not text then return end
  active[path] = true
  settings.ini(text, function(name, value, section)
    if is_server_group(section) then values[normal(name)] = value end
  end, function(word, target)
    local found = files.join(files.directory(path), target)
    if word == "include" then
      read_file(instance, found, values, active, depth + 1)
    elseif word == "includedir" then
      for _, name in ipairs(instance.files:list(found)) do
        if name:find("%.cnf$") then
          read_file(instance, found .. "/" .. name, values, active, depth + 1)
        end
      end
    end
  end)
  active[path] = nil
end

local function read_arguments(instance, values)
  for _, word in ipairs(instances.arguments(instance)) do
    local name, value = word:match("^%-%-([%w_-]+)=?(.*)$")
    if name then values[normal(name)] = value end
    local port = word:match("^%-P(%d+)$")
    if port then values.port = port end
  end
end

local function on(value)
  if value == nil then return false end
  local lower = value:lower()
  return lower ~= "0" and lower ~= "off" and lower ~= "false"
end

local function add_listens(model, values)
  if values.socket and values.socket ~= "" then
    addresses.add(model.listen, addresses.listen("unix:" .. values.socket, "", false))
  end
  if on(values["skip-networking"]) then return end
  local port, tls = values.port, model.tls == "1"
  if not port or port == "" or port == "0" then port = "3306" end
  local bind = values["bind-address"]
  if not bind or bind == "" then bind = "*" end
  addresses.add_each(model.listen, bind, port, tls)
end

function M.read(instance, databases)
  local arguments, path = instances.arguments(instance), nil
  local no_defaults = arguments[1] == "--no-defaults"
  if not no_defaults then
    path = instances.configuration(instance, { "--defaults-file" }, USUAL)
  end
  local model = databases.new_model(path or "")
  local values, active = {}, {}
  if path and path ~= "" then read_file(instance, path, values, active, 0) end
  local extra = instances.option(instance, { "--defaults-extra-file" })
  if extra then read_file(instance, extra, values, active, 0) end
  read_arguments(instance, values)
  model.data_path = values.datadir or values["data-dir"] or "/var/lib/mysql"
  model.authentication = on(values["skip-grant-tables"]) and "0" or "1"
  local has_certificate = (values["ssl-cert"] or "") ~= "" or on(values.ssl) and values.ssl ~= nil
  model.tls = has_certificate and not on(values["skip-ssl"]) and "1" or "0"
  add_listens(model, values)
  databases.note(model, NOTED, values)
  return model
end

return M
