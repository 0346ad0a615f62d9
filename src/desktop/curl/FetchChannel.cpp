#include "desktop/curl/FetchChannel.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "async/EventGate.h"

namespace pellora {

void FetchChannel::Drop() {
  events_ = nullptr;
  dropped_ = true;
  std::deque<Event> unread;
  const std::lock_guard lock(mutex_);
  unread.swap(queue_);
}

void FetchChannel::LookAndDeliver(EventGate& gate) {
  if (const auto driver = driver_.lock()) driver->Look(*this);
  Deliver(gate);
}

void FetchChannel::Deliver(EventGate& gate) {
  const auto hold = shared_from_this();
  Event event;
  while (TakeFirst(event)) gate.Deliver([&] { Tell(event); });
}

bool FetchChannel::TakeFirst(Event& event) {
  if (events_ == nullptr) return false;
  const std::lock_guard lock(mutex_);
  if (queue_.empty()) return false;
  event = std::move(queue_.front());
  queue_.pop_front();
  return true;
}

void FetchChannel::Tell(Event& event) {
  if (auto* const answer = std::get_if<FetchAnswer>(&event)) {
    events_->Answered(*answer);
  } else if (auto* const block = std::get_if<std::unique_ptr<FetchBlock>>(&event)) {
    events_->DataArrived(std::move(*block));
  } else if (auto* const outcome = std::get_if<FetchOutcome>(&event)) {
    events_->Ended(outcome->end, outcome->reason);
  }
}

void FetchChannel::Put(Event event) {
  if (const auto* const block = std::get_if<std::unique_ptr<FetchBlock>>(&event)) bytesPut_ += (*block)->Bytes().size();
  const std::lock_guard lock(mutex_);
  if (!dropped_) queue_.push_back(std::move(event));
}

void FetchChannel::BlockGranted() { desk_->Leave(shared_from_this()); }

FetchDesk::FetchDesk(EventGate& gate) : gate_(gate), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wake_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  notifier_ = new QSocketNotifier(wake_, QSocketNotifier::Read);
  QObject::connect(notifier_, &QSocketNotifier::activated, notifier_, [this] { Serve(); });
}

FetchDesk::~FetchDesk() { close(wake_); }

void FetchDesk::Close() {
  if (notifier_ == nullptr) return;
  notifier_->setEnabled(false);
  notifier_->deleteLater();  // it may be delivering its signal just now
  notifier_ = nullptr;
  std::vector<std::shared_ptr<FetchChannel>> left;
  const std::lock_guard lock(mutex_);
  closed_ = true;
  left.swap(left_);
}

void FetchDesk::Leave(std::shared_ptr<FetchChannel> channel) {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    left_.push_back(std::move(channel));
  }
  eventfd_write(wake_, 1);
}

void FetchDesk::Serve() {
  eventfd_t count = 0;
  eventfd_read(wake_, &count);
  std::vector<std::shared_ptr<FetchChannel>> left;
  {
    const std::lock_guard lock(mutex_);
    left.swap(left_);
  }
  EventGate& gate = gate_;  // an event may end the Fetcher, and with it this
  for (const auto& channel : left) channel->LookAndDeliver(gate);
}

}  // namespace pellora
