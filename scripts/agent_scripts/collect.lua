-- Web and database inventory (types 8 to 12).
-- Arguments: type, output path, log path, "env=<root>", option.
-- Writes {"list":[...]} to the output path and prints its length.

local document = require("document")
local instances = require("instances")

local KINDS = {
  [8] = "web_servers",
  [9] = "web_sites",
  [10] = "web_applications",
  [11] = "web_libraries",
  [12] = "databases",
}

local function write(path, text)
  local written, why = host.write(path, text)
  if not written then error("can't write " .. path .. ": " .. why, 0) end
  print(written)
end

local function main(kind, path, log, root, option)
  kind = tonumber(kind)
  if not KINDS[kind] or not path or not log or not root then
    error("usage: collect.lua TYPE OUTPUT LOG env=ROOT OPTION", 0)
  end
  host.openlog(log .. "/ledgora-agent")
  local run = {
    root = (root:gsub("^env=", "")),
    option = math.tointeger(tonumber(option) or 0) or 0,
  }
  host.setroot(run.root)
  if host.forbidden(kind) then
    return write(path, '{"collect_forbidden":"forbidden"}')
  end
  run.instances = instances.collect(run)
  local list = document.new()
  require(KINDS[kind]).collect(run, list)
  write(path, list:text())
end

main(...)
