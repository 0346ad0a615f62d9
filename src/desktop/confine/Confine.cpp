#include "desktop/confine/Confine.h"

#include <linux/capability.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "desktop/confine/FileAccess.h"
#include "desktop/preview/Protocol.h"

namespace pellora {

namespace {

// Limits of the address space. A picture takes up to 256 MiB decoded and as much again when scaled to the pane, plus
// 220 MiB for libraries; a decoder of archives up to 256 MiB. A film took 0.7 GiB and one of 3840 x 2160 pixels 1 GiB
// with two processors; with more processors, more frames are decoded at once.
constexpr rlim_t kMaxMemory = rlim_t{1} << 30;
constexpr rlim_t kMaxMediaMemory = rlim_t{3} << 30;
constexpr int kMaxHeaps = 4;  // each reserves 64 MiB; the C library would use eight for each processor
constexpr rlim_t kMaxFiles = 256;
constexpr int kNice = 5;

void Check(int result, const char* what) {
  if (result != 0) throw ConfinementFailure(what, errno);
}

void SetHardLimit(__rlimit_resource resource, rlim_t most, const char* what) {
  rlimit limit{};
  Check(getrlimit(resource, &limit), what);
  limit.rlim_max = std::min(limit.rlim_max, most);
  limit.rlim_cur = limit.rlim_max;
  Check(setrlimit(resource, &limit), what);
}

// As good as a hard limit once system calls are restricted, because no limit can be set then.
void SetSoftLimit(__rlimit_resource resource, rlim_t most, const char* what) {
  rlimit limit{};
  Check(getrlimit(resource, &limit), what);
  limit.rlim_cur = std::min(limit.rlim_max, most);
  Check(setrlimit(resource, &limit), what);
}

// Also for a process of root, which Landlock alone does not fully restrict.
void DropCapabilities() {
  __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
  const std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
  Check(static_cast<int>(syscall(SYS_capset, &head, none.data())), "no capabilities");
}

}  // namespace

ConfinementFailure::ConfinementFailure(const std::string& what, int error)
    : std::runtime_error(what + ": " + std::strerror(error)) {}

void IsolateProcess() {
  Check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "no new privileges");
  Check(prctl(PR_SET_DUMPABLE, 0, 0, 0, 0), "no look from outside");
  Check(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0), "an end with the parent's");
  // Kernels before 5.9 cannot do this: there the preview shows nothing rather than with another's files open.
  Check(static_cast<int>(syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0)), "no inherited descriptors");
  // The program ends this process by closing its input; SIGINT from a terminal is not meant for it.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // the sound library tries to share memory through a file, and works without
}

void RestrictProcess(Work work, int file, const std::vector<std::string>& places) {
  DropCapabilities();
  mallopt(M_ARENA_MAX, kMaxHeaps);
  SetHardLimit(RLIMIT_CORE, 0, "the limit of core files");
  SetHardLimit(RLIMIT_NOFILE, kMaxFiles, "the limit of open files");
  SetHardLimit(RLIMIT_AS, work == Work::Media ? kMaxMediaMemory : kMaxMemory, "the limit of memory");
  // Soft, because the program raises this limit as long as frames arrive.
  SetSoftLimit(RLIMIT_CPU, static_cast<rlim_t>(kPreviewProcessorTime.count()), "the limit of processor time");
  // Soft, because LiftFileSizeLimit must be able to raise it for reporting a failure to a file.
  SetSoftLimit(RLIMIT_FSIZE, 0, "the limit of file sizes");
  setpriority(PRIO_PROCESS, 0, kNice);
  RestrictFileAccess(file, places);
}

void LimitProcessorTime(std::chrono::seconds most) {
  SetSoftLimit(RLIMIT_CPU, static_cast<rlim_t>(most.count()), "the limit of processor time");
}

void LiftFileSizeLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace pellora
