-- lighttpd: assignments, conditional blocks, includes.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")
local sites = require("sites")

local M = {}

local MAXIMUM_DEPTH = 16
local MAXIMUM_LINES = 200000

-- Where a block's settings go: to the host or socket that its condition names.
local function scope_for(state, line, outer)
  local kind, value = line:match('%$(%b"")'), nil
  kind = line:match("^else") and "else" or line:match("%$([%u]+)%[") or line:match("%$([%u]+)")
  value = line:match('[=~]=?%s*"([^"]*)"')
  if kind == "SERVER" and value then
    local scope = { socket = value }
    state.sockets[#state.sockets + 1] = scope
    return scope
  end
  if kind == "HTTP" and line:find('"host"', 1, true) and value then
    local scope = { host = value }
    state.hosts[#state.hosts + 1] = scope
    return scope
  end
  return line:match("^%$") and {} or outer
end

local function value_of(state, text)
  local parts = {}
  for piece in text:gmatch("[^+]+") do
    piece = settings.trim(piece)
    parts[#parts + 1] = piece:match('^"(.*)"$') or state.variables[piece] or piece
  end
  return table.concat(parts)
end

local function read_file(instance, state, path, base, scope, depth)
  if state.active[path] or depth > MAXIMUM_DEPTH then return end
  local text = instance.files:configuration(path)
  if not text then return end
  state.active[path] = true
  local stack = { scope }
  settings.lines(text, function(line)
    state.left = state.left - 1
    if state.left < 0 or line:sub(1, 1) == "#" then return end
    local included = line:match('^include%s+"([^"]*)"')
    if included then
      for _, found in ipairs(instance.files:glob(files.join(base, included))) do
        read_file(instance, state, found, base, stack[#stack], depth + 1)
      end
      return
    end
    if line:sub(1, 1) == "}" and #stack > 1 then stack[#stack] = nil end
    local name, value = line:match("^([%w_.-]+)%s*:?=%s*(.*)$")
    if name then
      value = value_of(state, value)
      stack[#stack][name] = value
      state.variables[name] = value
    end
    if line:find("{%s*$") and #stack < 64 then
      stack[#stack + 1] = scope_for(state, line, stack[#stack])
    end
  end)
  state.active[path] = nil
end

function M.read(instance)
  local conf_path = instances.configuration(instance, { "-f" }, { "/etc/lighttpd/lighttpd.conf" })
  local model = sites.new_model(conf_path)
  if conf_path == "" then return model end
  local main = {}
  local state = { active = {}, variables = {}, hosts = {}, sockets = {}, left = MAXIMUM_LINES }
  read_file(instance, state, conf_path, files.directory(conf_path), main, 0)
  local tls = main["ssl.engine"] == "enable"
  addresses.add(model.listen, addresses.listen(main["server.bind"] or "*",
    main["server.port"] or "80", tls))
  for _, socket in ipairs(state.sockets) do
    local address, port = addresses.parse(socket.socket, "80")
    addresses.add(model.listen, addresses.listen(address, port, socket["ssl.engine"] == "enable"))
    main["ssl.pemfile"] = main["ssl.pemfile"] or socket["ssl.pemfile"]
  end
  table.insert(state.hosts, 1, { host = main["server.name"] or "" })
  for _, scope in ipairs(state.hosts) do
    local site = sites.new_site()
    local function setting(name) return scope[name] or main[name] or "" end
    site.server_name = scope.host
    site.root = setting("server.document-root")
    site.access_log, site.error_log = setting("accesslog.filename"), setting("server.errorlog")
    site.certificate_path = setting("ssl.pemfile")
    for _, entry in ipairs(model.listen) do
      addresses.add(site.listen, addresses.listen(entry.address, entry.port, entry.tls == "1"))
    end
    sites.add(model, site)
  end
  return model
end

return M
