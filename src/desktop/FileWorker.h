// FileWorker: a thread for file operations that may take long.
//
// The thread starts with the first work and uses nothing but the works and a mailbox that it shares; results are
// delivered on the loop's thread through the EventGate. At the end of the program, works that have not begun are
// dropped and the thread is abandoned with the current one: a disk that hangs must not keep the user from quitting.
#pragma once

#include <QSocketNotifier>
#include <deque>
#include <memory>

#include "ports/Background.h"

namespace pellora {

class EventGate;

class FileWorker final : public Background {
 public:
  explicit FileWorker(EventGate& gate);
  ~FileWorker() override;
  FileWorker(const FileWorker&) = delete;
  FileWorker& operator=(const FileWorker&) = delete;

  void Run(Work work, Done done) override;

 private:
  struct Mailbox;

  void TakeAnswers();

  EventGate& gate_;
  std::shared_ptr<Mailbox> mailbox_;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::deque<Done> waiting_;  // results arrive in the order of the works
  bool running_ = false;      // the thread was started
};

}  // namespace pellora
