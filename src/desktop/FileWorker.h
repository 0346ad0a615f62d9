// FileWorker: a thread beside the event loop for file work that may take long.
//
// The thread begins with the first work and touches nothing but the works and a mailbox that it shares; what a work
// came to is taken out on the loop's thread and delivered through the EventGate. At the end of the program works that
// were not begun are dropped, and the one in progress is left behind with its thread: a disk that hangs keeps nobody
// from quitting.
#pragma once

#include <QSocketNotifier>
#include <deque>
#include <memory>

#include "platform/Background.h"

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
  std::deque<Done> waiting_;  // answers come in the order of the works
  bool running_ = false;      // the thread
};

}  // namespace pellora
