#include "hostmodel/rootentry/SyscallFilter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace LedgoraCollect {
namespace {

// Numbers of newer calls, which older headers don't name.
constexpr unsigned int kIoUringSetup = 425;
constexpr unsigned int kIoUringRegister = 427;
constexpr unsigned int kOpenTree = 428;
constexpr unsigned int kFspick = 433;
constexpr unsigned int kClone3 = 435;
constexpr unsigned int kPidfdGetfd = 438;
constexpr unsigned int kMountSetattr = 442;
constexpr unsigned int kX32Bit = 0x40000000;

constexpr unsigned int kRefused[] = {
    // namespaces, mounts, roots, devices
    SYS_unshare, SYS_setns, SYS_mount, SYS_umount2, SYS_pivot_root, SYS_chroot, SYS_mknod,
    SYS_mknodat, kMountSetattr, SYS_swapon, SYS_swapoff, SYS_quotactl, SYS_acct,
    // files by handle, which no root holds back
    SYS_name_to_handle_at, SYS_open_by_handle_at,
    // other processes
    SYS_ptrace, SYS_process_vm_readv, SYS_process_vm_writev, SYS_kcmp, kPidfdGetfd,
    SYS_migrate_pages, SYS_move_pages,
    // the kernel itself
    SYS_bpf, SYS_perf_event_open, SYS_userfaultfd, SYS_keyctl, SYS_add_key, SYS_request_key,
    SYS_kexec_load, SYS_kexec_file_load, SYS_init_module, SYS_finit_module, SYS_delete_module,
    SYS_reboot, SYS_iopl, SYS_ioperm, SYS_syslog, SYS_settimeofday, SYS_clock_settime, SYS_adjtimex,
    SYS_clock_adjtime, SYS_sethostname, SYS_setdomainname, SYS_vhangup, SYS_lookup_dcookie,
    SYS_modify_ldt};

constexpr std::uint32_t kNewNamespaces = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS |
                                         CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

constexpr std::uint32_t failWith(int error) {
  return SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error);
}

class Program {
 public:
  void load(std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset), 0, 0);
  }
  void loadNumber() { load(offsetof(seccomp_data, nr)); }
  void loadArgument(std::size_t index) { load(offsetof(seccomp_data, args) + 8 * index); }
  void end(std::uint32_t result) { add(BPF_RET | BPF_K, result, 0, 0); }
  void endIfEqual(std::uint32_t value, std::uint32_t result) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1);
    end(result);
  }
  void endUnlessEqual(std::uint32_t value, std::uint32_t result) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, 1, 0);
    end(result);
  }
  void endIfAtLeast(std::uint32_t value, std::uint32_t result) {
    add(BPF_JMP | BPF_JGE | BPF_K, value, 0, 1);
    end(result);
  }
  void endIfWithin(std::uint32_t first, std::uint32_t last, std::uint32_t result) {
    add(BPF_JMP | BPF_JGE | BPF_K, first, 0, 2);
    add(BPF_JMP | BPF_JGT | BPF_K, last, 1, 0);
    end(result);
  }
  /// A call that is refused by one of its arguments: `test` with the argument loaded.
  void endIfArgument(std::uint32_t call, std::size_t index, std::uint16_t test,
                     std::uint32_t value) {
    add(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 4);
    loadArgument(index);
    add(static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), value, 0, 1);
    end(failWith(EPERM));
    end(SECCOMP_RET_ALLOW);
  }
  int install() {
    const sock_fprog program = {static_cast<unsigned short>(mCode.size()), mCode.data()};
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 ? 0 : errno;
  }

 private:
  void add(std::uint16_t code, std::uint32_t value, std::uint8_t yes, std::uint8_t no) {
    mCode.push_back({code, yes, no, value});
  }
  std::vector<sock_filter> mCode;
};

}  // namespace

int refuseSystemCalls(Sockets sockets) {
  Program program;
  program.load(offsetof(seccomp_data, arch));
  program.endUnlessEqual(AUDIT_ARCH_X86_64, SECCOMP_RET_KILL);
  program.loadNumber();
  program.endIfAtLeast(kX32Bit, failWith(ENOSYS));
  // Their arguments lie in memory, where a filter can't look; libraries fall
  // back to clone, and to plain reads and writes.
  program.endIfEqual(kClone3, failWith(ENOSYS));
  program.endIfWithin(kIoUringSetup, kIoUringRegister, failWith(ENOSYS));
  program.endIfWithin(kOpenTree, kFspick, failWith(EPERM));
  for (const unsigned int call : kRefused) program.endIfEqual(call, failWith(EPERM));
  if (sockets == Sockets::Refused) program.endIfEqual(SYS_socket, failWith(EACCES));
  program.endIfArgument(SYS_clone, 0, BPF_JSET, kNewNamespaces);
  program.endIfArgument(SYS_ioctl, 1, BPF_JEQ, TIOCSTI);
  // The command ends with the tool; it must not be able to change that.
  program.endIfArgument(SYS_prctl, 0, BPF_JEQ, PR_SET_PDEATHSIG);
  program.end(SECCOMP_RET_ALLOW);
  return program.install();
}

}  // namespace LedgoraCollect
