#include "desktop/preview/Confine.h"

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

#include "desktop/preview/FileAccess.h"
#include "desktop/preview/Protocol.h"

namespace pellora {

namespace {

// Of addresses. A picture takes 256 MiB when decoded and as much again on its way to the pane, besides the 220 MiB of
// libraries. A film took 0.7 GiB and one of 3840 x 2160 pixels 1 GiB on two processors; more of them decode more frames
// at once.
constexpr rlim_t kMostMemoryOfPicture = rlim_t{1} << 30;
constexpr rlim_t kMostMemoryOfMedia = rlim_t{3} << 30;
constexpr int kMostHeaps = 4;  // each reserves 64 MiB; the C library would have eight for each processor
constexpr rlim_t kMostFiles = 256;
constexpr int kNice = 5;

void Check(int result, const char* what) {
  if (result != 0) throw ConfinementFailure(what, errno);
}

void Limit(__rlimit_resource resource, rlim_t most, const char* what) {
  rlimit limit{};
  Check(getrlimit(resource, &limit), what);
  limit.rlim_max = std::min(limit.rlim_max, most);
  limit.rlim_cur = limit.rlim_max;
  Check(setrlimit(resource, &limit), what);
}

// As hard as the others once system calls are restricted, since no limit is set then.
void SoftlyLimit(__rlimit_resource resource, rlim_t most, const char* what) {
  rlimit limit{};
  Check(getrlimit(resource, &limit), what);
  limit.rlim_cur = std::min(limit.rlim_max, most);
  Check(setrlimit(resource, &limit), what);
}

// Of root's process, too: Landlock does not bind all of them.
void DropCapabilities() {
  __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
  const std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
  Check(static_cast<int>(syscall(SYS_capset, &head, none.data())), "no capabilities");
}

}  // namespace

ConfinementFailure::ConfinementFailure(const std::string& what, int error)
    : std::runtime_error(what + ": " + std::strerror(error)) {}

void LeaveOthers() {
  Check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "no new privileges");
  Check(prctl(PR_SET_DUMPABLE, 0, 0, 0, 0), "no look from outside");
  Check(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0), "an end with the parent's");
  if (syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0) != 0 && errno != ENOSYS) {
    throw ConfinementFailure("the descriptors inherited", errno);
  }
  // The program asks for the end by closing the conversation; a terminal's interrupt is not meant for this process.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // the sound server's library shares memory through a file, and copes without
}

void RestrictProcess(Work work, int file, const std::vector<std::string>& places) {
  DropCapabilities();
  mallopt(M_ARENA_MAX, kMostHeaps);
  Limit(RLIMIT_CORE, 0, "the limit of core files");
  Limit(RLIMIT_NOFILE, kMostFiles, "the limit of open files");
  Limit(RLIMIT_AS, work == Work::Picture ? kMostMemoryOfPicture : kMostMemoryOfMedia, "the limit of memory");
  // The program raises this one as long as frames are asked for, and could not beyond a hard one.
  SoftlyLimit(RLIMIT_CPU, static_cast<rlim_t>(kPreviewProcessorTime.count()), "the limit of processor time");
  // The reason of a failure may have to go to a file.
  SoftlyLimit(RLIMIT_FSIZE, 0, "the limit of file sizes");
  setpriority(PRIO_PROCESS, 0, kNice);
  RestrictFileAccess(file, places);
}

void LetFilesGrow() {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace pellora
