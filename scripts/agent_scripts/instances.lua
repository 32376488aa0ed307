-- The running servers of the run's root: which processes belong together, and
-- what the software cache knows of them.

local apart = require("apart")
local files = require("files")

local M = {}

local OPTION_CONTAINERS, OPTION_NO_HOST = 8, 16

-- Programs by the name of their file. The names are those of the rules.
local PROGRAMS = {
  ["nginx"] = "nginx",
  ["apache2"] = "Apache HTTP Server",
  ["httpd"] = "Apache HTTP Server",
  ["lighttpd"] = "lighttpd",
  ["caddy"] = "Caddy",
  ["haproxy"] = "HAProxy",
  ["mariadbd"] = "MariaDB",
  ["mysqld"] = "MySQL",
  ["postgres"] = "PostgreSQL",
  ["postmaster"] = "PostgreSQL",
  ["redis-server"] = "Redis",
  ["valkey-server"] = "Valkey",
  ["memcached"] = "Memcached",
  ["mongod"] = "MongoDB",
  ["mongos"] = "MongoDB",
  ["etcd"] = "etcd",
}

-- Java programs by a word of the command line.
local JAVA_WORDS = {
  { "org.apache.catalina.startup.Bootstrap", "Tomcat" },
  { "org.eclipse.jetty", "Jetty" },
  { "jetty.home=", "Jetty" },
  { "org.opensearch.bootstrap", "OpenSearch" },
  { "org.elasticsearch.bootstrap", "Elasticsearch" },
  { "org.elasticsearch.server", "Elasticsearch" },
}

M.WEB = {
  ["nginx"] = "nginx", ["Apache HTTP Server"] = "apache", ["lighttpd"] = "lighttpd",
  ["Caddy"] = "caddy", ["HAProxy"] = "haproxy", ["Tomcat"] = "tomcat", ["Jetty"] = "jetty",
}

M.DATABASE = {
  ["MariaDB"] = "mysql", ["MySQL"] = "mysql", ["PostgreSQL"] = "postgresql", ["Redis"] = "redis",
  ["Valkey"] = "redis", ["Memcached"] = "memcached", ["MongoDB"] = "mongodb",
  ["Elasticsearch"] = "elasticsearch", ["OpenSearch"] = "elasticsearch", ["etcd"] = "etcd",
}

-- How a program tells its version when the cache doesn't know it yet.
local VERSION_COMMANDS = {
  ["nginx"] = { "-v 2>&1", "nginx/(%d[%w.-]*)" },
  ["Apache HTTP Server"] = { "-v 2>&1", "Apache/(%d[%w.-]*)" },
  ["MariaDB"] = { "--version 2>&1", "Ver (%d[%w.-]*)" },
  ["MySQL"] = { "--version 2>&1", "Ver (%d[%w.-]*)" },
  ["PostgreSQL"] = { "--version 2>&1", "%(PostgreSQL%) (%d[%w.-]*)" },
  ["Redis"] = { "--version 2>&1", "v=(%d[%w.-]*)" },
}

local function split_zero(text)
  local words = {}
  for word in (text or ""):gmatch("([^%z]*)%z?") do words[#words + 1] = word end
  while words[#words] == "" do words[#words] = nil end
  return words
end

-- The words of a process's command line, the program first.
local function words_of(run, process)
  local words = split_zero(host.read(run.root .. "/proc/" .. process.pid .. "/cmdline", 1 << 20))
  if #words ~= 1 or not words[1]:find(" ", 1, true) then return words end
  -- A program that wrote a title over its command line: one text with blanks.
  local title, split = words[1]:gsub("^nginx: master process ", ""), {}
  for word in title:gmatch("%S+") do split[#split + 1] = word end
  return split
end

local function program_of(run, process)
  -- A program that was replaced while it ran is still the same program.
  local path = process.path:gsub(" %(deleted%)$", "")
  local file = files.name(path)
  if file == "java" then
    local line = table.concat(words_of(run, process), " ")
    for _, word in ipairs(JAVA_WORDS) do
      if line:find(word[1], 1, true) then return word[2] end
    end
    return nil
  end
  if file == "redis-check-rdb" or file == "redis-check-aof" then
    local first = words_of(run, process)[1] or ""
    return first:find("redis-server", 1, true) and "Redis" or nil
  end
  return PROGRAMS[file]
end

local function numbers_of(text)
  local numbers = {}
  for number in (text or ""):gmatch("%d+") do numbers[#numbers + 1] = math.tointeger(tonumber(number)) end
  return numbers
end

-- Rows of the software cache by each pid that they name.
local function cache_rows()
  local rows, why = host.query(
    "select app_name, app_type, app_version, app_conf, install_path, path, docker_id, start_time," ..
    " pid, major_pid, language from software_cache")
  if not rows then
    host.log(1, "software cache can't be read: " .. why)
    return {}, {}
  end
  local by_pid = {}
  for _, row in ipairs(rows) do
    local configuration = host.decode(row.app_conf)
    row.conf_path = ""
    for _, value in pairs(type(configuration) == "table" and configuration or {}) do
      if type(value) == "string" then row.conf_path = value end
    end
    for _, pid in ipairs(numbers_of(row.pid .. " " .. row.major_pid)) do
      by_pid[pid] = by_pid[pid] or row
    end
  end
  return by_pid
end

-- The cache outlives a run and may be that of another root: a row counts only
-- for a process in the same container, and of its start time if it is the first.
local function row_for(by_pid, process)
  local row = by_pid[process.pid]
  if not row or row.docker_id ~= process.container then return nil end
  if tonumber(row.major_pid) == process.pid and tonumber(row.start_time) ~= process.started then
    return nil
  end
  return row
end

-- Whose a server is, for what everybody gets the same of: the container, else the user.
function M.owner(instance)
  return instance.environment.id ~= "" and instance.environment.id or instance.user
end

function M.wanted(run, process)
  if process.container ~= "" then return run.option & OPTION_CONTAINERS ~= 0 end
  return run.option & OPTION_NO_HOST == 0
end

local function new_instance(run, process, name, row)
  local prefix = run.root:gsub("/+$", "")
  if process.container ~= "" then prefix = prefix .. process.container_root end
  local kinds = { docker = 1, containerd = 2 }
  return {
    name = name,
    app_type = row and row.app_type or "",
    version = row and row.app_version or "",
    conf_path = row and row.conf_path or "",
    install_path = row and row.install_path or "",
    binary_path = process.path:gsub(" %(deleted%)$", ""),
    user = process.user,
    process = process,
    pids = { process.pid },
    environment = {
      type = process.container ~= "" and kinds[process.container_type] or 0,
      id = process.container,
    },
    files = files.new(prefix),
    root = run.root,
  }
end

-- The command line's words behind the program.
function M.arguments(instance)
  if not instance.arguments then
    instance.arguments = words_of({ root = instance.root }, instance.process)
    table.remove(instance.arguments, 1)
  end
  return instance.arguments
end

-- One variable of the process's environment; empty without it.
function M.variable(instance, name)
  if not instance.variables then
    instance.variables = {}
    local path = instance.root .. "/proc/" .. instance.process.pid .. "/environ"
    for _, word in ipairs(split_zero(host.read(path, 1 << 20))) do
      local key, value = word:match("^([^=]+)=(.*)$")
      if key and not instance.variables[key] then instance.variables[key] = value end
    end
  end
  return instance.variables[name] or ""
end

-- The process's working directory as the process sees it; empty if unknown.
function M.working_directory(instance)
  local base = instance.root .. "/proc/" .. instance.process.pid
  local path = host.readlink(base .. "/cwd") or ""
  local root = host.readlink(base .. "/root") or "/"
  if root ~= "/" and path:sub(1, #root + 1) == root .. "/" then path = path:sub(#root + 1) end
  return path:sub(1, 1) == "/" and path:gsub(" %(deleted%)$", "") or ""
end

-- The value of an option: "-c FILE", "-cFILE", "--name FILE" or "--name=FILE".
function M.option(instance, names)
  local arguments, found = M.arguments(instance), nil
  for position, word in ipairs(arguments) do
    for _, name in ipairs(names) do
      if word == name then
        found = arguments[position + 1]
      elseif name:sub(1, 2) == "--" then
        if word:sub(1, #name + 1) == name .. "=" then found = word:sub(#name + 2) end
      elseif #word > #name and word:sub(1, #name) == name and word:sub(1, 2) ~= "--" then
        found = word:sub(#name + 1)
      end
    end
  end
  return found
end

-- The value of a Java property, "-DNAME=VALUE".
function M.property(instance, name)
  for _, word in ipairs(M.arguments(instance)) do
    local value = word:match("^%-D" .. name:gsub("%W", "%%%0") .. "=(.*)$")
    if value then return value end
  end
  return nil
end

-- The configuration file: as the command line names it, as the cache knows it,
-- or the first of the usual ones that exists. Empty if there is none.
function M.configuration(instance, names, usual, base)
  local given = M.option(instance, names)
  if given and given ~= "" then
    local path = files.join(base or M.working_directory(instance), given)
    if path ~= "" then return path end
  end
  if instance.conf_path ~= "" and instance.files:is_file(instance.conf_path) then
    return instance.conf_path
  end
  for _, path in ipairs(usual) do
    if path ~= "" and instance.files:is_file(path) then return path end
  end
  return ""
end

function M.version(instance)
  local how = VERSION_COMMANDS[instance.name]
  if instance.version ~= "" or not how then return instance.version end
  if not host.word(instance.binary_path) then return "" end
  local target = instance.environment.id ~= "" and instance.process.container_root or ""
  -- Whoever runs a program named like a server may let it hang when it is asked.
  local output = apart.charged(instance.name .. ": version can't be told", M.owner(instance),
    function()
      return (host.command(instance.binary_path .. " " .. how[1], target, instance.process.pid))
    end)
  instance.version = output and output:match(how[2]) or ""
  return instance.version
end

-- Servers of the run's root in the order of their first processes.
function M.collect(run)
  local processes, why = host.processes()
  if not processes then error(why, 0) end
  local by_pid = cache_rows()
  local list, by_process = {}, {}
  run.processes, run.cache_row = processes, function(process) return row_for(by_pid, process) end
  table.sort(processes, function(a, b) return a.pid < b.pid end)
  local program, position = {}, {}
  for _, process in ipairs(processes) do
    position[process.pid] = process
    local row = row_for(by_pid, process)
    local typed = row and (row.app_type == "web" or row.app_type == "db")
    program[process.pid] = M.wanted(run, process) and
      ((typed and tonumber(row.major_pid) == process.pid and row.app_name) or program_of(run, process)) or nil
  end
  -- The first process of a server is the one whose parent isn't of the same program.
  local function first_of(process)
    for _ = 1, 64 do
      local parent = position[process.parent]
      if not parent or parent.pid == process.pid or parent.container ~= process.container or
        program[parent.pid] ~= program[process.pid] then
        break
      end
      process = parent
    end
    return process
  end
  for _, process in ipairs(processes) do
    if program[process.pid] and not host.leftout(program[process.pid]) then
      local first = first_of(process)
      local instance = by_process[first.pid]
      if not instance then
        instance = new_instance(run, first, program[process.pid], row_for(by_pid, first))
        by_process[first.pid] = instance
        list[#list + 1] = instance
      end
      if process.pid ~= first.pid then instance.pids[#instance.pids + 1] = process.pid end
    end
  end
  for _, instance in ipairs(list) do table.sort(instance.pids) end
  return list
end

return M
