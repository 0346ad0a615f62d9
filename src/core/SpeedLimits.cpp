#include "core/SpeedLimits.h"

#include "core/Settings.h"
#include "core/SpeedLimit.h"
#include "ports/Clock.h"

namespace pellora {

namespace {

constexpr double kSecondsOfAnHour = 3600;

}  // namespace

std::int64_t SpeedLimitAt(const Settings& settings, double secondsSinceMidnight) {
  const std::int64_t limit = std::int64_t{settings.SpeedLimit} * kBytesOfKiB;
  if (!settings.SpeedLimitTimed || settings.SpeedLimitFrom == settings.SpeedLimitTo) return limit;
  const bool begun = secondsSinceMidnight >= settings.SpeedLimitFrom * kSecondsOfAnHour;
  const bool over = secondsSinceMidnight >= settings.SpeedLimitTo * kSecondsOfAnHour;
  const bool overMidnight = settings.SpeedLimitFrom > settings.SpeedLimitTo;
  return (overMidnight ? begun || !over : begun && !over) ? limit : 0;
}

SpeedLimits::SpeedLimits(Platform& platform, const Settings& settings)
    : platform_(platform), settings_(settings), steps_(platform, kStep) {
  steps_.OnTimer = [this] { Step(); };
}

void SpeedLimits::Update() {
  budget_.SetRate(SpeedLimitAt(settings_, platform_.clock.SecondsSinceMidnight()));
  RunIfNeeded();
}

std::int64_t SpeedLimits::LimitOf(int index) const {
  const auto at = limits_.find(index);
  return at == limits_.end() ? 0 : at->second;
}

void SpeedLimits::SetLimitOf(int index, std::int64_t bytesPerSecond) {
  if (bytesPerSecond == LimitOf(index)) return;
  limits_[index] = bytesPerSecond;
  const auto at = shares_.find(index);
  const auto share = at == shares_.end() ? nullptr : at->second.lock();
  if (share) share->SetRate(bytesPerSecond);
  RunIfNeeded();
}

void SpeedLimits::Forget(int index) {
  limits_.erase(index);
  shares_.erase(index);
}

std::shared_ptr<SpeedShare> SpeedLimits::ShareOf(int index) {
  std::shared_ptr<SpeedShare> share = shares_[index].lock();
  if (share) return share;
  share = budget_.NewShare();
  share->SetRate(LimitOf(index));
  shares_[index] = share;
  return share;
}

std::shared_ptr<SpeedLane> SpeedLimits::NewLane(SpeedShare& share) {
  std::shared_ptr<SpeedLane> lane = share.NewLane();
  Update();
  return lane;
}

void SpeedLimits::Step() {
  const std::uint32_t now = platform_.clock.TickCount();
  budget_.Pass(TicksSince(now, lastStep_));
  lastStep_ = now;
  RunIfNeeded();
}

void SpeedLimits::RunIfNeeded() {
  const bool needed = budget_.InUse();
  if (needed && !steps_.Enabled()) lastStep_ = platform_.clock.TickCount();
  steps_.SetEnabled(needed);
}

}  // namespace pellora
