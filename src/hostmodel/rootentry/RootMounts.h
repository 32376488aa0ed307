#pragma once

namespace LedgoraCollect {

/// What the view of files turned out to hold.
struct RootMounts {
  bool hasProc = false;  ///< a proc file system can be seen in the root
};

/// Makes the working directory the root, and the only thing that can be seen:
/// the mounts of everything else are gone. In it nothing can be written, no
/// set-id program gains anything, and no device can be opened but those of a
/// small /dev of its own. To be called in a mount namespace of the caller's
/// own; `proc` is the open proc file system of this machine.
/// Returns null, or the step that failed, with errno: then nothing may be run.
const char* confineMounts(int proc, RootMounts& mounts);

}  // namespace LedgoraCollect
