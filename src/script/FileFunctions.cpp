// host.read, host.list, host.stat, host.resolve, host.readlink, host.write:
// all paths are as the tool names them, with the root in front, and nothing
// below an inspected root leads out of it.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "common/InspectedRoot.h"
#include "common/support/PlainFile.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr lua_Integer kMaximumReadBytes = lua_Integer{64} << 20;
constexpr lua_Integer kUsualReadBytes = lua_Integer{4} << 20;
constexpr std::size_t kMaximumNames = 20000;
constexpr std::size_t kChunkBytes = 65536;

/// host.read(path [, maximum]) -> text, whether there was more | nil, why
int readFile(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  const lua_Integer asked = luaL_optinteger(state, 2, kUsualReadBytes);
  const auto limit = static_cast<std::size_t>(std::clamp(asked, lua_Integer{0}, kMaximumReadBytes));
  const FileDescriptor file = openInspected(std::string(path), O_RDONLY);
  if (!file) return failure(state, std::strerror(errno));
  std::string text;
  // The kernel's own files have no size, so they are read until they end.
  while (text.size() <= limit) {
    const std::size_t before = text.size();
    text.resize(before + std::min(kChunkBytes, limit + 1 - before));
    const ssize_t count = read(file.get(), text.data() + before, text.size() - before);
    text.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && text.empty()) return failure(state, std::strerror(errno));
    if (count <= 0) break;
  }
  const bool more = text.size() > limit;
  pushText(state, std::string_view(text).substr(0, limit));
  lua_pushboolean(state, more);
  return 2;
}

std::vector<std::string> sortedNames(DIR* directory) {
  std::vector<std::string> names;
  while (names.size() < kMaximumNames) {
    const dirent* entry = readdir(directory);
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// host.list(path) -> names in byte order | nil, why
int listDirectory(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  const DirHandle directory = openInspectedDir(std::string(path));
  if (!directory) return failure(state, std::strerror(errno));
  const std::vector<std::string> names = sortedNames(directory.get());
  lua_createtable(state, static_cast<int>(names.size()), 0);
  lua_Integer position = 0;
  for (const std::string& name : names) {
    pushText(state, name);
    lua_rawseti(state, -2, ++position);
  }
  return 1;
}

const char* kindOf(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return "file";
  if (S_ISDIR(status.st_mode)) return "directory";
  return "other";
}

/// host.stat(path) -> {kind, size, mode, uid, gid, modified} | nil, why
int statFile(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  struct stat status;
  if (statInspected(std::string(path), status) != 0) return failure(state, std::strerror(errno));
  lua_createtable(state, 0, 6);
  setText(state, "kind", kindOf(status));
  setNumber(state, "size", status.st_size);
  setNumber(state, "mode", status.st_mode & 07777);
  setNumber(state, "uid", status.st_uid);
  setNumber(state, "gid", status.st_gid);
  setNumber(state, "modified", status.st_mtime);
  return 1;
}

/// host.resolve(path) -> the path to which it leads inside its root
int resolvePath(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  pushText(state, resolveInspected(std::string(path)));
  return 1;
}

/// host.readlink(path) -> the link's own text | nil, why
int readLink(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  std::string target;
  if (!readlinkInspected(std::string(path), target)) return failure(state, std::strerror(errno));
  pushText(state, target);
  return 1;
}

/// host.write(path, text) -> bytes written | nil, why. For the document: a path
/// that the parent named.
int writeFile(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  const std::string_view text = textArgument(state, 2);
  FileHandle file(utf8_fopen(std::string(path).c_str(), "wb"));
  if (!file) return failure(state, std::strerror(errno));
  const std::size_t written = fwrite(text.data(), 1, text.size(), file.get());
  if (fclose(file.release()) != 0 || written != text.size()) {
    return failure(state, std::strerror(errno));
  }
  lua_pushinteger(state, static_cast<lua_Integer>(written));
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"read", hostFunction<readFile>},
    {"list", hostFunction<listDirectory>},
    {"stat", hostFunction<statFile>},
    {"resolve", hostFunction<resolvePath>},
    {"readlink", hostFunction<readLink>},
    {"write", hostFunction<writeFile>},
    {nullptr, nullptr},
};

}  // namespace

void addFileFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
