#pragma once

#include <string_view>

namespace LedgoraCollect {

/// Verbosity of one module: records above it aren't written.
struct ModuleLog {
  int verbosity;
};

/// The thread's own record. `__thread` rather than `thread_local`: without a
/// dynamic initializer the guard is one load, no call of a wrapper.
extern __thread ModuleLog s_t_module_log;
/// Leads to the record that the configuration sets; may be null, and so may
/// what it points at.
extern ModuleLog** s_pmodule_log;

/// Writes one record of `level` (0 error, 1 warning, 2 info, 3 debug). The
/// message is built as printf does; control characters and invalid UTF-8 are
/// written as escapes, so that a record is one line. Before autolog_init the
/// record is kept in memory. Never writes to standard output; never fails
/// visibly; leaves errno as it was.
void error_output(int level, const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// As error_output, for a message that is composed already: nothing in it is
/// taken for a conversion. This is the way for messages whose constant text
/// holds a "%" that printf must never see.
void error_output_text(int level, const char* function, int line, std::string_view message);

/// Opens "collect.log" in `directory` (which must exist) and writes the
/// records kept so far. A file over 10 MiB is moved to "collect.log.1" and so
/// on first; `oldFiles` such files are kept.
void autolog_init(const char* directory, int oldFiles);

/// Takes over a changed verbosity from "@/../config/log.ini" (section "log",
/// key "level"). Looks at the file's time at most once a second; any other
/// call costs reading a coarse clock and a comparison.
void reload_log_conf();

/// The guard of level 3: true if either record's verbosity is above 2.
inline bool debugLogged() {
  return s_t_module_log.verbosity > 2 ||
         (s_pmodule_log != nullptr && *s_pmodule_log != nullptr && (*s_pmodule_log)->verbosity > 2);
}

}  // namespace LedgoraCollect

/// Writes a debug record. The arguments are evaluated only when the guard
/// lets it through.
#define LEDGORA_DEBUG(...)                                                \
  do {                                                                    \
    ::LedgoraCollect::reload_log_conf();                                  \
    if (::LedgoraCollect::debugLogged()) {                                \
      ::LedgoraCollect::error_output(3, __func__, __LINE__, __VA_ARGS__); \
    }                                                                     \
  } while (false)
