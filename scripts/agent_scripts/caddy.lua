-- Caddy: the Caddyfile's site blocks.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")
local sites = require("sites")

local M = {}

local MAXIMUM_LINES = 200000
local MAXIMUM_DEPTH = 16

local function names_of(words)
  local list = {}
  for _, word in ipairs(words) do
    for name in word:gmatch("[^,]+") do
      if name ~= "{" then list[#list + 1] = name end
    end
  end
  return list
end

local function begin_site(names)
  local site = sites.new_site()
  for _, name in ipairs(names) do
    local scheme, rest = name:match("^(%a+)://(.*)$")
    local place = (rest or name):gsub("/.*$", "")
    local host_name, port = place:match("^(.*):(%d+)$")
    host_name, port = host_name or place, port or ""
    -- Without scheme and port a name is served over TLS, which Caddy arranges.
    local tls = scheme == "https" or port == "443" or (not scheme and port == "" and host_name ~= "")
    if port == "" then port = tls and "443" or "80" end
    addresses.add(site.listen, addresses.listen("*", port, tls))
    if site.server_name == "" then
      site.server_name = host_name
    else
      sites.add_unique(site.aliases, host_name)
    end
  end
  return site
end

local function directive(site, words, base)
  local name = words[1]
  if name == "root" then
    site.root = files.join(base, words[#words])
  elseif name == "reverse_proxy" or name == "php_fastcgi" then
    for position = 2, #words do
      local word = words[position]
      if word ~= "{" and word:sub(1, 1) ~= "/" and word ~= "*" and word:sub(1, 1) ~= "@" then
        sites.add_unique(site.upstream, addresses.without_password(word))
      end
    end
  elseif name == "tls" and words[3] and words[2]:sub(1, 1) ~= "{" then
    site.certificate_path = files.join(base, words[2])
  elseif name == "output" and words[2] == "file" and words[3] then
    site.access_log = words[3]
  elseif name == "bind" then
    site.bind = words[2]
  end
end

local function read_file(instance, state, path, depth)
  if state.active[path] or depth > MAXIMUM_DEPTH then return end
  local text = instance.files:configuration(path)
  if not text then return end
  state.active[path] = true
  local base = files.directory(path)
  settings.lines(text, function(line)
    state.left = state.left - 1
    line = settings.uncomment(line)
    if state.left < 0 or line == "" then return end
    local words = {}
    for word in line:gmatch("%S+") do words[#words + 1] = settings.unquote(word) end
    if words[1] == "import" and words[2] and state.depth == 0 then
      for _, found in ipairs(instance.files:glob(files.join(base, words[2]))) do
        read_file(instance, state, found, depth + 1)
      end
      return
    end
    if state.depth == 0 and words[#words] == "{" then
      local names = names_of(words)
      -- No name: global options; a name in parentheses: a snippet.
      state.site = #names > 0 and names[1]:sub(1, 1) ~= "(" and begin_site(names) or nil
      if state.site then state.sites[#state.sites + 1] = state.site end
      state.depth = 1
      return
    end
    if words[1] == "}" then
      state.depth = math.max(state.depth - 1, 0)
    elseif state.site and state.depth > 0 then
      directive(state.site, words, base)
    end
    if words[#words] == "{" and state.depth > 0 then state.depth = state.depth + 1 end
  end)
  state.active[path] = nil
end

function M.read(instance)
  local conf_path = instances.configuration(instance, { "--config" }, { "/etc/caddy/Caddyfile" })
  local model = sites.new_model(conf_path)
  if conf_path == "" or conf_path:find("%.json$") then return model end
  local state = { active = {}, sites = {}, depth = 0, left = MAXIMUM_LINES }
  read_file(instance, state, conf_path, 0)
  for _, site in ipairs(state.sites) do
    if site.bind then
      for _, entry in ipairs(site.listen) do entry.address = site.bind end
      site.bind = nil
    end
    sites.add(model, site)
  end
  return model
end

return M
