// Tries one way out, confined like the preview process:
//   ways_out list                        names, one a line; after a tab, their Kind
//   ways_out free|picture|media HOME WAY   prints "done", or "refused" and the error's number
//   ways_out spin HOME                   uses the processor forever
//   ways_out without CALL ERROR PROGRAM ARGUMENT...   runs a program for which a system call fails with an error
// HOME contains the files "own", which is rendered, and "other", and the socket "bus".
#include <fcntl.h>
#include <seccomp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "Ways.h"
#include "desktop/confine/Confine.h"
#include "desktop/confine/Environment.h"

namespace pellora {
namespace {

int List() {
  constexpr std::array kKinds = {"certain", "depends", "landlock"};
  for (const Way& way : Ways()) std::printf("%s\t%s\n", way.name, kKinds.at(static_cast<std::size_t>(way.kind)));
  return EXIT_SUCCESS;
}

// The same steps as in the preview process, with a thread already running at the last of them.
class Confined {
 public:
  explicit Confined(Work work, const std::string& home) : work_(work) {
    IsolateProcess();
    ReduceEnvironment();
    RestrictProcess(work, open((home + "/own").c_str(), O_RDONLY | O_CLOEXEC), NamedPlaces());
  }
  template <class Action>
  void RunInEarlierThread(Action action) {
    bool confined = false;
    std::mutex mutex;
    std::condition_variable changed;
    std::thread thread([&] {
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] { return confined; });
      action();
    });
    RestrictCalls(work_);
    {
      const std::lock_guard lock(mutex);
      confined = true;
    }
    changed.notify_one();
    thread.join();
  }

 private:
  const Work work_;
};

void Try(const Way& way, const std::string& home) {
  errno = 0;
  const bool done = way.attempt(home);
  const int error = errno;
  if (done) {
    std::printf("done\n");
  } else {
    std::printf("refused %d\n", error);
  }
  std::fflush(stdout);
}

int TryOne(std::string_view mode, const std::string& home, std::string_view name) {
  for (const Way& way : Ways()) {
    if (name != way.name) continue;
    if (mode == "free") {
      Try(way, home);
    } else {
      Confined(mode == "picture" ? Work::Picture : Work::Media, home).RunInEarlierThread([&] { Try(way, home); });
    }
    return EXIT_SUCCESS;
  }
  return EXIT_FAILURE;
}

[[noreturn]] void Spin(const std::string& home) {
  Confined(Work::Media, home).RunInEarlierThread([] {
    std::printf("spins\n");
    std::fflush(stdout);
    const volatile bool endless = true;
    while (endless) {
    }
  });
  std::abort();
}

int RunWithout(const char* call, int error, char** program) {
  void* const filter = seccomp_init(SCMP_ACT_ALLOW);
  const int number = seccomp_syscall_resolve_name(call);
  if (filter == nullptr || number == __NR_SCMP_ERROR ||
      seccomp_rule_add(filter, SCMP_ACT_ERRNO(static_cast<unsigned>(error)), number, 0) != 0 ||
      seccomp_load(filter) != 0) {
    return EXIT_FAILURE;
  }
  execv(*program, program);
  return EXIT_FAILURE;
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  pellora::ParentProcess();
  const std::string_view mode = argc > 1 ? argv[1] : "";
  if (mode == "list" && argc == 2) return pellora::List();
  if (mode == "spin" && argc == 3) pellora::Spin(argv[2]);
  if (mode == "without" && argc > 4) return pellora::RunWithout(argv[2], std::atoi(argv[3]), argv + 4);
  if (argc == 4) return pellora::TryOne(mode, argv[2], argv[3]);
  return EXIT_FAILURE;
}
