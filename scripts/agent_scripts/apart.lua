-- Work on texts that others wrote, in a process of its own: what it may cost
-- is bounded, and a failure costs its own answer only.

local M = {}

-- Elapsed time; the share of the processor may be small. What all take together
-- stays below what the script has, and whoever comes later still gets something:
-- an owner may use up a sixth of what others left, and never less than LEAST.
local PIECE_SECONDS, ALL_SECONDS, LEAST_SECONDS = 100, 1800, 5
local used, used_by_all = {}, 0

-- Does work(seconds) if its owner has time left, and charges what it takes.
function M.charged(what, owner, work)
  local own = used[owner] or 0
  local left = math.max((ALL_SECONDS - used_by_all + own) // 6, LEAST_SECONDS) - own
  if left <= 0 then
    host.log(1, what .. ": its owner's servers used up their time")
    return nil
  end
  local start = host.seconds()
  local result = work(math.min(left, PIECE_SECONDS))
  local taken = host.seconds() - start
  used[owner], used_by_all = own + taken, used_by_all + taken
  return result
end

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

-- What work() gives, or nil with the reason in the log. `what` names it there,
-- `owner` whose it is.
function M.run(what, owner, work)
  return M.charged(what, owner, function(seconds)
    local text, why = host.apart(function() return text_of(work()) end, seconds)
    local made = text and load("return " .. text, "=answer", "t", MAKERS)
    if made then return made() end
    host.log(0, what .. ": " .. (why or "answer can't be read"))
    return nil
  end)
end

return M
