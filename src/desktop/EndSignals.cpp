#include "desktop/EndSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <system_error>

namespace pellora {

namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): a signal handler has no other way to reach it
volatile std::sig_atomic_t writeEnd = -1;

extern "C" void NoteSignal(int) {
  const int before = errno;
  const char byte = 1;
  if (write(writeEnd, &byte, 1) < 0) {
    // The pipe is full of earlier signals, which is enough.
  }
  errno = before;
}

bool IsIgnored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void Handle(const std::vector<int>& numbers, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int number : numbers) sigaction(number, &action, nullptr);
}

}  // namespace

EndSignals::EndSignals(std::function<void()> ended) {
  if (pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  notifier_ = std::make_unique<QSocketNotifier>(ends_[0], QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this, ended = std::move(ended)] {
    std::array<char, 64> bytes{};
    while (read(ends_[0], bytes.data(), bytes.size()) > 0) {
    }
    ended();
  });
  writeEnd = ends_[1];
  std::copy_if(kSignals.begin(), kSignals.end(), std::back_inserter(handled_),
               [](int number) { return !IsIgnored(number); });
  Handle(handled_, NoteSignal);
}

EndSignals::~EndSignals() {
  Handle(handled_, SIG_DFL);
  writeEnd = -1;
  notifier_.reset();
  close(ends_[0]);
  close(ends_[1]);
}

}  // namespace pellora
