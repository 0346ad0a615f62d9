#include "tools/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tools/RowJson.h"

namespace pellora {

namespace {

void PrintLine(const QByteArray& line) { std::printf("%s\n", line.constData()); }

// Lines that can be redrawn: further ones would leave the screen at its top.
std::size_t RoomOnTerminal() {
  constexpr std::size_t kUsual = 24;
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 2;
  return (known ? size.ws_row : kUsual) - 1;
}

}  // namespace

Progress::Progress(WaitForm form) : form_(form), draws_(form == WaitForm::Progress && isatty(STDOUT_FILENO) == 1) {}

void Progress::Show(const WaitList& waits) {
  Erase();
  const auto& items = waits.Items();
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i].outcome == Awaited::Outcome::Open || !ended_.insert(i).second) continue;
    PrintLine(form_ == WaitForm::Json ? JsonLine(JsonOf(items[i])) : ProgressLine(items[i]).toUtf8());
  }
  if (draws_) Draw(waits);
  std::fflush(stdout);
}

void Progress::Erase() {
  if (drawn_ > 0) std::printf("\x1b[%zuA\r\x1b[J", drawn_);
  drawn_ = 0;
}

// Without wrapping, so that a long line stays one line.
void Progress::Draw(const WaitList& waits) {
  std::vector<const Awaited*> open;
  for (const Awaited& item : waits.Items()) {
    if (item.outcome == Awaited::Outcome::Open) open.push_back(&item);
  }
  const std::size_t room = RoomOnTerminal();
  const std::size_t shown = open.size() <= room ? open.size() : room - 1;
  std::fputs("\x1b[?7l", stdout);
  for (std::size_t i = 0; i < shown; ++i) PrintLine(ProgressLine(*open[i]).toUtf8());
  if (shown < open.size()) std::printf("and %zu more\n", open.size() - shown);
  std::fputs("\x1b[?7h", stdout);
  drawn_ = shown + (shown < open.size() ? 1 : 0);
}

}  // namespace pellora
