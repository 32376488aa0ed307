#include "run/ProtectCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "common/support/Cipher.h"
#include "common/support/Handles.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongArguments = 2;
// The reader of protected files refuses anything larger.
constexpr std::size_t kMostFileBytes = 64 * 1024 * 1024;
// A file that is made anew is never open to more than its owner and group.
constexpr mode_t kWidestMode = 0640;

constexpr char kHelp[] =
    "Usage: ledgora_protect IN OUT          encipher the JSON file IN into OUT\n"
    "       ledgora_protect --plain IN OUT  decipher IN into OUT\n"
    "       ledgora_protect --help          print this\n"
    "\n"
    "ledgora_collect reads rule and configuration files in either form. OUT is\n"
    "replaced as a whole; it may be IN. An OUT that exists keeps its mode and\n"
    "owner, a new one gets the mode of IN, 0640 at most.\n"
    "\n"
    "Exit status: 0 done, 1 failed (OUT is untouched), 2 wrong arguments.\n";

struct Arguments {
  bool help = false;
  bool plain = false;
  std::vector<const char*> files;
};

/// False with the offending argument in `unknown`, or null if their number is
/// wrong.
bool parseArguments(int argc, const char* const* argv, Arguments& arguments, const char*& unknown) {
  unknown = nullptr;
  bool options = true;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument(argv[i]);
    if (!options || argument.empty() || argument[0] != '-') {
      arguments.files.push_back(argv[i]);
    } else if (argument == "--") {
      options = false;
    } else if (argument == "--help") {
      arguments.help = true;
    } else if (argument == "--plain") {
      arguments.plain = true;
    } else {
      unknown = argv[i];
      return false;
    }
  }
  return arguments.help || arguments.files.size() == 2;
}

int fail(FILE* err, const char* path, const std::string& reason) {
  std::fprintf(err, "ledgora_protect: %s: %s\n", path, reason.c_str());
  return kFailed;
}

std::string reasonOf(int error) { return std::strerror(error); }

bool readInput(const char* path, std::string& content, std::string& reason) {
  switch (readRegularFile(path, kMostFileBytes, content)) {
    case FileRead::Whole:
      return true;
    case FileRead::TooLarge:
      reason = "is over 64 MiB";
      return false;
    default:
      reason = errno == EINVAL ? "is not a regular file" : reasonOf(errno);
      return false;
  }
}

bool encipherContent(const std::string& content, std::string& result, std::string& reason) {
  if (hasCipherHeader(content)) {
    reason = "is enciphered already";
    return false;
  }
  if (content.size() > kMostFileBytes - kCipherOverheadBytes) {
    reason = "is over 64 MiB when enciphered";
    return false;
  }
  // A file that isn't JSON would fail on every machine it is shipped to.
  if (!JsonHandle(cJSON_ParseWithLength(content.c_str(), content.size() + 1))) {
    reason = "is not valid JSON";
    return false;
  }
  reason = "can't be enciphered";
  return encipherFileContent(content, defaultCipherParameters(), result);
}

bool decipherContent(const std::string& content, std::string& result, std::string& reason) {
  if (!hasCipherHeader(content)) {
    reason = "is not an enciphered file";
    return false;
  }
  const storage_crypto_param_s parameters = defaultCipherParameters();
  const MallocText text(storage_aes_decrypt(content.data() + kCipherHeaderBytes,
                                            content.size() - kCipherHeaderBytes, &parameters));
  reason = "can't be deciphered: damaged, cut short or made with another key";
  if (!text) return false;
  result.assign(text.get(), content.size() - kCipherOverheadBytes);
  return true;
}

/// Gives the new file the mode and owner that the output has or shall have.
bool takeOverMode(int file, const char* in, const char* out) {
  struct stat info {};
  if (::lstat(out, &info) == 0 && S_ISREG(info.st_mode)) {
    // The owner first: changing it takes away special bits of the mode.
    const bool same = info.st_uid == ::geteuid() && info.st_gid == ::getegid();
    if (!same && ::fchown(file, info.st_uid, info.st_gid) != 0) return false;
    return ::fchmod(file, info.st_mode & 0777) == 0;
  }
  if (::stat(in, &info) != 0) return false;
  return ::fchmod(file, (info.st_mode & kWidestMode) | S_IRUSR | S_IWUSR) == 0;
}

bool writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(file, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return ::fsync(file) == 0;
}

/// Puts `content` in the place of `out` as a whole. False with errno set and
/// nothing left behind.
bool replaceFile(const char* in, const char* out, std::string_view content) {
  struct stat info {};
  if (::lstat(out, &info) == 0 && S_ISDIR(info.st_mode)) {
    errno = EISDIR;
    return false;
  }
  std::string temporary = std::string(out) + ".XXXXXX";
  const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file) return false;
  if (takeOverMode(file.get(), in, out) && writeAll(file.get(), content) &&
      ::rename(temporary.c_str(), out) == 0) {
    return true;
  }
  const int reason = errno;
  ::unlink(temporary.c_str());
  errno = reason;
  return false;
}

int convert(const Arguments& arguments, FILE* err) {
  const char* const in = arguments.files[0];
  const char* const out = arguments.files[1];
  std::string content;
  std::string result;
  std::string reason;
  if (!readInput(in, content, reason)) return fail(err, in, reason);
  const bool made = arguments.plain ? decipherContent(content, result, reason)
                                    : encipherContent(content, result, reason);
  if (!made) return fail(err, in, reason);
  if (!replaceFile(in, out, result)) return fail(err, out, reasonOf(errno));
  return kDone;
}

}  // namespace

int protectCommand(int argc, const char* const* argv, FILE* out, FILE* err) {
  Arguments arguments;
  const char* unknown = nullptr;
  if (!parseArguments(argc, argv, arguments, unknown)) {
    if (unknown != nullptr) {
      std::fprintf(err, "ledgora_protect: unknown option %s\n", unknown);
    } else {
      std::fputs("ledgora_protect: IN and OUT are needed\n", err);
    }
    std::fputs("Try 'ledgora_protect --help'.\n", err);
    return kWrongArguments;
  }
  if (arguments.help) return std::fputs(kHelp, out) >= 0 && std::fflush(out) == 0 ? kDone : kFailed;
  return convert(arguments, err);
}

}  // namespace LedgoraCollect
