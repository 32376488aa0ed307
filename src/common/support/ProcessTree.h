#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LedgoraCollect {

/// One line of /proc/<pid>/stat, as far as the tree of processes needs it.
struct ProcessNode_S {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  std::uint64_t startTicks = 0;  // with the pid: names one process for good
};

/// Reads a line of /proc/<pid>/stat. The name may hold blanks and ")".
/// False if the line is cut short or no such line.
bool parseProcessStat(std::string_view line, ProcessNode_S& node);

/// The process as /proc shows it now; false if it is gone.
bool readProcessNode(pid_t pid, ProcessNode_S& node);

/// Every process of /proc. Those that end meanwhile are left out.
std::vector<ProcessNode_S> readProcesses();

/// Those of `processes` that descend from `ancestor`, without itself.
std::vector<ProcessNode_S> descendantsOf(pid_t ancestor,
                                         const std::vector<ProcessNode_S>& processes);

/// Whether the pids of /proc are those that this process's calls take: it is
/// mounted, and for our own namespace of process ids.
bool procShowsOurNamespace();

/// Sends `signalNumber` to every descendant of this process: whole process
/// groups where a descendant leads or joined one, single processes in our own
/// group. Start times are compared right before, so that no process that took
/// over a number is hit. This process must lead its session, so that no group
/// but its own can hold others. Returns the number of descendants seen.
std::size_t signalDescendants(int signalNumber);

/// Kills the direct children of this (single-threaded) process, without a walk
/// over all processes. False where the kernel doesn't list them.
bool killDirectChildren();

}  // namespace LedgoraCollect
