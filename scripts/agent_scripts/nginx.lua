-- nginx: blocks of directives, with files included by shell patterns.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local sites = require("sites")

local M = {}

local MAXIMUM_DEPTH = 24 -- of blocks and of includes
local MAXIMUM_DIRECTIVES = 400000
local USUAL = { "/etc/nginx/nginx.conf", "/usr/local/nginx/conf/nginx.conf",
  "/usr/local/etc/nginx/nginx.conf" }

-- The next token from `at`: its kind ("word", ";", "{", "}"), its text and where
-- the next begins. Nil at the end.
local function next_token(text, at)
  while true do
    at = text:find("%S", at)
    if not at then return nil end
    if text:byte(at) ~= 35 then break end -- "#"
    at = text:find("\n", at, true)
    if not at then return nil end
  end
  local char = text:sub(at, at)
  if char == ";" or char == "{" or char == "}" then return char, char, at + 1 end
  if char == '"' or char == "'" then
    local from = at + 1
    while true do
      local stop = text:find("[" .. char .. "\\]", from)
      if not stop then return "word", text:sub(at + 1), #text + 1 end
      if text:sub(stop, stop) == char then
        return "word", (text:sub(at + 1, stop - 1):gsub("\\(.)", "%1")), stop + 1
      end
      from = stop + 2
    end
  end
  local from = at
  while true do
    local stop = text:find("[%s;{}]", from)
    if not stop then return "word", text:sub(at), #text + 1 end
    -- "${name}" is part of the word.
    if stop > at and text:sub(stop - 1, stop) == "${" then
      from = (text:find("}", stop, true) or #text) + 1
    else
      return "word", text:sub(at, stop - 1), stop
    end
  end
end

-- Behind the brace that closes a block of another language.
local function behind_block(text, at)
  local depth = 1
  while depth > 0 do
    at = text:find("[{}]", at)
    if not at then return #text + 1 end
    depth = depth + (text:sub(at, at) == "{" and 1 or -1)
    at = at + 1
  end
  return at
end

-- Reads directives of `text` into `block` until it ends. `include(pattern, block)`
-- is called where a file is included. Each directive is {name, words..., block=}.
function M.parse(text, block, include, budget)
  local stack, words, at = { block }, {}, 1
  while budget.left > 0 do
    local kind, token, behind = next_token(text, at)
    if not kind then break end
    at = behind
    if kind == "word" then
      words[#words + 1] = token
    elseif kind == "}" then
      words = {}
      if #stack > 1 then stack[#stack] = nil end
    elseif #words > 0 then
      budget.left = budget.left - 1
      local top = stack[#stack]
      if kind == "{" and words[1]:find("_by_lua_block$") then
        at = behind_block(text, at)
      elseif kind == "{" then
        words.block = {}
        top[#top + 1] = words
        -- Deeper blocks are read and forgotten.
        stack[#stack + 1] = #stack < MAXIMUM_DEPTH and words.block or {}
      elseif words[1] == "include" and words[2] then
        include(words[2], top)
      else
        top[#top + 1] = words
      end
      words = {}
    end
  end
  return block
end

local function read_tree(instance, conf_path)
  local budget = { left = MAXIMUM_DIRECTIVES }
  local base = files.directory(conf_path)
  local active, depth = {}, 0
  local function read_file(path, block)
    -- A file that includes itself, directly or not, is read once.
    if active[path] or depth >= MAXIMUM_DEPTH then return end
    local text = instance.files:configuration(path)
    if not text then return end
    active[path], depth = true, depth + 1
    M.parse(text, block, function(pattern, inner)
      for _, found in ipairs(instance.files:glob(files.join(base, pattern))) do
        read_file(found, inner)
      end
    end, budget)
    active[path], depth = nil, depth - 1
  end
  local tree = {}
  read_file(conf_path, tree)
  if budget.left <= 0 then host.log(1, "configuration has too many directives: " .. conf_path) end
  return tree
end

local function first_word(block, name)
  for _, directive in ipairs(block) do
    if directive[1] == name then return directive[2] end
  end
  return nil
end

-- The first words of all directives of a block, for a block that is asked once
-- for every site.
local function first_words(block)
  local found = {}
  for _, directive in ipairs(block) do
    if found[directive[1]] == nil then found[directive[1]] = directive[2] end
  end
  return found
end

local function log_path(word, prefix)
  if not word or word == "off" or word == "stderr" then return "" end
  if word:find("^syslog:") or word:find("^memory:") or word:find("$", 1, true) then return word end
  return files.join(prefix, word)
end

local PASSES = { proxy_pass = true, fastcgi_pass = true, uwsgi_pass = true, scgi_pass = true,
  grpc_pass = true }

local function add_upstream(site, target, groups)
  target = addresses.without_password(target)
  local scheme, name, rest = target:match("^(%a+://)([^/]+)(.*)$")
  if not scheme then scheme, name, rest = "", target, "" end
  local servers = groups[name]
  if not servers then return sites.add_unique(site.upstream, target) end
  for _, server in ipairs(servers) do sites.add_unique(site.upstream, scheme .. server .. rest) end
end

local function walk_locations(block, site, groups, found)
  for _, directive in ipairs(block) do
    if PASSES[directive[1]] and directive[2] then
      add_upstream(site, directive[2], groups)
    elseif directive.block then
      if directive[1] == "location" and directive[#directive] == "/" then
        found.root = found.root or first_word(directive.block, "root") or
          first_word(directive.block, "alias")
      end
      walk_locations(directive.block, site, groups, found)
    end
  end
end

local function listens_of(server)
  local list, tls_on = host.array(), first_word(server, "ssl") == "on"
  for _, directive in ipairs(server) do
    if directive[1] == "listen" and directive[2] then
      local tls = tls_on
      for position = 3, #directive do
        if directive[position] == "ssl" or directive[position] == "quic" then tls = true end
      end
      local address, port = addresses.parse(directive[2], 80)
      addresses.add(list, addresses.listen(address, port, tls))
    end
  end
  if #list == 0 then addresses.add(list, addresses.listen("*", 80, tls_on)) end
  return list
end

local function site_of(server, http, groups, place)
  local site = sites.new_site()
  site.listen = listens_of(server)
  for _, directive in ipairs(server) do
    if directive[1] == "server_name" then
      for position = 2, #directive do
        if site.server_name == "" then
          site.server_name = directive[position]
        else
          sites.add_unique(site.aliases, directive[position])
        end
      end
    end
  end
  local found = {}
  walk_locations(server, site, groups, found)
  local function setting(name) return first_word(server, name) or http[name] end
  local root = setting("root") or found.root
  if not root and #site.upstream == 0 then root = "html" end
  site.root = root and (root:find("$", 1, true) and root or files.join(place.prefix, root)) or ""
  local certificate = setting("ssl_certificate")
  site.certificate_path = certificate and files.join(place.conf, certificate) or ""
  site.access_log = log_path(setting("access_log"), place.prefix)
  site.error_log = log_path(setting("error_log") or place.error_log, place.prefix)
  return site
end

local function groups_of(http)
  local groups = {}
  for _, directive in ipairs(http) do
    if directive[1] == "upstream" and directive[2] and directive.block then
      local servers = {}
      for _, inner in ipairs(directive.block) do
        if inner[1] == "server" and inner[2] then servers[#servers + 1] = inner[2] end
      end
      groups[directive[2]] = servers
    end
  end
  return groups
end

-- What relative paths are relative to, unless the command line says it.
local function prefix_of(instance, conf_path)
  local given = instances.option(instance, { "-p" })
  if given then return files.join(instances.working_directory(instance), given) end
  if conf_path:find("^/etc/nginx/") then return "/usr/share/nginx" end
  return (files.directory(conf_path):gsub("/conf$", ""))
end

function M.read(instance)
  local prefix = instances.option(instance, { "-p" })
  local conf_path = instances.configuration(instance, { "-c" }, USUAL, prefix)
  local model = sites.new_model(conf_path)
  if conf_path == "" then return model end
  local tree = read_tree(instance, conf_path)
  local place = { prefix = prefix_of(instance, conf_path), conf = files.directory(conf_path),
    error_log = first_word(tree, "error_log") }
  for _, section in ipairs(tree) do
    if section[1] == "http" and section.block then
      local groups, http = groups_of(section.block), first_words(section.block)
      for _, directive in ipairs(section.block) do
        if directive[1] == "server" and directive.block then
          sites.add(model, site_of(directive.block, http, groups, place))
        end
      end
    elseif (section[1] == "stream" or section[1] == "mail") and section.block then
      for _, directive in ipairs(section.block) do
        if directive[1] == "server" and directive.block then
          for _, entry in ipairs(listens_of(directive.block)) do addresses.add(model.listen, entry) end
        end
      end
    end
  end
  return model
end

return M
