-- The document: whole records only, and never longer than a parent takes. Where
-- not all fit, each owner gets the same share, and what one doesn't need goes to
-- the others: nobody's servers can crowd out somebody else's.

local M = {}
M.__index = M

-- A longer document is refused by the program that started the script.
local MAXIMUM_BYTES = 524288
local HEAD, TAIL = '{"list":[', "]}"
local ROOM = MAXIMUM_BYTES - #HEAD - #TAIL + 1 -- a comma less than records
-- So much is kept before records that can't get in any more are dropped.
local KEPT_BYTES = 8 * ROOM

function M.new() return setmetatable({ records = {}, shares = {}, bytes = 0, left_out = 0 }, M) end

-- The bytes that nobody may exceed so that all fit, by what each one has.
local function level_of(shares)
  local sizes, room = {}, ROOM
  for _, share in pairs(shares) do sizes[#sizes + 1] = share.bytes end
  table.sort(sizes)
  for position, size in ipairs(sizes) do
    local sharers = #sizes - position + 1
    if size * sharers > room then return room // sharers end
    room = room - size
  end
  return ROOM
end

-- Cuts each owner's records at their tail until all fit. Records added later
-- can only lower the level, so who was cut stays full.
local function cut(list)
  if list.bytes <= ROOM then return end
  local level, kept, ended = level_of(list.shares), {}, {}
  for _, share in pairs(list.shares) do share.bytes = 0 end
  list.bytes = 0
  for _, record in ipairs(list.records) do
    local share, size = record.share, #record.text + 1
    if ended[share] or share.bytes + size > level then
      ended[share], share.full = true, true
      list.left_out = list.left_out + 1
    else
      share.bytes, list.bytes = share.bytes + size, list.bytes + size
      kept[#kept + 1] = record
    end
  end
  list.records = kept
end

-- Adds a record of that owner's.
function M:add(record, owner)
  local text, why = host.encode(record)
  if not text then
    host.log(1, "record can't be written: " .. why)
    return
  end
  local share = self.shares[owner] or { bytes = 0, full = false }
  self.shares[owner] = share
  if share.full or #text >= ROOM then
    self.left_out = self.left_out + 1
    return
  end
  self.records[#self.records + 1] = { text = text, share = share }
  share.bytes, self.bytes = share.bytes + #text + 1, self.bytes + #text + 1
  if self.bytes > KEPT_BYTES then cut(self) end
end

function M:text()
  cut(self)
  if self.left_out > 0 then
    host.log(1, string.format("document is full: %d records left out", self.left_out))
  end
  host.log(2, string.format("%d records", #self.records))
  local texts = {}
  for position, record in ipairs(self.records) do texts[position] = record.text end
  return HEAD .. table.concat(texts, ",") .. TAIL
end

return M
