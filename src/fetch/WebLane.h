// WebLane: one connection of a download by the web engine. It knows what it has asked for and when something last came;
// what replies mean and what is fetched next is decided by its engine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/SpeedBudget.h"
#include "core/WebAddress.h"
#include "fetch/BackOff.h"
#include "fetch/HostMemory.h"
#include "fetch/ReplyCheck.h"
#include "fetch/SpeedMeter.h"
#include "fetch/States.h"
#include "ports/Fetcher.h"
#include "ports/Login.h"

namespace pellora {

class WebLane;

// Called from events of the lane's request. It may close or restart the lane in them.
class WebLaneOwner {
 public:
  virtual void LaneAnswered(WebLane& lane, const FetchAnswer& answer) = 0;
  virtual void LaneReceived(WebLane& lane, std::unique_ptr<FetchBlock> block) = 0;
  virtual void LaneEnded(WebLane& lane, FetchEnd end, const std::string& reason) = 0;

 protected:
  ~WebLaneOwner() = default;
};

class WebLane final : private FetchEvents {
 public:
  WebLane(int number, WebLaneOwner& owner, std::uint64_t seed) : number_(number), owner_(owner), backOff(seed) {}

  // The lane is closed. `asked` says what the request is for.
  void Begin(Fetcher& fetcher, FetchRequest request, const AskedFor& asked,
             std::unique_ptr<HostMemory::Connection> connection, std::shared_ptr<SpeedLane> speed, std::int64_t now);
  void Close();  // no event follows
  bool Open() const { return fetch_ != nullptr; }
  void SetReading(bool reading, std::int64_t now);

  int Number() const { return number_; }
  const AskedFor& Asked() const { return asked_; }
  bool HasAnswer() const { return answered_; }
  void Sign(std::int64_t now) { lastSign_ = now; }  // something came
  bool Flows() const { return state == LaneState::Receiving; }
  // The server has been silent for longer than it may: 120 s before its answer, 20 s between bytes. Time in which the
  // lane was not read does not count.
  bool Overdue(std::int64_t now) const;
  // Its server has sent something that the limit of speed does not allow yet.
  bool HeldUp() const { return speed_ && speed_->Waits(); }
  void Take(LaneEvent event) { state = StateAfter(state, event); }

 private:
  void Answered(const FetchAnswer& answer) override;
  void DataArrived(std::unique_ptr<FetchBlock> block) override;
  void Ended(FetchEnd end, const std::string& reason) override;

  const int number_;
  WebLaneOwner& owner_;
  std::unique_ptr<Fetch> fetch_;
  std::unique_ptr<HostMemory::Connection> connection_;  // while fetch_ is there
  std::shared_ptr<SpeedLane> speed_;                    // likewise
  AskedFor asked_;
  bool answered_ = false;
  bool reading_ = true;
  std::int64_t lastSign_ = 0;

 public:
  LaneState state = LaneState::Idle;  // changed by Take alone
  // Of the engine.
  BackOff backOff;
  SpeedMeter meter;
  std::int64_t due = 0;       // of BackingOff
  std::int64_t received = 0;  // bytes of all its requests
  bool compares = false;      // its bytes are compared with those that are held
  bool endProves = false;     // the length of what it compares is not stated: only its end tells it
  bool sample = false;        // and for nothing else
  int source = 0;             // of its request (Sources)
  WebAddress address;         // of its request
  Login login;                // and what that has
  FetchAuth auth = FetchAuth::Basic;
  std::string proxy;
  int asks = 0;               // requests for its piece, without redirects
  int redirects = 0;          // and these
  std::int64_t sampleAt = 0;  // bytes of the sample that have arrived
  FileFacts sampled;          // of the answer that the sample is to prove
  LengthProof proof = LengthProof::Length;
  std::string text;  // its row's state
};

}  // namespace pellora
