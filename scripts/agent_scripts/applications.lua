-- The web applications of the run's root: what is deployed in web servers and
-- which services run by themselves. Both types 10 and 11 start from this list.

local apart = require("apart")
local files = require("files")
local instances = require("instances")
local php_table = require("php_applications")
local web_servers = require("web_servers")

local M = {}

local MAXIMUM_APPLICATIONS = 4000 -- of one owner
local FILE_BYTES = 1 << 20
local MAXIMUM_SUBDIRECTORIES = 500

local function new(instance, kind, path)
  return {
    instance = instance, files = instance.files, kind = kind, path = path, name = "", version = "",
    site = "", language = "", server = instance.name,
  }
end

-- "Name: value" lines of a manifest, continued lines joined.
local function manifest_values(text)
  local values = {}
  text = text:gsub("\r\n", "\n"):gsub("\n ", "")
  for key, value in text:gmatch("([%w-]+): ([^\n]*)") do
    if not values[key] then values[key] = value end
  end
  return values
end
M.manifest_values = manifest_values

-- The text of a member of a deployed directory or archive.
local function member(app, name)
  if app.archive then return host.zipmember(app.files:full(app.path), name, FILE_BYTES) end
  return app.files:read(app.path .. "/" .. name, FILE_BYTES)
end
M.member = member

local function java_version(app)
  local values = manifest_values(member(app, "META-INF/MANIFEST.MF") or "")
  app.version = values["Implementation-Version"] or values["Bundle-Version"] or app.version
  return values
end

-- A deployed archive or directory of Tomcat or Jetty.
local function add_java_contexts(instance, model, add)
  local seen = {}
  for _, site in ipairs(model.sites) do
    local is_archive = site.root:find("%.[wj]ar$") ~= nil
    local key = site.root:gsub("%.war$", "")
    local holds = is_archive or instance.files:is_directory(site.root .. "/WEB-INF")
    if not seen[key] and holds then
      seen[key] = true
      local app = new(instance, "java", site.root)
      app.archive = is_archive and instance.files:is_file(site.root)
      app.language, app.site = "java", site.server_name .. site.path
      local stem = files.name(key)
      app.name, app.version = stem:match("^(.-)##(.*)$")
      app.name, app.version = app.name or stem, app.version or ""
      java_version(app)
      add(app)
    end
  end
end

local function php_version(app, entry)
  local text = app.files:read(app.path .. "/" .. entry.file, FILE_BYTES) or ""
  return text:match(entry.pattern) or ""
end

local function composer_values(app)
  local decoded = host.decode(app.files:read(app.path .. "/composer.json", FILE_BYTES) or "")
  return type(decoded) == "table" and decoded or {}
end

local function text_of(value) return type(value) == "string" and value or "" end

-- The PHP application whose files lie in `path`, or nil.
local function php_application(instance, path)
  for _, entry in ipairs(php_table) do
    if instance.files:is_file(path .. "/" .. entry.marker) then
      local app = new(instance, "php", path)
      app.name, app.version = entry.name, php_version(app, entry)
      return app
    end
  end
  if instance.files:is_file(path .. "/index.php") then
    local app = new(instance, "php", path)
    local composer = composer_values(app)
    app.name = text_of(composer.name)
    if app.name == "" then app.name = files.name(path) end
    app.version = text_of(composer.version)
    return app
  end
  return nil
end

local PUBLIC = { public = true, web = true, htdocs = true, public_html = true, webroot = true }

local function add_php(instance, model, add)
  local seen = {}
  local function try(path, site)
    if path == "" or path == "/" or seen[path] then return seen[path] end
    seen[path] = true
    local app = php_application(instance, path)
    if not app then return false end
    app.language, app.site = "php", site.server_name
    add(app)
    return true
  end
  for _, site in ipairs(model.sites) do
    local root = site.root:gsub("/+$", "")
    if root ~= "" and not seen[root] and not root:find("$", 1, true) then
      -- A framework's public folder: the application is the folder above.
      local above = PUBLIC[files.name(root)] and files.directory(root) or ""
      if above ~= "" and (instance.files:is_file(above .. "/artisan") or
        instance.files:is_file(above .. "/composer.json")) and
        instance.files:is_file(root .. "/index.php") then
        local app = php_application(instance, above) or new(instance, "php", above)
        if app.name == "" then
          local composer = composer_values(app)
          app.name, app.version = text_of(composer.name), text_of(composer.version)
          if app.name == "" then app.name = files.name(above) end
        end
        app.language, app.site = "php", site.server_name
        seen[root], seen[above] = true, true
        add(app)
      elseif not try(root, site) then
        for position, name in ipairs(instance.files:list(root)) do
          if position > MAXIMUM_SUBDIRECTORIES then break end
          if name:sub(1, 1) ~= "." and instance.files:is_directory(root .. "/" .. name) then
            try(root .. "/" .. name, site)
          end
        end
      end
    end
  end
end

-- A process that isn't a server of the table, as an instance of its own.
local function own_instance(run, process, name)
  local prefix = run.root:gsub("/+$", "")
  if process.container ~= "" then prefix = prefix .. process.container_root end
  local kinds = { docker = 1, containerd = 2 }
  return {
    name = name, process = process, pids = { process.pid }, root = run.root, user = process.user,
    files = files.new(prefix), binary_path = process.path, conf_path = "",
    environment = { type = kinds[process.container_type] or 0, id = process.container },
  }
end

local function add_spring(instance, add)
  local arguments = instances.arguments(instance)
  for position, word in ipairs(arguments) do
    if word == "-jar" and arguments[position + 1] then
      local path = files.join(instances.working_directory(instance), arguments[position + 1])
      local app = new(instance, "spring-boot", path)
      app.archive = true
      local values = java_version(app)
      if values["Spring-Boot-Version"] or values["Spring-Boot-Classes"] then
        app.language = "java"
        app.server = "Spring Boot " .. (values["Spring-Boot-Version"] or "")
        app.server = app.server:gsub(" $", "")
        app.name = values["Implementation-Title"] or files.name(path):gsub("%.jar$", "")
        add(app)
      end
      return
    end
  end
end

-- The script of an interpreter's command line: the first word that is no option.
local function script_of(instance, value_options)
  local arguments, skip = instances.arguments(instance), false
  for position, word in ipairs(arguments) do
    if skip then
      skip = false
    elseif value_options[word] then
      if word == "-m" then return nil, arguments[position + 1] end
      skip = true
    elseif word:sub(1, 1) ~= "-" then
      return word
    end
  end
  return nil
end

-- The folder at or above `directory` that holds one of `names`.
local function folder_with(instance, directory, names)
  for _ = 1, 6 do
    if directory == "" or directory == "/" then return nil end
    for _, name in ipairs(names) do
      if instance.files:is_file(directory .. "/" .. name) then return directory, name end
    end
    directory = files.directory(directory)
  end
  return nil
end

local NODE_OPTIONS = { ["-r"] = true, ["--require"] = true, ["-e"] = true, ["--eval"] = true,
  ["--import"] = true, ["--loader"] = true, ["-p"] = true }

local function add_node(instance, add)
  local script = script_of(instance, NODE_OPTIONS)
  if not script then return end
  local path = files.join(instances.working_directory(instance), script)
  local folder = folder_with(instance, instance.files:is_directory(path) and path or
    files.directory(path), { "package.json" })
  -- Tools that are themselves packages of somebody's folder are no services.
  if not folder or folder:find("/node_modules/", 1, true) then return end
  local values = host.decode(instance.files:read(folder .. "/package.json", FILE_BYTES) or "")
  values = type(values) == "table" and values or {}
  local app = new(instance, "node", folder)
  app.language, app.server = "javascript", "Node.js"
  app.name, app.version = text_of(values.name), text_of(values.version)
  if app.name == "" then app.name = files.name(folder) end
  add(app)
end

local PYTHON_OPTIONS = { ["-m"] = true, ["-W"] = true, ["-X"] = true, ["-c"] = true }
local PYTHON_SERVERS = { gunicorn = "Gunicorn", uvicorn = "Uvicorn", hypercorn = "Hypercorn",
  daphne = "Daphne", ["waitress-serve"] = "Waitress", waitress = "Waitress", flask = "Flask",
  uwsgi = "uWSGI", ["uwsgi-core"] = "uWSGI" }
local PYTHON_FILES = { "pyproject.toml", "setup.cfg", "setup.py", "manage.py", "requirements.txt" }

local function python_metadata(app)
  local project = app.files:read(app.path .. "/pyproject.toml", FILE_BYTES) or ""
  local section = ("\n" .. project):match("\n%[project%](.-)\n%[") or
    ("\n" .. project):match("\n%[project%](.*)$") or
    ("\n" .. project):match("\n%[tool%.poetry%](.-)\n%[") or
    ("\n" .. project):match("\n%[tool%.poetry%](.*)$") or ""
  local setup = app.files:read(app.path .. "/setup.cfg", FILE_BYTES) or ""
  local name = section:match("\nname%s*=%s*[\"']([^\"']+)") or setup:match("\nname%s*=%s*(%S+)")
  local version = section:match("\nversion%s*=%s*[\"']([^\"']+)") or
    setup:match("\nversion%s*=%s*([%d][%w.+-]*)")
  app.name, app.version = name or files.name(app.path), version or ""
end

local function add_python(instance, add)
  local script, module = script_of(instance, PYTHON_OPTIONS)
  local directory = instances.working_directory(instance)
  local file = script and files.name(script) or module or ""
  local server = PYTHON_SERVERS[file]
  if not server and not script then return end
  if not server then
    local path = files.join(directory, script)
    -- The system's own tools are scripts, too.
    if path:find("^/usr/s?bin/") or path:find("^/usr/share/") or path:find("^/usr/lib") or
      path:find("^/s?bin/") or path == "" then
      return
    end
    directory = files.directory(path)
  else
    directory = instances.option(instance, { "--chdir", "--app-dir" }) or directory
  end
  local folder = folder_with(instance, directory, PYTHON_FILES)
  if not server and not folder then return end
  local app = new(instance, "python", folder or directory)
  if app.path == "" or app.path == "/" then return end
  app.language, app.server = "python", server or "Python"
  python_metadata(app)
  add(app)
end

-- The applications of an instance: find(add) calls add with each.
local function applications_of(instance, find)
  local list = apart.run(instance.name .. ": applications can't be told",
    instances.owner(instance), function()
      local found = {}
      find(function(app)
        app.owner, app.mode = app.files:owner(app.path)
        app.instance, app.files = nil, nil
        found[#found + 1] = app
      end)
      return found
    end) or {}
  for _, app in ipairs(list) do app.instance, app.files = instance, instance.files end
  return list
end

local SERVICES = {
  { "^java$", "Java", add_spring },
  { "^node$", "Node.js", add_node },
  { "^nodejs$", "Node.js", add_node },
  { "^python[%d.]*$", "Python", add_python },
  { "^uwsgi", "uWSGI", add_python },
}

local function add_services(run, add)
  local by_pid, served = {}, {}
  for _, process in ipairs(run.processes) do by_pid[process.pid] = process end
  for _, process in ipairs(run.processes) do
    if instances.wanted(run, process) then
      local program = files.name((process.path:gsub(" %(deleted%)$", "")))
      for _, service in ipairs(SERVICES) do
        if program:find(service[1]) then
          local instance = own_instance(run, process, service[2])
          local found = applications_of(instance, function(tell) service[3](instance, tell) end)
          for _, app in ipairs(found) do
            -- Workers of one application are one application.
            local key = process.container .. "\0" .. app.kind .. "\0" .. app.path
            if served[key] then
              table.insert(served[key].instance.pids, process.pid)
            else
              served[key] = app
              add(app)
            end
          end
          break
        end
      end
    end
  end
end

-- Calls visit(application) for each one.
function M.each(run, visit)
  local list, count = {}, {}
  local function keep(app)
    local owner = instances.owner(app.instance)
    count[owner] = (count[owner] or 0) + 1
    if count[owner] <= MAXIMUM_APPLICATIONS and not host.leftout(app.name) then
      list[#list + 1] = app
    end
  end
  web_servers.each(run, function(instance, model)
    local java = instance.name == "Tomcat" or instance.name == "Jetty"
    local look = java and add_java_contexts or add_php
    local found = applications_of(instance, function(tell) look(instance, model, tell) end)
    for _, app in ipairs(found) do keep(app) end
  end)
  add_services(run, keep)
  for owner, found in pairs(count) do
    if found > MAXIMUM_APPLICATIONS then
      host.log(1, string.format("%d applications of %s left out", found - MAXIMUM_APPLICATIONS, owner))
    end
  end
  for _, app in ipairs(list) do visit(app) end
end

return M
