#include "hostmodel/rootentry/RootTarget.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>

namespace LedgoraCollect {
namespace {

constexpr std::size_t kTextBytes = 65536;
constexpr int kDirectory = O_PATH | O_DIRECTORY | O_CLOEXEC;

bool isProcFs(int descriptor) {
  struct statfs status;
  return fstatfs(descriptor, &status) == 0 && status.f_type == PROC_SUPER_MAGIC;
}

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

FileDescriptor openBelow(int directory, const char* name) {
  return FileDescriptor(openat(directory, name, kDirectory | O_NOFOLLOW));
}

}  // namespace

bool parseProcessRoot(const std::string& root, std::string& prefix, std::string& pid) {
  constexpr char kProc[] = "/proc/";
  constexpr char kRoot[] = "/root";
  const std::string text = root.substr(0, root.find_last_not_of('/') + 1);
  const std::size_t end = text.rfind(kRoot);
  if (end == std::string::npos || end + sizeof kRoot - 1 != text.size()) return false;
  const std::size_t start = text.rfind(kProc, end);
  if (start == std::string::npos) return false;
  const std::size_t number = start + sizeof kProc - 1;
  if (number > end) return false;
  pid = text.substr(number, end - number);
  prefix = text.substr(0, start);
  return isNumber(pid);
}

FileDescriptor openProcIn(int root, const std::string& pid) {
  FileDescriptor proc = openBelow(root, "proc");
  if (!proc || !isProcFs(proc.get())) return {};
  if (pid.empty()) return proc;
  FileDescriptor process = openBelow(proc.get(), pid.c_str());
  // A mount over a process's directory would be somebody's own files.
  if (!process || !isProcFs(process.get())) return {};
  return process;
}

bool openRootTarget(const std::string& root, RootTarget& target) {
  std::string prefix;
  std::string pid;
  if (!parseProcessRoot(root, prefix, pid)) {
    target.root.reset(open(root.c_str(), kDirectory));
    return static_cast<bool>(target.root);
  }
  const FileDescriptor base(open(prefix.empty() ? "/" : prefix.c_str(), kDirectory));
  if (!base) return false;
  target.process = openProcIn(base.get(), pid);
  if (target.process) {
    target.root.reset(openat(target.process.get(), "root", kDirectory));
  } else {
    // Plain directories of these names in a mounted root.
    const FileDescriptor proc = openBelow(base.get(), "proc");
    const FileDescriptor process = openBelow(proc.get(), pid.c_str());
    target.root = openBelow(process.get(), "root");
  }
  return static_cast<bool>(target.root);
}

bool readTextAt(int directory, const char* name, std::string& text) {
  const FileDescriptor file(openat(directory, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file) return false;
  text.resize(kTextBytes);
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = read(file.get(), text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.resize(length);
  return true;
}

}  // namespace LedgoraCollect
