#pragma once

namespace LedgoraCollect {

/// What a run needs before anything else: /dev/null in place of each closed
/// standard descriptor, so that no file of ours becomes standard output, and
/// SIGPIPE ignored, so that a parent that went away is a failed write.
void prepareProcess();

}  // namespace LedgoraCollect
