-- Elements of an XML text, as far as server configurations need them: no
-- entities beyond the five, no document types.

local M = {}

local MAXIMUM_ELEMENTS = 50000
local ENTITIES = { amp = "&", lt = "<", gt = ">", quot = '"', apos = "'" }

local function unescape(text) return (text:gsub("&(%a+);", ENTITIES)) end

-- Calls open(name, attributes) and close(name), in the text's order.
function M.parse(text, open, close)
  local at, left = 1, MAXIMUM_ELEMENTS
  while left > 0 do
    local start = text:find("<", at, true)
    if not start then return end
    if text:sub(start, start + 3) == "<!--" then
      local _, stop = text:find("-->", start + 4, true)
      at = (stop or #text) + 1
    else
      -- A ">" may stand in an attribute, so whole quoted values are passed over.
      local stop = start + 1
      while true do
        local found = text:find("[\"'>]", stop)
        if not found then return end
        if text:sub(found, found) == ">" then
          stop = found
          break
        end
        local closing = text:find(text:sub(found, found), found + 1, true)
        if not closing then return end
        stop = closing + 1
      end
      local body = text:sub(start + 1, stop - 1)
      at, left = stop + 1, left - 1
      local name = body:match("^([%w:_.-]+)")
      if name then
        local attributes = {}
        for key, quoted in body:gmatch("([%w:_.-]+)%s*=%s*(%b\"\")") do
          attributes[key] = unescape(quoted:sub(2, -2))
        end
        for key, quoted in body:gmatch("([%w:_.-]+)%s*=%s*(%b'')") do
          attributes[key] = attributes[key] or unescape(quoted:sub(2, -2))
        end
        open(name, attributes)
        if body:sub(-1) == "/" then close(name) end
      else
        local closed = body:match("^/%s*([%w:_.-]+)")
        if closed then close(closed) end
      end
    end
  end
end

return M
