// SpeedLimits: which limits of speed are in force, and what keeps time for the SpeedBudget.
//
// Nothing runs while no limit is in force or nothing is being received.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "async/Timer.h"
#include "core/SpeedBudget.h"

namespace pellora {

struct Settings;

// Bytes per second of all downloads together at that second of the day; 0: no limit. Hours from one to itself are the
// whole day.
std::int64_t SpeedLimitAt(const Settings& settings, double secondsSinceMidnight);

class SpeedLimits {
 public:
  static constexpr std::uint32_t kStep = 20;  // ms; how often what time allows is given out

  // `settings` must live as long.
  SpeedLimits(Platform& platform, const Settings& settings);

  // To be called when the settings may have changed, and twice a second for the timetable.
  void Update();

  bool AnyLimit() const { return budget_.Limited(); }

  // Of the record at that index, bytes per second; 0: none.
  std::int64_t LimitOf(int index) const;
  void SetLimitOf(int index, std::int64_t bytesPerSecond);
  // The slot has another record, or none.
  void Forget(int index);

  // That of the record at the index, for its engine.
  std::shared_ptr<SpeedShare> ShareOf(int index);
  std::shared_ptr<SpeedLane> NewLane(SpeedShare& share);

 private:
  void Step();
  void RunIfNeeded();

  Platform& platform_;
  const Settings& settings_;
  SpeedBudget budget_;
  std::map<int, std::int64_t> limits_;               // by index
  std::map<int, std::weak_ptr<SpeedShare>> shares_;  // by index
  Timer steps_;
  std::uint32_t lastStep_ = 0;
};

}  // namespace pellora
