#include "collect/users/SystemNames.h"

#include <pwd.h>

#include "common/support/Handles.h"
#include "common/support/Log.h"

namespace LedgoraCollect {

namespace {

// Each may go over a network, and a lastlog file can hold 4,097 user ids that
// nobody has.
constexpr int kMaximumQuestions = 256;

}  // namespace

bool SystemNames::nameOf(unsigned int uid, std::string& name) {
  if (!mLoaded) loadFile();
  const auto known = mNames.find(uid);
  if (known != mNames.end()) {
    name = known->second;
    return true;
  }
  if (mQuestions >= kMaximumQuestions) return false;
  if (++mQuestions == kMaximumQuestions) {
    error_output(1, __func__, __LINE__, "more than %d unknown user ids, no more are looked up",
                 kMaximumQuestions);
  }
  const passwd* const entry = ::getpwuid(uid);
  if (!entry || !entry->pw_name) return false;
  name = entry->pw_name;
  return true;
}

void SystemNames::loadFile() {
  mLoaded = true;
  const FileHandle file(std::fopen("/etc/passwd", "re"));
  if (!file) return;
  while (const passwd* const entry = ::fgetpwent(file.get())) {
    mNames.emplace(entry->pw_uid, entry->pw_name);
  }
}

}  // namespace LedgoraCollect
