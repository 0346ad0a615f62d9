#include "desktop/confine/CallFilter.h"

#include <fcntl.h>
#include <linux/sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>

#include "desktop/confine/Confine.h"

namespace pellora {

namespace {

// What pictures and media both need, with any arguments.
constexpr std::array kCalls = {
    // the file, libraries and plugins
    SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(pread64), SCMP_SYS(lseek), SCMP_SYS(close), SCMP_SYS(fstat),
    SCMP_SYS(fstat64), SCMP_SYS(newfstatat), SCMP_SYS(fstatat64), SCMP_SYS(stat), SCMP_SYS(stat64), SCMP_SYS(lstat),
    SCMP_SYS(lstat64), SCMP_SYS(statx), SCMP_SYS(fstatfs), SCMP_SYS(statfs), SCMP_SYS(access), SCMP_SYS(faccessat),
    SCMP_SYS(faccessat2), SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(getdents64), SCMP_SYS(getcwd),
    SCMP_SYS(fadvise64),
    // the protocol
    SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(eventfd2),
    // memory
    SCMP_SYS(mmap), SCMP_SYS(mmap2), SCMP_SYS(munmap), SCMP_SYS(mprotect), SCMP_SYS(mremap), SCMP_SYS(madvise),
    SCMP_SYS(brk),
    // threads
    SCMP_SYS(futex), SCMP_SYS(futex_time64), SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(membarrier),
    SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack), SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall),
    // time
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_gettime64), SCMP_SYS(clock_getres), SCMP_SYS(clock_nanosleep),
    SCMP_SYS(clock_nanosleep_time64), SCMP_SYS(nanosleep), SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(times),
    // process and machine
    SCMP_SYS(getpid), SCMP_SYS(gettid), SCMP_SYS(getuid), SCMP_SYS(geteuid), SCMP_SYS(getgid), SCMP_SYS(getegid),
    SCMP_SYS(getrusage), SCMP_SYS(getrandom), SCMP_SYS(sysinfo), SCMP_SYS(uname), SCMP_SYS(getcpu)};

// What decoding from one stream into another needs.
constexpr std::array kUnpackingCalls = {
    SCMP_SYS(read),      SCMP_SYS(write),         SCMP_SYS(fstat),  SCMP_SYS(newfstatat),
    SCMP_SYS(close),     SCMP_SYS(mmap),          SCMP_SYS(munmap), SCMP_SYS(mremap),
    SCMP_SYS(madvise),   SCMP_SYS(brk),           SCMP_SYS(futex),  SCMP_SYS(rt_sigreturn),
    SCMP_SYS(getrandom), SCMP_SYS(clock_gettime), SCMP_SYS(exit),   SCMP_SYS(exit_group)};

// What media needs in addition: it may use existing connections, but neither make one nor pass descriptors on.
constexpr std::array kMediaCalls = {
    SCMP_SYS(recvmsg),       SCMP_SYS(recvfrom),  SCMP_SYS(getsockopt), SCMP_SYS(getsockname), SCMP_SYS(getpeername),
    SCMP_SYS(shutdown),      SCMP_SYS(pipe2),     SCMP_SYS(select),     SCMP_SYS(_newselect),  SCMP_SYS(pselect6),
    SCMP_SYS(epoll_create1), SCMP_SYS(epoll_ctl), SCMP_SYS(epoll_wait), SCMP_SYS(epoll_pwait), SCMP_SYS(umask)};

class Filter {
 public:
  Filter() : context_(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), seccomp_release) {
    if (!context_) throw ConfinementFailure("a filter of system calls", ENOMEM);
    Set(SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
    Set(SCMP_FLTATR_CTL_TSYNC, 1);
    Set(SCMP_FLTATR_CTL_OPTIMIZE, 2);  // a tree: media threads make thousands of calls a second
  }

  void Allow(std::span<const int> calls) {
    for (const int call : calls) Allow(call, {});
  }
  void Allow(int call, std::initializer_list<scmp_arg_cmp> when) { Add(SCMP_ACT_ALLOW, call, when); }
  void Refuse(int call, int error, std::initializer_list<scmp_arg_cmp> when = {}) {
    Add(SCMP_ACT_ERRNO(static_cast<std::uint32_t>(error)), call, when);
  }
  void Load() { Check(seccomp_load(context_.get())); }

 private:
  void Set(scmp_filter_attr attribute, std::uint32_t value) {
    Check(seccomp_attr_set(context_.get(), attribute, value));
  }
  void Add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> when) {
    Check(seccomp_rule_add_array(context_.get(), action, call, static_cast<unsigned>(when.size()), when.begin()));
  }
  static void Check(int result) {
    if (result != 0) throw ConfinementFailure("the filter of system calls", -result);
  }

  std::unique_ptr<void, decltype(&seccomp_release)> context_;
};

scmp_arg_cmp Is(unsigned argument, std::uint64_t value) { return {argument, SCMP_CMP_EQ, value, 0}; }
scmp_arg_cmp Has(unsigned argument, std::uint64_t mask, std::uint64_t value) {
  return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}

void AllowReading(Filter& filter) {
  // O_TMPFILE includes O_DIRECTORY; only its own bit counts.
  constexpr std::uint64_t kWriting = O_ACCMODE | O_CREAT | O_TRUNC | O_APPEND | (O_TMPFILE & ~O_DIRECTORY);
  for (const auto& [call, flags] : {std::pair{SCMP_SYS(open), 1U}, std::pair{SCMP_SYS(openat), 2U}}) {
    filter.Allow(call, {Has(flags, kWriting, O_RDONLY)});
    for (std::uint64_t bit = 1; bit <= kWriting; bit <<= 1) {
      if ((kWriting & bit) != 0) filter.Refuse(call, EACCES, {Has(flags, bit, bit)});
    }
  }
}

// Allows threads, but neither processes nor namespaces. A filter cannot inspect the arguments of clone3, which lie in
// memory; it is refused like any unknown call, and libraries do without it.
void AllowThreads(Filter& filter) {
  constexpr std::uint64_t kOthers =
      CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;
#ifdef __s390__
  constexpr unsigned kFlags = 1;
#else
  constexpr unsigned kFlags = 0;
#endif
  filter.Allow(SCMP_SYS(clone), {Has(kFlags, CLONE_THREAD | kOthers, CLONE_THREAD)});
}

void AllowSomeArguments(Filter& filter) {
  // F_SETOWN is left out: a descriptor's owner gets signals.
  for (const int command : {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_SETFL, F_ADD_SEALS, F_GET_SEALS}) {
    for (const int call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)}) {
      filter.Allow(call, {Is(1, static_cast<std::uint64_t>(command))});
    }
  }
  for (const std::uint64_t request : {FIONREAD, FIONBIO, TCGETS}) filter.Allow(SCMP_SYS(ioctl), {Is(1, request)});
  for (const std::uint64_t option : {PR_SET_NAME, PR_GET_NAME}) filter.Allow(SCMP_SYS(prctl), {Is(0, option)});
  filter.Allow(SCMP_SYS(prlimit64), {Is(2, 0)});  // reads limits, sets none
  filter.Allow(SCMP_SYS(tgkill), {Is(0, static_cast<std::uint64_t>(getpid()))});
}

}  // namespace

void RestrictCalls(Work work) {
  Filter filter;
  if (work == Work::Unpacking) {
    filter.Allow(kUnpackingCalls);
    return filter.Load();
  }
  filter.Allow(kCalls);
  AllowReading(filter);
  AllowThreads(filter);
  AllowSomeArguments(filter);
  filter.Refuse(SCMP_SYS(socket), EACCES);
  filter.Refuse(SCMP_SYS(connect), EACCES);
  if (work == Work::Media) {
    filter.Allow(kMediaCalls);
    filter.Allow(SCMP_SYS(sendto), {Is(4, 0)});  // without an address
  }
  filter.Load();
}

}  // namespace pellora
