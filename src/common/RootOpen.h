#pragma once

#include <string>

#include "common/RootWalk.h"
#include "common/support/Handles.h"

namespace LedgoraCollect {

/// Opens `rest` inside the directory `root` with O_PATH, O_DIRECTORY and O_NOFOLLOW as given
/// in `flags` (one of the first two must be; O_CLOEXEC and O_NONBLOCK are added). The kernel
/// resolves where it can (openat2, since 5.6), otherwise RootWalk. Invalid with errno on
/// failure: ELOOP also at links of the proc file system, EXDEV as RootRule says.
FileDescriptor openInRoot(int root, const std::string& rest, int flags, RootRule rule);

/// Opens for reading what an O_PATH descriptor stands for, if it is a regular file (which
/// those of proc and sys are). Anything else isn't touched: EINVAL.
FileDescriptor reopenRegular(const FileDescriptor& object);

/// Tells whether openat2 may be used. For tests of the other way.
void allowKernelResolution(bool allowed);

}  // namespace LedgoraCollect
