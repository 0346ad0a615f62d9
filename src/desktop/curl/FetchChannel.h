// FetchChannel: what a Fetch and the transfer that works for it share.
//
// The transfer puts events in, from the loop's thread or its own; the loop delivers them in order through the gate. The
// Fetch's wishes go the other way as flags that its driver looks at.
#pragma once

#include <QSocketNotifier>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "desktop/curl/FetchPool.h"
#include "ports/Fetcher.h"

namespace pellora {

class EventGate;
class FetchChannel;
class FetchDesk;

struct FetchOutcome {
  FetchEnd end = FetchEnd::Whole;
  std::string reason;
};

// Carries out transfers. Called on the loop's thread, outside of libcurl's callbacks.
class FetchDriver {
 public:
  virtual ~FetchDriver() = default;
  // The channel was dropped, its reading was switched, or it was granted a block.
  virtual void Look(FetchChannel& channel) = 0;
};

class FetchChannel final : public FetchPool::Waiter, public std::enable_shared_from_this<FetchChannel> {
 public:
  using Event = std::variant<FetchAnswer, std::unique_ptr<FetchBlock>, FetchOutcome>;

  FetchChannel(FetchEvents& events, std::shared_ptr<FetchDesk> desk) : events_(&events), desk_(std::move(desk)) {}

  // The Fetch's side, on the loop's thread.
  void SetDriver(const std::shared_ptr<FetchDriver>& driver) { driver_ = driver; }
  void Drop();  // no event follows
  void SetReading(bool reading) { reading_ = reading; }
  void LookAndDeliver(EventGate& gate);
  void Deliver(EventGate& gate);

  // The transfer's side.
  bool Dropped() const { return dropped_; }
  bool Reading() const { return reading_; }
  void Put(Event event);
  std::uint64_t BytesPut() const { return bytesPut_; }  // of blocks; for any thread
  void BlockGranted() override;

 private:
  bool TakeFirst(Event& event);
  void Tell(Event& event);

  FetchEvents* events_;  // null once dropped
  std::shared_ptr<FetchDesk> desk_;
  std::weak_ptr<FetchDriver> driver_;
  std::atomic<bool> dropped_ = false;
  std::atomic<bool> reading_ = true;
  std::atomic<std::uint64_t> bytesPut_ = 0;
  std::mutex mutex_;
  std::deque<Event> queue_;
};

// Where any thread leaves a channel that the loop is to look at.
class FetchDesk {
 public:
  explicit FetchDesk(EventGate& gate);
  ~FetchDesk();
  FetchDesk(const FetchDesk&) = delete;
  FetchDesk& operator=(const FetchDesk&) = delete;

  void Leave(std::shared_ptr<FetchChannel> channel);
  // On the loop's thread, at the end: nothing is delivered any more, though threads may still leave channels.
  void Close();

 private:
  void Serve();

  EventGate& gate_;
  int wake_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<FetchChannel>> left_;
  bool closed_ = false;
  QSocketNotifier* notifier_;
};

}  // namespace pellora
