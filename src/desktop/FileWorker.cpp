#include "desktop/FileWorker.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "async/EventGate.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// Any other exception is a programming error and ends the program.
std::exception_ptr FailureOf(const Background::Work& work) {
  try {
    work();
  } catch (const Failure&) {
    return std::current_exception();
  }
  return nullptr;
}

}  // namespace

// Shared by the FileWorker and its thread, which may outlive it.
struct FileWorker::Mailbox {
  Mailbox() : wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wake < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  ~Mailbox() { close(wake); }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void Give(Work work) {
    {
      const std::lock_guard lock(mutex);
      works.push_back(std::move(work));
    }
    given.notify_one();
  }
  void Close() {
    {
      const std::lock_guard lock(mutex);
      closed = true;
      works.clear();
    }
    given.notify_one();
  }
  // Waits for the next work; empty once the mailbox is closed.
  Work Take() {
    std::unique_lock lock(mutex);
    given.wait(lock, [this] { return closed || !works.empty(); });
    if (closed) return {};
    Work work = std::move(works.front());
    works.pop_front();
    return work;
  }
  void Answer(std::exception_ptr failure) {
    {
      const std::lock_guard lock(mutex);
      answers.push_back(std::move(failure));
    }
    eventfd_write(wake, 1);
  }
  std::vector<std::exception_ptr> TakeAnswers() {
    eventfd_t count = 0;
    eventfd_read(wake, &count);
    const std::lock_guard lock(mutex);
    return std::exchange(answers, {});
  }
  void Serve() {
    while (Work work = Take()) {
      std::exception_ptr failure = FailureOf(work);
      work = {};  // closing its files may take long too
      Answer(std::move(failure));
    }
  }

  const int wake;
  std::mutex mutex;
  std::condition_variable given;
  std::deque<Work> works;
  std::vector<std::exception_ptr> answers;
  bool closed = false;
};

FileWorker::FileWorker(EventGate& gate) : gate_(gate), mailbox_(std::make_shared<Mailbox>()) {
  notifier_ = std::make_unique<QSocketNotifier>(mailbox_->wake, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { TakeAnswers(); });
}

FileWorker::~FileWorker() { mailbox_->Close(); }

void FileWorker::Run(Work work, Done done) {
  waiting_.push_back(std::move(done));
  if (!running_) {
    try {
      std::thread([mailbox = mailbox_] { mailbox->Serve(); }).detach();
      running_ = true;
    } catch (const std::system_error& error) {
      mailbox_->Answer(std::make_exception_ptr(Failure(FailureNumber::File, error.what())));
      return;
    }
  }
  mailbox_->Give(std::move(work));
}

// Each result is delivered as a separate event, which may post more work.
void FileWorker::TakeAnswers() {
  for (std::exception_ptr& failure : mailbox_->TakeAnswers()) {
    const Done done = std::move(waiting_.front());
    waiting_.pop_front();
    gate_.Deliver([&] { done(std::move(failure)); });
  }
}

}  // namespace pellora
