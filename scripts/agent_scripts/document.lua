-- The document: whole records only, and never longer than a parent takes.

local M = {}
M.__index = M

-- A longer document is refused by the program that started the script.
local MAXIMUM_BYTES = 524288
local HEAD, TAIL = '{"list":[', "]}"

function M.new()
  return setmetatable({ records = {}, bytes = #HEAD + #TAIL, left_out = 0 }, M)
end

-- Adds a record unless the filter leaves its name out. False once the document
-- is full; such records are counted for the log.
function M:add(record)
  local text, why = host.encode(record)
  if not text then
    host.log(1, "record can't be written: " .. why)
    return true
  end
  local size = #text + (#self.records > 0 and 1 or 0)
  -- After the first one that doesn't fit nothing is added: the list is cut at its tail.
  if self.left_out > 0 or self.bytes + size > MAXIMUM_BYTES then
    self.left_out = self.left_out + 1
    return false
  end
  self.records[#self.records + 1] = text
  self.bytes = self.bytes + size
  return true
end

function M:text()
  if self.left_out > 0 then
    host.log(1, string.format("document is full: %d records left out", self.left_out))
  end
  host.log(2, string.format("%d records", #self.records))
  return HEAD .. table.concat(self.records, ",") .. TAIL
end

return M
