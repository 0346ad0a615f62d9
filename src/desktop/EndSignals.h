// EndSignals: delivers SIGTERM, SIGINT and SIGHUP as an event. Those that are ignored when the program starts, as nohup
// and the background of a shell have it, stay so.
#pragma once

#include <QSocketNotifier>
#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace pellora {

class EndSignals {
 public:
  // `ended` is called from the event loop. Only one object at a time in a process.
  explicit EndSignals(std::function<void()> ended);
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

 private:
  std::vector<int> handled_;
  std::array<int, 2> ends_{};
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace pellora
