-- Work on texts that others wrote, in a process of its own: what it may cost
-- is bounded, and a failure costs its own answer only.

local M = {}

local ARRAY = getmetatable(host.array())

-- A value as a text that makes it again; what JSON would change (bytes that
-- are no UTF-8, the order of a record's keys) stays.
local function text_of(value)
  if type(value) ~= "table" then return string.format("%q", value) end
  local parts, metatable = {}, getmetatable(value)
  if metatable == ARRAY then
    for _, member in ipairs(value) do parts[#parts + 1] = text_of(member) end
    return "A{" .. table.concat(parts, ",") .. "}"
  end
  for key, member in pairs(value) do
    if type(member) ~= "function" then
      parts[#parts + 1] = "[" .. text_of(key) .. "]=" .. text_of(member)
    end
  end
  local text = "{" .. table.concat(parts, ",") .. "}"
  if metatable and metatable.keys then return "R(" .. text_of(metatable.keys) .. "," .. text .. ")" end
  return text
end

local MAKERS = {
  A = host.array,
  R = function(keys, value) return setmetatable(value, host.record(keys)) end,
}

-- What work() gives, or nil with the reason in the log. `what` names it there.
function M.run(what, work)
  local text, why = host.apart(function() return text_of(work()) end)
  local made = text and load("return " .. text, "=answer", "t", MAKERS)
  if made then return made() end
  host.log(0, what .. ": " .. (why or "answer can't be read"))
  return nil
end

return M
