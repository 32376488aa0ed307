#pragma once

#include <functional>

namespace LedgoraTest {

/// How much a run of `work` raises a process's resident memory at its peak,
/// in KiB. Runs it in a child of its own. LONG_MAX if the child crashed or `work`
/// returned false.
long peakMemoryKib(const std::function<bool()>& work);

}  // namespace LedgoraTest
