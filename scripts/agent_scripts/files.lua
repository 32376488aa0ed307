-- The files of one instance: paths are as its processes see them; the root is
-- put in front here, and what lies behind a link is read inside that root.

local M = {}
M.__index = M

local CONFIGURATION_BYTES = 4 << 20
local TOTAL_BYTES = 64 << 20 -- of the configuration of one instance
local TOTAL_FILES = 4000
local GLOB_MATCHES = 4000

function M.new(prefix)
  return setmetatable({ prefix = prefix, bytes = 0, files = 0 }, M)
end

-- "a/./b//../c" as one path; ".." never leads above "/".
function M.clean(path)
  local parts = {}
  for part in path:gmatch("[^/]+") do
    if part == ".." then
      parts[#parts] = nil
    elseif part ~= "." then
      parts[#parts + 1] = part
    end
  end
  return "/" .. table.concat(parts, "/")
end

function M.join(base, path)
  if path:sub(1, 1) == "/" then return M.clean(path) end
  if base == nil or base == "" then return "" end
  return M.clean(base .. "/" .. path)
end

function M.directory(path)
  local directory = path:match("^(.*)/[^/]*$")
  return directory == "" and "/" or directory or ""
end

function M.name(path) return path:match("([^/]*)$") end

function M:full(path) return self.prefix .. path end

-- A file's text, or nil. At most `maximum` bytes.
function M:read(path, maximum)
  if path == "" or path:find("\0", 1, true) then return nil end
  return (host.read(self:full(path), maximum or CONFIGURATION_BYTES))
end

-- The text of a configuration file within what one instance may cost, or nil.
function M:configuration(path)
  if self.files >= TOTAL_FILES or self.bytes >= TOTAL_BYTES then
    if not self.told then host.log(1, "configuration is too large, rest is left out: " .. path) end
    self.told = true
    return nil
  end
  self.files = self.files + 1
  local text, more = nil, nil
  if path ~= "" and not path:find("\0", 1, true) then
    text, more = host.read(self:full(path), CONFIGURATION_BYTES)
  end
  if not text then
    host.log(1, "configuration " .. path .. " can't be read: " .. tostring(more or "no path"))
    return nil
  end
  if more then host.log(1, "configuration " .. path .. " is read in part") end
  self.bytes = self.bytes + #text
  return text
end

function M:list(path)
  if path == "" or path:find("\0", 1, true) then return {} end
  return host.list(self:full(path)) or {}
end

function M:stat(path)
  if path == "" or path:find("\0", 1, true) then return nil end
  return (host.stat(self:full(path)))
end

function M:is_file(path)
  local found = self:stat(path)
  return found ~= nil and found.kind == "file"
end

function M:is_directory(path)
  local found = self:stat(path)
  return found ~= nil and found.kind == "directory"
end

-- A shell pattern of one path component as a pattern of Lua.
local function component_pattern(text)
  local out, at = {}, 1
  while at <= #text do
    local char = text:sub(at, at)
    local close = char == "[" and text:find("]", at + 2, true)
    if char == "*" then
      -- Two stars in a row mean the same, and would only cost time.
      if out[#out] ~= ".*" then out[#out + 1] = ".*" end
    elseif char == "?" then
      out[#out + 1] = "."
    elseif close then
      local set = text:sub(at + 1, close - 1):gsub("^!", "^"):gsub("[%%%]]", "%%%0")
      out[#out + 1] = "[" .. set .. "]"
      at = close
    else
      out[#out + 1] = char:gsub("%W", "%%%0")
    end
    at = at + 1
  end
  return "^" .. table.concat(out) .. "$"
end

local function has_wildcard(text) return text:find("[*?%[]") ~= nil end
M.has_wildcard = has_wildcard

-- More stars than that make matching slow, and no configuration needs them.
local MAXIMUM_STARS = 6

-- The paths that a shell pattern names, in byte order; a path without a
-- wildcard is itself.
function M:glob(pattern)
  if not has_wildcard(pattern) then return { pattern } end
  local _, stars = pattern:gsub("%*", "")
  if stars > MAXIMUM_STARS then return {} end
  local found = { "" }
  for component in pattern:gmatch("[^/]+") do
    local next_found = {}
    for _, base in ipairs(found) do
      if has_wildcard(component) then
        local wanted = component_pattern(component)
        for _, name in ipairs(self:list(base == "" and "/" or base)) do
          if #next_found >= GLOB_MATCHES then break end
          local hidden = name:sub(1, 1) == "." and component:sub(1, 1) ~= "."
          local fine, match = pcall(string.find, name, wanted)
          if not hidden and fine and match then
            next_found[#next_found + 1] = base .. "/" .. name
          end
        end
      else
        next_found[#next_found + 1] = base .. "/" .. component
      end
    end
    found = next_found
  end
  return found
end

-- The name of a user as the root's own /etc/passwd has it, else the number.
function M:user(uid)
  if not self.users then
    self.users = {}
    for line in (self:read("/etc/passwd") or ""):gmatch("[^\n]+") do
      local name, number = line:match("^([^:]+):[^:]*:(%d+):")
      number = tonumber(number)
      if number and not self.users[number] then self.users[number] = name end
    end
  end
  return self.users[uid] or tostring(uid)
end

-- Owner and mode of a path as texts, both empty if there is nothing.
function M:owner(path)
  local found = self:stat(path)
  if not found then return "", "" end
  return self:user(found.uid), string.format("%04o", found.mode)
end

return M
