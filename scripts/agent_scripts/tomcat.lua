-- Tomcat: conf/server.xml, one site per host and context.

local addresses = require("addresses")
local files = require("files")
local instances = require("instances")
local sites = require("sites")
local xml = require("xml")

local M = {}

local MAXIMUM_CONTEXTS = 4000

local function read_server(text, base)
  local server = { connectors = {}, hosts = {} }
  local connector, host_element = nil, nil
  xml.parse(text, function(name, attributes)
    if name == "Connector" then
      connector = { attributes = attributes }
      server.connectors[#server.connectors + 1] = connector
    elseif name == "Certificate" and connector then
      connector.certificate = connector.certificate or attributes.certificateFile or
        attributes.certificateKeystoreFile
    elseif name == "Host" then
      host_element = { attributes = attributes, aliases = {}, contexts = {} }
      server.hosts[#server.hosts + 1] = host_element
    elseif name == "Context" and host_element then
      host_element.contexts[#host_element.contexts + 1] = attributes
    elseif name == "Alias" and host_element then
      host_element.in_alias = true
    end
  end, function(name)
    if name == "Connector" then connector = nil end
    if name == "Host" then host_element = nil end
  end)
  -- The texts of aliases are the one thing that stands between elements.
  for block in text:gmatch("<Host%f[%W](.-)</Host>") do
    local named = block:match("name%s*=%s*[\"']([^\"']*)")
    for _, element in ipairs(server.hosts) do
      if element.attributes.name == named then
        for alias in block:gmatch("<Alias>%s*([^<%s]+)%s*</Alias>") do
          element.aliases[#element.aliases + 1] = alias
        end
      end
    end
  end
  server.base = base
  return server
end

local function listens_of(model, server)
  for _, connector in ipairs(server.connectors) do
    local attributes = connector.attributes
    local tls = attributes.SSLEnabled == "true" or attributes.scheme == "https"
    local entry = addresses.listen(attributes.address or "*", attributes.port or "8080", tls)
    if tls then
      model.certificate = model.certificate or connector.certificate or
        attributes.keystoreFile or attributes.SSLCertificateFile
    end
    addresses.add(model.listen, entry)
  end
end

-- The contexts of a host: those that server.xml names, and what lies in its
-- directory of applications.
function M.contexts(instance, element, base)
  local found, seen = {}, {}
  local app_base = files.join(base, element.attributes.appBase or "webapps")
  local function add(path, root)
    if not seen[path] and #found < MAXIMUM_CONTEXTS then
      seen[path] = true
      found[#found + 1] = { path = path, root = root }
    end
  end
  for _, context in ipairs(element.contexts) do
    local doc_base = context.docBase or ""
    local path = context.path or ""
    add(path == "" and "/" or path, doc_base ~= "" and files.join(app_base, doc_base) or app_base)
  end
  for _, name in ipairs(instance.files:list(app_base)) do
    local stem = name:gsub("%.war$", "")
    local path = "/" .. stem:gsub("##.*$", ""):gsub("#", "/")
    if path == "/ROOT" then path = "/" end
    if name:find("%.war$") or instance.files:is_directory(app_base .. "/" .. name) then
      add(path, app_base .. "/" .. name)
    end
  end
  return found
end

function M.read(instance)
  local base = instances.property(instance, "catalina.base") or
    instances.property(instance, "catalina.home") or ""
  local conf_path = base ~= "" and files.join(base, "conf/server.xml") or instance.conf_path
  local model = sites.new_model(conf_path)
  local text = conf_path ~= "" and instance.files:configuration(conf_path)
  if not text then return model end
  local server = read_server(text, base)
  listens_of(model, server)
  for _, element in ipairs(server.hosts) do
    for _, context in ipairs(M.contexts(instance, element, base)) do
      local site = sites.new_site()
      site.server_name = element.attributes.name or ""
      for _, alias in ipairs(element.aliases) do sites.add_unique(site.aliases, alias) end
      site.path, site.root = context.path, context.root
      for _, entry in ipairs(model.listen) do addresses.add(site.listen, entry) end
      site.certificate_path = model.certificate and files.join(base, model.certificate) or ""
      sites.add(model, site)
    end
  end
  return model
end

return M
