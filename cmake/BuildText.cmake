# Writes the header with the date and time of the build (UTC): those of
# SOURCE_DATE_EPOCH, else of the last commit, else the date in VERSION. The
# clock is never asked, so that a build can be repeated byte for byte. Run at
# every build; the header changes only when its text does.
include("${LEDGORA_SOURCE_DIR}/cmake/GitSource.cmake")
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  ledgora_git(commitTime log -1 --format=%ct)
  set(ENV{SOURCE_DATE_EPOCH} "${commitTime}")
endif()
if("$ENV{SOURCE_DATE_EPOCH}" MATCHES "^[0-9]+$")
  string(TIMESTAMP date "%Y-%m-%d" UTC)  # takes its time from SOURCE_DATE_EPOCH
  string(TIMESTAMP time "%H:%M:%S" UTC)
else()
  file(STRINGS "${LEDGORA_SOURCE_DIR}/VERSION" line LIMIT_COUNT 1)
  string(REGEX REPLACE "^[^ ]+ " "" date "${line}")
  set(time "00:00:00")
endif()
set(text "#pragma once

namespace LedgoraCollect {

constexpr const char* kBuildDate = \"${date}\";
constexpr const char* kBuildTime = \"${time}\";

}  // namespace LedgoraCollect
")
set(before "")
if(EXISTS "${LEDGORA_HEADER}")
  file(READ "${LEDGORA_HEADER}" before)
endif()
if(NOT before STREQUAL text)
  file(WRITE "${LEDGORA_HEADER}" "${text}")
endif()
