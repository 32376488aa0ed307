-- PostgreSQL: postgresql.conf with its includes, postgresql.auto.conf, the
-- command line, and who may come in by pg_hba.conf.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")

local M = {}

local NOTED = { "listen_addresses", "port", "ssl", "ssl_cert_file", "ssl_key_file",
  "ssl_min_protocol_version", "ssl_passphrase_command", "password_encryption",
  "unix_socket_directories", "unix_socket_permissions", "hba_file", "log_connections",
  "log_statement", "primary_conninfo", "shared_preload_libraries" }
local MAXIMUM_DEPTH = 10

local function read_file(instance, path, values, active, depth)
  if active[path] or depth > MAXIMUM_DEPTH then return end
  local text = instance.files:configuration(path)
  if not text then return end
  active[path] = true
  local base = files.directory(path)
  settings.postgresql(text, function(name, value)
    local target = files.join(base, value)
    if name == "include" or name == "include_if_exists" then
      if name == "include" or instance.files:is_file(target) then
        read_file(instance, target, values, active, depth + 1)
      end
    elseif name == "include_dir" then
      for _, entry in ipairs(instance.files:list(target)) do
        if entry:find("^[^.].*%.conf$") then
          read_file(instance, target .. "/" .. entry, values, active, depth + 1)
        end
      end
    else
      values[name] = value
    end
  end)
  active[path] = nil
end

-- "-c name=value", "--name=value", "-p 5433", "-h address", "-k directory", "-i".
local function arguments_of(instance)
  local values, arguments = {}, instances.arguments(instance)
  local short = { ["-p"] = "port", ["-h"] = "listen_addresses", ["-k"] = "unix_socket_directories" }
  for position, word in ipairs(arguments) do
    local assignment = word == "-c" and (arguments[position + 1] or "") or word:match("^%-c(.+)$") or
      word:match("^%-%-(.+)$")
    local name, value = (assignment or ""):match("^([%w_.-]+)=(.*)$")
    if name then values[name:gsub("-", "_"):lower()] = value end
    local setting = short[word:sub(1, 2)]
    if setting then values[setting] = #word > 2 and word:sub(3) or arguments[position + 1] or "" end
    if word == "-i" then values.listen_addresses = "*" end
    if word == "-l" then values.ssl = "on" end
  end
  return values
end

-- "0" if a line lets somebody in without asking; "1" if none does.
local function authentication(instance, path)
  local text = instance.files:read(path)
  if not text then return "" end
  local answer = "1"
  settings.lines(text, function(line)
    local words = {}
    for word in line:gsub("#.*$", ""):gmatch("%S+") do words[#words + 1] = word end
    local method = words[1] == "local" and words[4] or words[5]
    -- An address may be followed by a mask of its own.
    if words[1] ~= "local" and method and method:find("^%d+%.%d+%.") then method = words[6] end
    if words[1] and method == "trust" then answer = "0" end
  end)
  return answer
end

local function on(value)
  local lower = (value or "off"):lower()
  return lower == "on" or lower == "true" or lower == "yes" or lower == "1"
end

function M.read(instance, databases)
  local data = instances.option(instance, { "-D" }) or instances.variable(instance, "PGDATA")
  local given = arguments_of(instance)
  local conf_path = given.config_file and files.join(instances.working_directory(instance),
    given.config_file) or instances.configuration(instance, {}, { data .. "/postgresql.conf" })
  local model = databases.new_model(conf_path)
  local values = {}
  if conf_path ~= "" then read_file(instance, conf_path, values, {}, 0) end
  model.data_path = values.data_directory or data
  local automatic = files.join(model.data_path, "postgresql.auto.conf")
  if instance.files:is_file(automatic) then read_file(instance, automatic, values, {}, 0) end
  for name, value in pairs(given) do values[name] = value end
  model.tls = on(values.ssl) and "1" or "0"
  addresses.add_each(model.listen, values.listen_addresses or "localhost", values.port or "5432",
    model.tls == "1")
  local hba = values.hba_file or files.join(model.data_path, "pg_hba.conf")
  hba = hba:gsub("^ConfigDir", function() return files.directory(conf_path) end)
  model.authentication = authentication(instance, files.join(files.directory(conf_path), hba))
  databases.note(model, NOTED, values)
  return model
end

return M
