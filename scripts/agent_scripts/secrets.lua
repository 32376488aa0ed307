-- Which settings are never shown: their value is "***" in document and log.

local M = {}

local SECRET_WORDS = { "pass", "secret", "token", "credential", "private",
  "masterauth", "sst-auth", "sst_auth", "apikey", "api_key", "access_key" }
-- Names that hold such a word and tell nothing.
local HARMLESS = {
  ["password_encryption"] = true, ["default_password_lifetime"] = true,
}

function M.is_secret(name)
  local lower = name:lower()
  if HARMLESS[lower] then return false end
  for _, word in ipairs(SECRET_WORDS) do
    if lower:find(word, 1, true) then return true end
  end
  return false
end

function M.shown(name, value)
  if M.is_secret(name) and value ~= "" then return "***" end
  value = value:gsub("(%a[%w+.-]*://)[^/@%s]*@", "%1***@")
  -- A value of several parts, as a connection's: "host=a password=b".
  return (value:gsub("([Pp][Aa][Ss][Ss]%w*%s*=%s*)[^%s;&]+", "%1***"))
end

return M
