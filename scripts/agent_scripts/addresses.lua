-- Listening addresses as configurations write them.

local M = {}

M.Listen = host.record({ "address", "port", "tls" })

function M.listen(address, port, tls)
  return setmetatable({ address = address, port = tostring(port or ""), tls = tls and "1" or "0" },
    M.Listen)
end

-- "address:port", "[v6]:port", "port", "address", "unix:path", "*:port".
-- Returns address and port; what isn't said is `any` and `default_port`.
function M.parse(text, default_port, any)
  any = any or "*"
  default_port = tostring(default_port or "")
  if text:sub(1, 5) == "unix:" then return text, "" end
  if text:sub(1, 1) == "/" then return "unix:" .. text, "" end
  local address, port = text:match("^(%b[]):(%d+)$")
  if address then return address, port end
  if text:match("^%b[]$") then return text, default_port end
  if text:match("^%d+$") then return any, text end
  address, port = text:match("^(.*):(%d+)$")
  if address then return address == "" and any or address, port end
  return text == "" and any or text, default_port
end

-- Whether an address means every interface.
function M.all(address)
  return address == "*" or address == "0.0.0.0" or address == "::" or address == "[::]" or
    address == "" or address == "0" or address == "_site_:_global_"
end

-- Appends unless an equal one is there.
function M.add(list, entry)
  local seen = list.seen or {}
  local key = entry.address .. "\0" .. entry.port
  if seen[key] then
    if entry.tls == "1" then seen[key].tls = "1" end
    return
  end
  seen[key] = entry
  rawset(list, "seen", seen)
  list[#list + 1] = entry
end

-- Appends one for each address of a text, between them commas or blanks.
function M.add_each(list, text, port, tls)
  for address in text:gmatch("[^,%s]+") do M.add(list, M.listen(address, port, tls)) end
end

-- User and password of an URL are nobody's business.
function M.without_password(url)
  return (url:gsub("^(%a[%w+.-]*://)[^/@]*@", "%1***@"))
end

return M
