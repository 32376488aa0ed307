-- Type 10: one record per deployed application.

local applications = require("applications")
local instances = require("instances")
local web_servers = require("web_servers")

local M = {}

local Application = host.record({ "name", "version", "kind", "language", "server", "environment",
  "site", "path", "path_owner", "path_mode", "user", "pid" })

function M.collect(run, list)
  applications.each(run, function(app)
    list:add(setmetatable({
      name = app.name,
      version = app.version,
      kind = app.kind,
      language = app.language,
      server = app.server,
      environment = web_servers.environment(app.instance),
      site = app.site,
      path = app.path,
      path_owner = app.owner,
      path_mode = app.mode,
      user = app.instance.user,
      pid = host.array(app.instance.pids),
    }, Application), instances.owner(app.instance))
  end)
end

return M
