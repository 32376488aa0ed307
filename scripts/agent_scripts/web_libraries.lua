-- Type 11: the frameworks and libraries of the applications of type 10, from
-- archive names and manifests and the metadata of composer, npm and Python.

local apart = require("apart")
local applications = require("applications")
local files = require("files")
local instances = require("instances")
local web_servers = require("web_servers")

local M = {}

local Library = host.record({ "name", "version", "kind", "is_framework", "environment",
  "application", "application_path", "path" })

local MAXIMUM_LIBRARIES = 10000 -- of one application
local FILE_BYTES = 8 << 20

-- What shapes an application; the others are its libraries.
local FRAMEWORKS = {
  ["spring-core"] = true, ["spring-boot"] = true, ["spring-webmvc"] = true, ["spring-webflux"] = true,
  ["struts2-core"] = true, ["mybatis"] = true, ["hibernate-core"] = true, ["shiro-core"] = true,
  ["jersey-server"] = true, ["dubbo"] = true, ["quarkus-core"] = true, ["vertx-core"] = true,
  ["laravel/framework"] = true, ["symfony/framework-bundle"] = true, ["symfony/http-kernel"] = true,
  ["topthink/framework"] = true, ["yiisoft/yii2"] = true, ["cakephp/cakephp"] = true,
  ["codeigniter4/framework"] = true, ["slim/slim"] = true, ["laminas/laminas-mvc"] = true,
  ["express"] = true, ["koa"] = true, ["fastify"] = true, ["next"] = true, ["nuxt"] = true,
  ["@nestjs/core"] = true, ["@hapi/hapi"] = true, ["react"] = true, ["vue"] = true,
  ["django"] = true, ["flask"] = true, ["fastapi"] = true, ["tornado"] = true, ["starlette"] = true,
  ["bottle"] = true, ["pyramid"] = true, ["aiohttp"] = true, ["sanic"] = true,
}

-- "commons-io-2.11.0.jar" is commons-io 2.11.0.
function M.from_archive_name(name)
  local stem = name:gsub("%.jar$", "")
  local title, version = stem:match("^(.-)%-(%d[%w._+-]*)$")
  return title or stem, version or ""
end

local function jars_of(app)
  local found = {}
  if app.archive then
    for _, name in ipairs(host.zipnames(app.files:full(app.path)) or {}) do
      if name:find("^WEB%-INF/lib/[^/]+%.jar$") or name:find("^BOOT%-INF/lib/[^/]+%.jar$") then
        found[#found + 1] = name
      end
    end
    table.sort(found)
  else
    for _, name in ipairs(app.files:list(app.path .. "/WEB-INF/lib")) do
      if name:find("%.jar$") then found[#found + 1] = "WEB-INF/lib/" .. name end
    end
  end
  return found
end

local function add_jars(app, add)
  for _, name in ipairs(jars_of(app)) do
    local title, version = M.from_archive_name(files.name(name))
    local path = app.path .. (app.archive and "!/" or "/") .. name
    if version == "" and not app.archive then
      local text = host.zipmember(app.files:full(path), "META-INF/MANIFEST.MF")
      local values = applications.manifest_values(text or "")
      version = values["Implementation-Version"] or values["Bundle-Version"] or ""
    end
    add("jar", title, version, path)
  end
end

local function decoded(app, path)
  local text = app.files:read(path, FILE_BYTES)
  local value = text and host.decode(text)
  return type(value) == "table" and value or {}
end

local function text_of(value) return type(value) == "string" and value or "" end

local function add_composer(app, add)
  local path = app.path .. "/vendor/composer/installed.json"
  local installed = decoded(app, path)
  local list = type(installed.packages) == "table" and installed.packages or installed
  if #list == 0 then
    path = app.path .. "/composer.lock"
    list = decoded(app, path).packages
  end
  for _, package in ipairs(type(list) == "table" and list or {}) do
    if type(package) == "table" and text_of(package.name) ~= "" then
      add("composer", package.name, (text_of(package.version):gsub("^v(%d)", "%1")), path)
    end
  end
end

local function add_node_module(app, path, add)
  local values = decoded(app, path .. "/package.json")
  if text_of(values.name) ~= "" then
    add("npm", values.name, text_of(values.version), path)
  end
end

local function add_npm(app, add)
  local base = app.path .. "/node_modules"
  for _, name in ipairs(app.files:list(base)) do
    if name:sub(1, 1) == "@" then
      for _, inner in ipairs(app.files:list(base .. "/" .. name)) do
        add_node_module(app, base .. "/" .. name .. "/" .. inner, add)
      end
    elseif name:sub(1, 1) ~= "." then
      add_node_module(app, base .. "/" .. name, add)
    end
  end
end

-- "Django-4.2.1.dist-info" and "Name-1.0-py3.11.egg-info".
local function add_site_packages(app, path, add)
  local count = 0
  for _, name in ipairs(app.files:list(path)) do
    local title, version = name:match("^(.-)%-(%d[^-]*)%.dist%-info$")
    if not title then title, version = name:match("^(.-)%-(%d[^-]*).*%.egg%-info$") end
    if title then
      count = count + 1
      add("python", title, version, path .. "/" .. name)
    end
  end
  return count
end

local function add_python(app, add)
  local count = 0
  for _, folder in ipairs({ "venv", ".venv", "env" }) do
    for _, path in ipairs(app.files:glob(app.path .. "/" .. folder .. "/lib/python*/site-packages")) do
      count = count + add_site_packages(app, path, add)
    end
  end
  if count > 0 then return end
  -- Nothing of its own is installed: what the application asks for.
  local path = app.path .. "/requirements.txt"
  for line in (app.files:read(path, FILE_BYTES) or ""):gmatch("[^\r\n]+") do
    local title, version = line:match("^%s*([%w._-]+)[^=#]-==%s*([%w.+!-]+)")
    if title then add("python", title, version, path) end
  end
end

local READERS = { java = add_jars, ["spring-boot"] = add_jars, php = add_composer,
  node = add_npm, python = add_python }

local function libraries_of(app)
  return apart.run(app.name .. ": libraries can't be told", instances.owner(app.instance), function()
    local found = {}
    READERS[app.kind](app, function(kind, name, version, path)
      if #found >= MAXIMUM_LIBRARIES then return end
      found[#found + 1] = { kind = kind, name = name, version = version, path = path }
    end)
    return found
  end) or {}
end

function M.collect(run, list)
  applications.each(run, function(app)
    for _, library in ipairs(libraries_of(app)) do
      if not host.leftout(library.name) then
        list:add(setmetatable({
          name = library.name,
          version = library.version,
          kind = library.kind,
          is_framework = FRAMEWORKS[library.name:lower()] and "1" or "0",
          environment = web_servers.environment(app.instance),
          application = app.name,
          application_path = app.path,
          path = library.path,
        }, Library), instances.owner(app.instance))
      end
    end
  end)
end

return M
