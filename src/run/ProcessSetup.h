#pragma once

namespace LedgoraCollect {

/// What a run needs before anything else: /dev/null in place of each closed
/// standard descriptor, so that no file of ours becomes standard output, and
/// SIGPIPE ignored, so that a parent that went away is a failed write; and
/// SIGALRM two hours from now, which ends the run. What bounds the parts of a
/// run lets it come nowhere near, but a file system that no longer answers
/// holds whoever asks it for as long as it likes. Commands end with the run.
void prepareProcess();

}  // namespace LedgoraCollect
