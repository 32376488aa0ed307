#include "common/support/Log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "common/support/IniFile.h"
#include "common/support/InstallPath.h"
#include "common/support/LogFile.h"
#include "common/support/LogRecord.h"

namespace LedgoraCollect {
namespace {

constexpr int kDefaultVerbosity = 2;
constexpr int kHighestVerbosity = 3;
constexpr long long kRotateBytes = 10LL * 1024 * 1024;
constexpr std::size_t kMostEarlyRecords = 256;
// A longer message (a dump of level 3) is cut here.
constexpr std::size_t kMessageBytes = 256 * 1024;

struct EarlyRecord {
  int level;
  std::string text;
};

/// What the log is within this process.
class LogState {
 public:
  static LogState& instance() {
    // Never destroyed: destructors of other statics may still log.
    static LogState* const state = new LogState();
    return *state;
  }

  void write(int level, const char* function, int line, std::string_view message) {
    const std::string record = formatLogRecord(level, function, line, message);
    if (level <= 0 && mTerminal) toStandardError(record);
    if (mFile.isOpen()) {
      mFile.write(record);
    } else {
      keep(level, record);
    }
  }

  void open(const char* directory, int oldFiles) {
    if (!mFile.open(directory, oldFiles, kRotateBytes)) {
      const int reason = errno;
      error_output(0, __func__, __LINE__, "log in %s can't be opened: %s", directory,
                   std::strerror(reason));
      return;
    }
    for (const EarlyRecord& record : mEarly) {
      if (record.level <= wantedVerbosity()) mFile.write(record.text);
    }
    mEarly.clear();
    if (mDropped > 0) error_output(1, __func__, __LINE__, "%zu early records lost", mDropped);
    mDropped = 0;
  }

  static int wantedVerbosity() {
    int verbosity = s_t_module_log.verbosity;
    if (s_pmodule_log != nullptr && *s_pmodule_log != nullptr &&
        (*s_pmodule_log)->verbosity > verbosity) {
      verbosity = (*s_pmodule_log)->verbosity;
    }
    return verbosity;
  }

 private:
  LogState() : mTerminal(::isatty(STDERR_FILENO) == 1), mOwner(::getpid()) {
    std::atexit([] { instance().atExit(); });
  }

  /// Keeps a record until the log opens. Where there is no room left, an error
  /// takes the place of the latest record that is none.
  void keep(int level, const std::string& record) {
    if (mEarly.size() >= kMostEarlyRecords) {
      ++mDropped;
      const auto lesser = std::find_if(mEarly.rbegin(), mEarly.rend(),
                                       [](const EarlyRecord& kept) { return kept.level > 0; });
      if (level > 0 || lesser == mEarly.rend()) return;
      mEarly.erase(std::next(lesser).base());
    }
    mEarly.push_back({level, record});
  }

  /// A run whose log never opened still tells its errors. A forked child that
  /// exits has only a copy of its parent's records and says nothing.
  void atExit() const {
    if (mFile.isOpen() || mTerminal || ::getpid() != mOwner) return;
    for (const EarlyRecord& record : mEarly) {
      if (record.level <= 0) toStandardError(record.text);
    }
  }

  static void toStandardError(const std::string& record) {
    const ssize_t written = ::write(STDERR_FILENO, record.data(), record.size());
    static_cast<void>(written);  // there is nowhere left to tell a failure
  }

  LogFile mFile;
  std::vector<EarlyRecord> mEarly;
  std::size_t mDropped = 0;
  bool mTerminal;
  pid_t mOwner;
};

/// The message as printf makes it. A format that printf refuses (a character
/// that can't be converted) stands for itself.
__attribute__((format(printf, 1, 0))) std::string composeMessage(const char* format,
                                                                 va_list arguments) {
  char buffer[2048];
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
  std::string message;
  if (length < 0) {
    message = format;
  } else if (static_cast<std::size_t>(length) < sizeof buffer) {
    message.assign(buffer, static_cast<std::size_t>(length));
  } else {
    message.resize(std::min(static_cast<std::size_t>(length), kMessageBytes) + 1);
    if (std::vsnprintf(message.data(), message.size(), format, again) < 0) message = format;
    message.resize(std::strlen(message.c_str()));
  }
  va_end(again);
  return message;
}

/// When the configuration was last looked at and what it was then.
struct ConfigurationSeen {
  time_t checkedAt = 0;
  bool checked = false;
  bool reading = false;
  bool present = false;
  struct timespec modified {};
  long long sizeBytes = -1;
  unsigned long long inode = 0;
};

ModuleLog sModuleLog{kDefaultVerbosity};
ModuleLog* sModuleLogPointer = &sModuleLog;
ConfigurationSeen sSeen;

const char* configurationPath() {
  static char path[4096];
  if (path[0] == '\0') dirutils_path_transform("@/../config/log.ini", path, sizeof path);
  return path;
}

int readVerbosity(const char* path) {
  void* const ini = ini_file_load(path);
  if (ini == nullptr) return kDefaultVerbosity;
  const char* const value = ini_file_get(ini, "log", "level");
  int verbosity = kDefaultVerbosity;
  if (value != nullptr && value[0] >= '0' && value[0] <= '0' + kHighestVerbosity &&
      value[1] == '\0') {
    verbosity = value[0] - '0';
  }
  ini_file_free(ini);
  return verbosity;
}

/// True if the file differs from what was seen last; takes over what it is.
bool configurationChanged(const char* path) {
  struct stat info {};
  const bool present = ::stat(path, &info) == 0 && S_ISREG(info.st_mode);
  const bool same = present == sSeen.present && info.st_mtim.tv_sec == sSeen.modified.tv_sec &&
                    info.st_mtim.tv_nsec == sSeen.modified.tv_nsec &&
                    info.st_size == sSeen.sizeBytes && info.st_ino == sSeen.inode;
  sSeen.present = present;
  sSeen.modified = info.st_mtim;
  sSeen.sizeBytes = info.st_size;
  sSeen.inode = info.st_ino;
  return !same;
}

void checkConfiguration() {
  if (sSeen.reading) return;  // reading the configuration may log itself
  sSeen.reading = true;
  const int reason = errno;
  const char* const path = configurationPath();
  if (configurationChanged(path)) {
    const int verbosity = sSeen.present ? readVerbosity(path) : kDefaultVerbosity;
    s_t_module_log.verbosity = verbosity;
    sModuleLog.verbosity = verbosity;
  }
  errno = reason;
  sSeen.reading = false;
}

}  // namespace

__thread ModuleLog s_t_module_log{kDefaultVerbosity};
ModuleLog** s_pmodule_log = &sModuleLogPointer;

void error_output(int level, const char* function, int line, const char* format, ...) {
  if (level > LogState::wantedVerbosity()) return;
  const int reason = errno;
  va_list arguments;
  va_start(arguments, format);
  LogState::instance().write(level, function, line, composeMessage(format, arguments));
  va_end(arguments);
  errno = reason;
}

void error_output_text(int level, const char* function, int line, std::string_view message) {
  if (level > LogState::wantedVerbosity()) return;
  const int reason = errno;
  LogState::instance().write(level, function, line, message.substr(0, kMessageBytes));
  errno = reason;
}

void autolog_init(const char* directory, int oldFiles) {
  reload_log_conf();
  LogState::instance().open(directory, oldFiles);
}

void reload_log_conf() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);  // no system call, unlike a look at the file
  if (sSeen.checked && now.tv_sec == sSeen.checkedAt) return;
  sSeen.checked = true;
  sSeen.checkedAt = now.tv_sec;
  checkConfiguration();
}

}  // namespace LedgoraCollect
