#pragma once

#include "common/support/Handles.h"

namespace LedgoraCollect {

/// The namespaces of a process, held open.
class Namespaces {
 public:
  enum Kind { kIpc, kUts, kNet, kCgroup, kMount, kPid, kUser, kKinds };

  /// Opens those of the process whose /proc directory this is. False with
  /// errno when one can't be told; kinds that the kernel doesn't have are none.
  bool open(int process);
  /// Whether this process is in the same one (or the kernel has none).
  bool isShared(Kind kind) const { return mShared[kind]; }
  /// Enters one of another process. 0, or errno.
  int enter(Kind kind) const;

 private:
  FileDescriptor mHandles[kKinds];
  bool mShared[kKinds] = {};
};

/// Enters the pid namespace to which the proc file system at `proc` belongs,
/// for the children that are made from now on. Where it is the own one, one
/// from which this process can be seen, or nobody lives in it, nothing happens.
void enterPidNamespaceOf(int proc);

}  // namespace LedgoraCollect
