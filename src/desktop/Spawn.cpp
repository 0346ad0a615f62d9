#include "desktop/Spawn.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "desktop/FileFailure.h"

namespace pellora {

namespace {

// The original limit, for the programs started from here.
rlimit originalLimit{};    // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): a limit of the whole process
bool limitRaised = false;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): likewise

// Runs between fork and exec: only async-signal-safe calls.
[[noreturn]] void ExecProgram(char* const* argv, const char* folder, int report) {
  setsid();
  if (limitRaised) setrlimit(RLIMIT_NOFILE, &originalLimit);
  signal(SIGXFSZ, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // Libraries open descriptors without asking for this flag.
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  if (folder[0] == '\0' || chdir(folder) == 0) execvp(argv[0], argv);
  const int error = errno;
  const ssize_t written = write(report, &error, sizeof error);
  _exit(written > 0 ? 127 : 126);
}

}  // namespace

void SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& workingFolder) {
  std::vector<std::string> texts{program};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& text : texts) {
    if (text.find('\0') != std::string::npos) throw FileFailure(program, EINVAL);
    argv.push_back(text.data());
  }
  argv.push_back(nullptr);

  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw FileFailure(program, errno);
  const pid_t child = fork();
  if (child == 0) {
    // The intermediate process ends at once, so that the program is reparented.
    const pid_t grandchild = fork();
    if (grandchild == 0) ExecProgram(argv.data(), workingFolder.c_str(), ends[1]);
    const int error = errno;
    if (grandchild < 0 && write(ends[1], &error, sizeof error) < 0) _exit(126);
    _exit(0);
  }
  const int forkError = errno;
  close(ends[1]);
  int error = child < 0 ? forkError : 0;
  if (child > 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    // The pipe is closed by exec: an empty read means that the program runs.
    int reported = 0;
    ssize_t count = 0;
    do {
      count = read(ends[0], &reported, sizeof reported);
    } while (count < 0 && errno == EINTR);
    if (count == static_cast<ssize_t>(sizeof reported)) error = reported;
  }
  close(ends[0]);
  if (error != 0) throw FileFailure(program, error);
}

void RaiseOpenFileLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  originalLimit = limit;
  limit.rlim_cur = limit.rlim_max;
  limitRaised = setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

}  // namespace pellora
