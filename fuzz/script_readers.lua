-- One reader of a configuration on one text. Arguments: root, module, path of
-- the text in the root, words of the server's command line.
local scripts = arg[0]:gsub("fuzz/[^/]*$", "scripts/agent_scripts/?.lua")
package.path = scripts

local root, module, path = arg[1], arg[2], arg[3]
host.setroot(root)
local instance = {
  name = module, version = "7", conf_path = path, root = root, process = { pid = 0 },
  files = require("files").new(root), arguments = { table.unpack(arg, 4) },
  variables = { HOME_DIR = "/srv" },
}
local model = require(module).read(instance, require("databases"))
assert(host.decode(assert(host.encode(model))).conf_path)
