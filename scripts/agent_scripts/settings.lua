-- Readers of plain settings files. Each parser takes text and calls
-- set(name, value, section); nothing here opens a file.

local M = {}

local MAXIMUM_LINE_BYTES = 65536

local BLANK = { [9] = true, [10] = true, [11] = true, [12] = true, [13] = true, [32] = true }

-- Without the blanks at both ends. A pattern for it takes quadratic time on
-- long runs of blanks inside, and whoever owns a file can put them there.
function M.trim(text)
  local first, last = text:find("%S"), #text
  if not first then return "" end
  while BLANK[text:byte(last)] do last = last - 1 end
  return text:sub(first, last)
end

-- Without a comment that a blank and "#" begin, and the blanks in front of it.
local function uncomment(text)
  local start = text:sub(1, 1) == "#" and 1 or text:find("%s#")
  return start and M.trim(text:sub(1, start - 1)) or text
end
M.uncomment = uncomment

local function lines_of(text, visit)
  for line in text:gmatch("[^\n]+") do
    if #line <= MAXIMUM_LINE_BYTES then visit(M.trim(line)) end
  end
end
M.lines = lines_of

local function unquote(text)
  return text:match('^"(.*)"$') or text:match("^'(.*)'$") or text
end
M.unquote = unquote

-- "[section]", "name = value", "name", "!include path".
function M.ini(text, set, include)
  local section = ""
  lines_of(text, function(line)
    local first = line:sub(1, 1)
    if line == "" or first == "#" or first == ";" then return end
    local found = line:match("^%[([^%]]*)%]")
    if found then
      section = M.trim(found)
    elseif first == "!" then
      local word, path = line:match("^!(%a+)%s+(.+)$")
      if word and include then include(word, path) end
    else
      local equals = line:find("=", 1, true)
      local name = equals and M.trim(line:sub(1, equals - 1)) or line
      local value = equals and M.trim(line:sub(equals + 1)) or ""
      -- A comment behind the value begins with a blank and "#".
      local quoted = value:match("^(%b\"\")") or value:match("^(%b'')")
      value = quoted or value:gsub("%s#.*$", "")
      set(name, unquote(value), section)
    end
  end)
end

-- "name = 'value' # comment" and "name value".
function M.postgresql(text, set)
  lines_of(text, function(line)
    local name, rest = line:match("^([%w_.]+)%s*=?%s*(.*)$")
    if not name then return end
    local value = rest:match("^'(.-)'%s*$") or rest:match("^'(.-)'%s*#")
    if value then
      value = value:gsub("''", "'")
    else
      value = M.trim(rest:match("^[^#]*"))
    end
    set(name:lower(), value)
  end)
end

-- "name value value": the words behind the name as one text.
function M.words(text, set)
  lines_of(text, function(line)
    if line == "" or line:sub(1, 1) == "#" then return end
    local name, value = line:match("^(%S+)%s*(.*)$")
    set(name:lower(), unquote(value))
  end)
end

-- The part of YAML that server configurations use: nested maps by indentation,
-- "- item" lists, dotted names. A value's name is the path with dots.
function M.yaml(text, set)
  local stack = {}
  local last = ""
  for line in text:gmatch("[^\n]+") do
    local indent, rest = line:match("^ *"), M.trim(line)
    if #line <= MAXIMUM_LINE_BYTES and rest ~= "" and rest:sub(1, 1) ~= "#" and rest ~= "---" then
      local item = rest:match("^%-%s+(.*)$")
      local name, value = rest:match("^([\"']?[%w_.-]+[\"']?)%s*:%s*(.*)$")
      if item then
        set(last, unquote(uncomment(item)))
      elseif name then
        while #stack > 0 and stack[#stack].indent >= #indent do stack[#stack] = nil end
        local path = unquote(name)
        if #stack > 0 then path = stack[#stack].path .. "." .. path end
        if #stack < 32 then stack[#stack + 1] = { indent = #indent, path = path } end
        last = path
        value = uncomment(value)
        local inside = value:match("^%[(.*)%]$")
        if inside then
          for part in inside:gmatch("[^,]+") do
            set(path, unquote(M.trim(part)))
          end
        elseif value ~= "" then
          set(path, unquote(value))
        end
      end
    end
  end
end

return M
