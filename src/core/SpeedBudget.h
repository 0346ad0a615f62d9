// SpeedBudget: divides the bytes that limits of speed allow among downloads and their connections.
//
// Time adds bytes to a pot for all and to one for each download with a separate limit. A connection takes its bytes
// from both, or waits; what the pots have then goes to those that wait, download by download and connection by
// connection, those first that had least. So what one does not use is the others' at once. Nothing is saved for longer
// than a quarter of a second.
//
// Shares and lanes may outlive the budget. Lanes may be used from any thread.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ports/Lock.h"
#include "ports/Throttle.h"

namespace pellora {

class SpeedLane;
class SpeedShare;

// An allowance that time fills. A rate of 0 is none: it never runs short.
struct SpeedPot {
  std::int64_t rate = 0;  // bytes per second
  std::int64_t bytes = 0;
  std::int64_t fraction = 0;  // thousandths of a byte

  bool Limits() const { return rate > 0; }
  std::int64_t Available() const;
  void Fill(std::int64_t milliseconds);
  void Take(std::int64_t some) { bytes -= Limits() ? some : 0; }
  void KeepAtMost(std::int64_t some) { bytes = std::min(bytes, std::max(some, std::int64_t{0})); }
  void Empty() { bytes = fraction = 0; }
};

class SpeedBudget {
 public:
  SpeedBudget();
  ~SpeedBudget();
  SpeedBudget(const SpeedBudget&) = delete;
  SpeedBudget& operator=(const SpeedBudget&) = delete;

  // Bytes per second of all downloads together; 0: no limit.
  void SetRate(std::int64_t bytesPerSecond);
  std::shared_ptr<SpeedShare> NewShare();
  // To be called at short intervals while it is in use, with the time since the last call.
  void Pass(std::int64_t milliseconds);
  bool Limited() const { return core_->limited.load(std::memory_order_relaxed); }  // in any way
  bool InUse() const;                                                              // there is a limit, and a lane

 private:
  friend class SpeedLane;
  friend class SpeedShare;

  struct Core {
    Lock lock;
    std::atomic<bool> limited = false;  // by any limit
    SpeedPot pot;
    std::int64_t reached = 0;  // what the share that was served last had
    std::vector<SpeedShare*> shares;

    void LimitsChanged();
    std::int64_t Available(const SpeedShare& share) const;
    bool OthersNeed(const SpeedLane& lane) const;
    void Grant(SpeedLane& lane, std::int64_t bytes);
    void Ask(SpeedLane& lane);
    bool Take(SpeedLane& lane, std::int64_t bytes);
    bool Spend(SpeedLane& lane, std::int64_t bytes);
    void TakeBackUnused(std::int64_t milliseconds);
    void LimitPots();
    void SetMost(const std::vector<SpeedLane*>& waiting);
    SpeedLane* NextInNeed() const;
    void ServeNeeds();
    std::vector<SpeedLane*> Waiting() const;
  };

  std::shared_ptr<Core> core_;
};

// One download.
class SpeedShare : public std::enable_shared_from_this<SpeedShare> {
 public:
  explicit SpeedShare(std::shared_ptr<SpeedBudget::Core> core);
  ~SpeedShare();
  SpeedShare(const SpeedShare&) = delete;
  SpeedShare& operator=(const SpeedShare&) = delete;

  void SetRate(std::int64_t bytesPerSecond);  // 0: no separate limit
  std::shared_ptr<SpeedLane> NewLane();
  // With more connections than this, each would get less than 16 KiB/s. At least 1.
  int MostLanes() const;

 private:
  friend class SpeedBudget;
  friend class SpeedLane;

  std::int64_t Rate() const;  // what it gets if all downloads take what they can; 0: as much as it wants

  const std::shared_ptr<SpeedBudget::Core> core_;
  SpeedPot pot_;
  std::int64_t served_ = 0;
  std::int64_t reached_ = 0;  // what the lane that was served last had
  std::vector<SpeedLane*> lanes_;
};

// One connection.
class SpeedLane final : public Throttle {
 public:
  explicit SpeedLane(std::shared_ptr<SpeedShare> share);
  ~SpeedLane() override;
  SpeedLane(const SpeedLane&) = delete;
  SpeedLane& operator=(const SpeedLane&) = delete;

  bool Take(std::size_t bytes) override;
  std::size_t Portion() const override;
  // Counts bytes that have been taken already, if need be as a debt. False: no more should be taken until MayGoOn.
  bool Spend(std::size_t bytes);
  bool MayGoOn();
  bool Waits() const;  // there is something that it may not take yet

 private:
  friend class SpeedBudget;
  friend class SpeedShare;

  SpeedBudget::Core& TheCore() const { return *share_->core_; }
  // What it lacks for what it waits to take.
  std::int64_t Need() const { return waits_ && granted_ < wanted_ ? wanted_ - granted_ : 0; }

  std::int64_t Wish() const;                  // the same, or what it may want next
  bool CanBeServed(std::int64_t need) const;  // it has one, and its download's own limit allows it

  const std::shared_ptr<SpeedShare> share_;
  std::int64_t granted_ = 0;  // and not taken; below 0: owed
  std::int64_t served_ = 0;
  std::int64_t wanted_ = 0;
  std::int64_t most_ = 0;  // to be granted until the next Pass
  std::int64_t more_ = 0;  // at once, beyond what it wants
  bool waits_ = false;
  std::int64_t unused_;  // ms since it asked
};

}  // namespace pellora
