-- Redis: lines of words, includes, options on the command line.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")

local M = {}

local NOTED = { "bind", "port", "tls-port", "protected-mode", "requirepass", "masterauth",
  "masteruser", "aclfile", "unixsocket", "unixsocketperm", "tls-cert-file", "tls-auth-clients",
  "enable-debug-command", "enable-module-command", "appendonly", "tls-key-file-pass" }
local USUAL = { "/etc/redis/redis.conf", "/etc/redis.conf", "/etc/valkey/valkey.conf" }
local MAXIMUM_DEPTH = 10

local function read_file(instance, path, values, active, depth)
  if active[path] or depth > MAXIMUM_DEPTH then return end
  local text = instance.files:configuration(path)
  if not text then return end
  active[path] = true
  settings.words(text, function(name, value)
    if name == "include" then
      for _, found in ipairs(instance.files:glob(files.join(files.directory(path), value))) do
        read_file(instance, found, values, active, depth + 1)
      end
    elseif name == "user" then
      values.users = true
    else
      values[name] = value
    end
  end)
  active[path] = nil
end

-- The server writes "redis-server ADDRESS:PORT" over its command line; then
-- only the port says which file was meant.
local function titled_port(instance)
  local title = instances.arguments(instance)[1] or ""
  return title:match("^[^/]*:(%d+)$")
end

local function file_with_port(instance, port)
  local candidates = {}
  for _, path in ipairs(USUAL) do candidates[#candidates + 1] = path end
  for _, pattern in ipairs({ "/etc/redis/*.conf", "/etc/valkey/*.conf" }) do
    for _, path in ipairs(instance.files:glob(pattern)) do candidates[#candidates + 1] = path end
  end
  local directory = instances.working_directory(instance)
  if directory ~= "" then candidates[#candidates + 1] = directory .. "/redis.conf" end
  for _, path in ipairs(candidates) do
    if instance.files:is_file(path) then
      local values = {}
      read_file(instance, path, values, {}, 0)
      local own = values.port ~= "0" and values.port or values["tls-port"]
      if (own or "6379") == port then return path end
    end
  end
  return ""
end

local function configuration(instance)
  local first = instances.arguments(instance)[1]
  local port = titled_port(instance)
  if port then return file_with_port(instance, port) end
  if first and first:sub(1, 1) ~= "-" then
    return files.join(instances.working_directory(instance), first)
  end
  return ""
end

local function read_arguments(instance, values)
  local name = nil
  for _, word in ipairs(instances.arguments(instance)) do
    local option = word:match("^%-%-(.+)$")
    if option then
      name = option:lower()
      values[name] = ""
    elseif name then
      values[name] = values[name] == "" and word or values[name] .. " " .. word
    end
  end
end

local function add_listens(model, values, title)
  local bind = values.bind
  if bind == nil then bind = "*" end
  for address in bind:gmatch("%S+") do
    -- A "-" in front: the address may be missing.
    address = settings.unquote(address):gsub("^%-", "")
    local port, tls_port = values.port or title or "6379", values["tls-port"] or "0"
    if port ~= "0" then addresses.add(model.listen, addresses.listen(address, port, false)) end
    if tls_port ~= "0" then addresses.add(model.listen, addresses.listen(address, tls_port, true)) end
  end
  if (values.unixsocket or "") ~= "" then
    addresses.add(model.listen, addresses.listen("unix:" .. values.unixsocket, "", false))
  end
end

function M.read(instance, databases)
  local path = configuration(instance)
  local model = databases.new_model(path)
  local values = {}
  if path ~= "" then read_file(instance, path, values, {}, 0) end
  read_arguments(instance, values)
  model.data_path = values.dir and values.dir:sub(1, 1) == "/" and values.dir or
    instances.working_directory(instance)
  local asks = (values.requirepass or "") ~= "" or (values.aclfile or "") ~= "" or values.users
  model.authentication = asks and "1" or "0"
  model.tls = (values["tls-port"] or "0") ~= "0" and "1" or "0"
  add_listens(model, values, titled_port(instance))
  databases.note(model, NOTED, values)
  return model
end

return M
