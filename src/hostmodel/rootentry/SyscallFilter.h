#pragma once

namespace LedgoraCollect {

/// Whether a command may talk to anybody over sockets.
enum class Sockets { Allowed, Refused };

/// Refuses, for this process and all that it starts, the system calls that
/// reach for other processes, mounts, namespaces, files by handle or the
/// kernel itself. Programs get EPERM, or ENOSYS where they then fall back.
/// Needs no_new_privs. 0, or errno.
int refuseSystemCalls(Sockets sockets);

}  // namespace LedgoraCollect
