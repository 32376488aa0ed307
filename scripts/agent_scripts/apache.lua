-- Apache httpd: lines of directives, sections in angle brackets, macros,
-- variables, files included by shell patterns.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local settings = require("settings")
local sites = require("sites")

local M = {}

local MAXIMUM_DEPTH = 24 -- of includes and macros
local MAXIMUM_DIRECTIVES = 400000
local MAXIMUM_LINE_BYTES = 65536
local USUAL = { "/etc/apache2/apache2.conf", "/etc/httpd/conf/httpd.conf",
  "/usr/local/apache2/conf/httpd.conf", "/etc/apache2/httpd.conf" }
-- Modules that builds usually have inside, so that no LoadModule names them.
local BUILT_IN = { core = true, so = true, http = true, log_config = true, logio = true,
  version = true, unixd = true, watchdog = true, mpm_prefork = true }

local function words_of(text)
  local words, at = {}, 1
  while true do
    at = text:find("%S", at)
    if not at then return words end
    local quote, stop = text:sub(at, at), nil
    if quote == '"' or quote == "'" then
      stop = text:find(quote, at + 1, true) or #text + 1
      words[#words + 1] = text:sub(at + 1, stop - 1)
    else
      stop = text:find("%s", at) or #text + 1
      words[#words + 1] = text:sub(at, stop - 1)
    end
    at = stop + 1
  end
end

-- Calls visit(line) for each logical line: continued lines joined, comments
-- and empty ones left out.
local function each_line(text, visit)
  local kept = nil
  for line in text:gmatch("[^\n]*") do
    line = line:gsub("\r$", "")
    if line:sub(-1) == "\\" and #(kept or "") < MAXIMUM_LINE_BYTES then
      kept = (kept or "") .. line:sub(1, -2)
    else
      line = settings.trim((kept or "") .. line)
      kept = nil
      if line ~= "" and line:sub(1, 1) ~= "#" and #line <= MAXIMUM_LINE_BYTES then
        if visit(line) == false then return end
      end
    end
  end
end

local Reader = {}
Reader.__index = Reader

function Reader.new(instance, server_root)
  return setmetatable({
    instance = instance, server_root = server_root, defines = {}, modules = {}, macros = {},
    active = {}, depth = 0, left = MAXIMUM_DIRECTIVES, stack = {}, skipping = 0,
    main = { directives = {} }, hosts = {}, listens = {},
  }, Reader)
end

-- "${NAME}" as Define or the server's environment has it; else it stays.
function Reader:expand(text)
  if not text:find("${", 1, true) then return text end
  return (text:gsub("%${([%w_.:]+)}", function(name)
    local value = self.defines[name]
    if type(value) == "string" then return value end
    value = instances.variable(self.instance, name)
    return value ~= "" and value or self.environment_file and self.environment_file[name] or nil
  end))
end

function Reader:has_module(name)
  local short = name:gsub("^mod_", ""):gsub("%.c$", ""):gsub("_module$", ""):gsub("^prefork$", "mpm_prefork")
  return self.modules[short] or BUILT_IN[short] or false
end

function Reader:holds(section, words)
  local name = words[1] or ""
  local negated = name:sub(1, 1) == "!"
  if negated then name = name:sub(2) end
  local held = true
  if section == "ifmodule" then
    held = self:has_module(name)
  elseif section == "ifdefine" then
    held = self.defines[name] ~= nil
  elseif section == "iffile" then
    held = self.instance.files:stat(files.join(self.server_root, name)) ~= nil
  end
  return held ~= negated
end

local CONDITIONS = { ifmodule = true, ifdefine = true, iffile = true, ifversion = true }

function Reader:open_section(section, words)
  if self.macro then
    if section == "macro" then self.macro_depth = self.macro_depth + 1 end
    return
  end
  local entry = { section = section, skipped = false }
  if self.skipping > 0 or (CONDITIONS[section] and not self:holds(section, words)) then
    entry.skipped = true
    self.skipping = self.skipping + 1
  elseif section == "macro" then
    self.macro = { parameters = words, lines = {} }
    self.macro_depth = 1
    return
  elseif section == "virtualhost" then
    self.host = { words = words, directives = {} }
    self.hosts[#self.hosts + 1] = self.host
    entry.host = true
  elseif not CONDITIONS[section] then
    -- <Directory>, <Location> and the like: only what passes requests on counts.
    entry.inner = true
    self.inner = (self.inner or 0) + 1
  end
  self.stack[#self.stack + 1] = entry
end

function Reader:close_section(section)
  for position = #self.stack, 1, -1 do
    if self.stack[position].section == section then
      for above = #self.stack, position, -1 do
        local entry = table.remove(self.stack, above)
        if entry.skipped then self.skipping = self.skipping - 1 end
        if entry.host then self.host = nil end
        if entry.inner then self.inner = self.inner - 1 end
      end
      return
    end
  end
end

-- What a macro's lines become: its parameters replaced by the words of Use.
function Reader:use_macro(words)
  local macro = self.macros[(words[1] or ""):lower()]
  if not macro or self.depth >= MAXIMUM_DEPTH then return end
  local order, values = {}, {}
  for position = 2, #macro.parameters do
    local name = macro.parameters[position]
    if name ~= "" then
      order[#order + 1] = name
      values[name] = words[position] or ""
    end
  end
  -- Of two parameters the one with the longer name is replaced first.
  table.sort(order, function(a, b) return #a > #b end)
  self.depth = self.depth + 1
  for _, line in ipairs(macro.lines) do
    for _, name in ipairs(order) do
      local value = values[name]:gsub("%%", "%%%%")
      line = line:gsub(name:gsub("%W", "%%%0"), value)
      if #line > MAXIMUM_LINE_BYTES then break end
    end
    if #line > MAXIMUM_LINE_BYTES or self:line(line) == false then break end
  end
  self.depth = self.depth - 1
end

function Reader:include(pattern)
  local path = files.join(self.server_root, pattern)
  for _, found in ipairs(self.instance.files:glob(path)) do
    if self.instance.files:is_directory(found) then
      for _, name in ipairs(self.instance.files:list(found)) do self:file(found .. "/" .. name) end
    else
      self:file(found)
    end
  end
end

function Reader:directive(name, words)
  if name == "include" or name == "includeoptional" then
    if words[1] then self:include(words[1]) end
  elseif name == "define" then
    self.defines[words[1] or ""] = words[2] or true
  elseif name == "undefine" then
    self.defines[words[1] or ""] = nil
  elseif name == "loadmodule" then
    self.modules[((words[1] or ""):gsub("_module$", ""))] = true
  elseif name == "serverroot" then
    self.server_root = words[1] or self.server_root
  elseif name == "use" then
    self:use_macro(words)
  elseif name == "listen" and words[1] then
    self.listens[#self.listens + 1] = words
  else
    local target = (self.host or self.main).directives
    if (self.inner or 0) == 0 or name:find("^proxypass") or name == "sethandler" then
      target[#target + 1] = { name, words }
    end
  end
end

function Reader:line(line)
  self.left = self.left - 1
  if self.left <= 0 then return false end
  local closed = line:match("^</%s*([%w_]+)")
  if self.macro then
    if closed and closed:lower() == "macro" then
      self.macro_depth = self.macro_depth - 1
      if self.macro_depth == 0 then
        self.macros[(self.macro.parameters[1] or ""):lower()] = self.macro
        self.macro = nil
        return
      end
    elseif line:lower():find("^<macro%s") then
      self.macro_depth = self.macro_depth + 1
    end
    self.macro.lines[#self.macro.lines + 1] = line
    return
  end
  if closed then return self:close_section(closed:lower()) end
  local opened, rest = line:match("^<%s*([%w_]+)(.*)$")
  if opened then
    rest = settings.trim(rest):gsub(">$", ""):gsub(">$", "")
    return self:open_section(opened:lower(), words_of(self:expand(rest)))
  end
  if self.skipping > 0 then return end
  local name, text = line:match("^(%S+)%s*(.*)$")
  self:directive(name:lower(), words_of(self:expand(text)))
end

function Reader:file(path)
  if self.active[path] or self.depth >= MAXIMUM_DEPTH or self.left <= 0 then return end
  local text = self.instance.files:configuration(path)
  if not text then return end
  self.active[path], self.depth = true, self.depth + 1
  each_line(text, function(line) return self:line(line) end)
  self.active[path], self.depth = nil, self.depth - 1
end

local function first_of(directives, name)
  for _, directive in ipairs(directives) do
    if directive[1] == name then return directive[2][1] end
  end
  return nil
end

-- The first words of all directives, for a list that is asked once for every host.
local function first_words(directives)
  local found = {}
  for _, directive in ipairs(directives) do
    if found[directive[1]] == nil then found[directive[1]] = directive[2][1] end
  end
  return found
end

local function log_path(word, root)
  if not word then return "" end
  if word:find("^[|]") or word:find("^syslog") then return word end
  return files.join(root, word)
end

local function add_upstreams(site, directives)
  for _, directive in ipairs(directives) do
    local name, words = directive[1], directive[2]
    local target = nil
    if name == "proxypass" or name == "proxypassmatch" then
      target = words[2] or words[1]
    elseif name == "sethandler" then
      target = (words[1] or ""):match("^proxy:(.*)$")
    end
    if target and target ~= "!" and target:find("[:/]") then
      sites.add_unique(site.upstream, addresses.without_password(target))
    end
  end
end

function Reader:site(directives, listen)
  local site, main, root = sites.new_site(), self.main_words, self.server_root
  local function setting(name) return first_of(directives, name) or main[name] end
  -- Name and aliases, TLS and certificates are a host's own.
  site.server_name = first_of(directives, "servername") or ""
  for _, directive in ipairs(directives) do
    if directive[1] == "serveralias" then
      for _, alias in ipairs(directive[2]) do sites.add_unique(site.aliases, alias) end
    end
  end
  site.tls = (setting("sslengine") or "off"):lower() == "on"
  for _, entry in ipairs(listen) do
    addresses.add(site.listen, addresses.listen(entry.address, entry.port, site.tls))
  end
  local certificate = first_of(directives, "sslcertificatefile") or
    (site.tls and main.sslcertificatefile) or nil
  site.certificate_path = certificate and files.join(root, certificate) or ""
  local document_root = setting("documentroot")
  site.root = document_root and files.join(root, document_root) or ""
  site.access_log = log_path(setting("customlog") or setting("transferlog"), root)
  site.error_log = log_path(setting("errorlog"), root)
  add_upstreams(site, directives)
  return site
end

-- "APACHE_LOG_DIR=/var/log/apache2$SUFFIX" of the start script's file, for
-- servers that were started with another environment.
local function environment_file(instance, conf_path)
  local values = {}
  local text = instance.files:read(files.directory(conf_path) .. "/envvars", 65536) or ""
  for name, value in text:gmatch("export%s+([%w_]+)=([^\n]*)") do
    values[name] = value:gsub("^[\"']", ""):gsub("[\"']%s*$", ""):gsub("%$[%w_]+", "")
  end
  return values
end

local function start(instance)
  local given_root = instances.option(instance, { "-d" })
  local conf_path = instances.configuration(instance, { "-f" }, USUAL, given_root)
  local directory = files.directory(conf_path):gsub("/conf$", "")
  local reader = Reader.new(instance, given_root or directory)
  for position, word in ipairs(instances.arguments(instance)) do
    local name = word:match("^%-D(.*)$")
    if name then
      if name == "" then name = instances.arguments(instance)[position + 1] or "" end
      reader.defines[name] = true
    end
  end
  reader.environment_file = environment_file(instance, conf_path)
  return reader, conf_path
end

function M.read(instance)
  local reader, conf_path = start(instance)
  local model = sites.new_model(conf_path)
  if conf_path == "" then return model end
  reader:file(conf_path)
  if reader.left <= 0 then host.log(1, "configuration has too many directives: " .. conf_path) end
  local own = {}
  for _, words in ipairs(reader.listens) do
    local address, port = addresses.parse(words[1], 80)
    local entry = addresses.listen(address, port, (words[2] or ""):lower() == "https")
    own[#own + 1] = entry
    addresses.add(model.listen, entry)
  end
  reader.main_words = first_words(reader.main.directives)
  local hosts = {}
  for _, virtual in ipairs(reader.hosts) do
    local listen = {}
    for _, word in ipairs(virtual.words) do
      local address, port = addresses.parse(word, own[1] and own[1].port or 80)
      if address == "_default_" then address = "*" end
      listen[#listen + 1] = { address = address, port = port }
    end
    hosts[#hosts + 1] = reader:site(virtual.directives, listen)
  end
  if #hosts == 0 and reader.main_words.documentroot then
    hosts[1] = reader:site(reader.main.directives, own)
  end
  for _, site in ipairs(hosts) do
    model.sites[#model.sites + 1] = site
    if site.tls then M.mark_tls(model.listen, site.listen) end
  end
  return model
end

-- A port on which a host speaks TLS does so for the server, too.
function M.mark_tls(server, listen)
  for _, entry in ipairs(listen) do
    for _, own in ipairs(server) do
      if own.tls == "0" and own.port == entry.port then own.tls = "1" end
    end
  end
end

return M
