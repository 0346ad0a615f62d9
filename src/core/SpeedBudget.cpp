#include "core/SpeedBudget.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace pellora {

namespace {

constexpr std::int64_t kMuch = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLongestStep = 1000;     // ms; a suspend saves nothing
constexpr std::int64_t kSavedPartOfSecond = 4;  // a quarter
constexpr std::int64_t kMostTurns = 8;          // of a lane in one step
constexpr std::int64_t kKeptUnused = 500;       // ms
constexpr std::int64_t kSlowestLane = std::int64_t{16} << 10;
constexpr std::int64_t kPortionsPerSecond = 64;
constexpr std::int64_t kLeastPortion = std::int64_t{1} << 10;
constexpr std::int64_t kMostPortion = std::int64_t{256} << 10;

}  // namespace

std::int64_t SpeedPot::Available() const { return Limits() ? std::max(bytes, std::int64_t{0}) : kMuch; }

void SpeedPot::Fill(std::int64_t milliseconds) {
  const std::int64_t sum = rate * milliseconds + fraction;
  bytes += sum / 1000;
  fraction = sum % 1000;
}

SpeedBudget::SpeedBudget() : core_(std::make_shared<Core>()) {}

SpeedBudget::~SpeedBudget() { SetRate(0); }

void SpeedBudget::SetRate(std::int64_t bytesPerSecond) {
  const Lock::Guard guard(core_->lock);
  if (core_->pot.rate == bytesPerSecond) return;
  core_->pot.rate = bytesPerSecond;
  core_->LimitsChanged();
}

std::shared_ptr<SpeedShare> SpeedBudget::NewShare() { return std::make_shared<SpeedShare>(core_); }

bool SpeedBudget::InUse() const {
  if (!core_->limited) return false;
  const Lock::Guard guard(core_->lock);
  return std::any_of(core_->shares.begin(), core_->shares.end(),
                     [](const auto* share) { return !share->lanes_.empty(); });
}

void SpeedBudget::Pass(std::int64_t milliseconds) {
  const Lock::Guard guard(core_->lock);
  const std::int64_t passed = std::min(milliseconds, kLongestStep);
  core_->pot.Fill(passed);
  for (SpeedShare* const share : core_->shares) share->pot_.Fill(passed);
  core_->TakeBackUnused(passed);
  core_->LimitPots();
  core_->SetMost(core_->Waiting());
  core_->ServeNeeds();
}

// Who waits asks again; what was saved or owed under another limit counts no more.
void SpeedBudget::Core::LimitsChanged() {
  limited = pot.Limits() || std::any_of(shares.begin(), shares.end(), [](const auto* s) { return s->pot_.Limits(); });
  pot.Empty();
  for (SpeedShare* const share : shares) {
    share->pot_.Empty();
    for (SpeedLane* const lane : share->lanes_) {
      lane->granted_ = 0;
      lane->waits_ = false;
    }
  }
}

std::int64_t SpeedBudget::Core::Available(const SpeedShare& share) const {
  return std::min(pot.Available(), share.pot_.Available());
}

// Another one waits, and not only for its own download's limit.
bool SpeedBudget::Core::OthersNeed(const SpeedLane& lane) const {
  return std::any_of(shares.begin(), shares.end(), [&](const SpeedShare* share) {
    return std::any_of(share->lanes_.begin(), share->lanes_.end(),
                       [&](const SpeedLane* other) { return other != &lane && other->CanBeServed(other->Need()); });
  });
}

void SpeedBudget::Core::Grant(SpeedLane& lane, std::int64_t bytes) {
  SpeedShare& share = *lane.share_;
  pot.Take(bytes);
  share.pot_.Take(bytes);
  reached = std::max(reached, share.served_);
  share.reached_ = std::max(share.reached_, lane.served_);
  lane.granted_ += bytes;
  share.served_ += bytes;
  lane.served_ += bytes;
}

// What a download or a lane left to the others while it was idle is not made up for.
void SpeedBudget::Core::Ask(SpeedLane& lane) {
  SpeedShare& share = *lane.share_;
  const auto idle = [](const SpeedLane* one) { return one->unused_ > kKeptUnused; };
  if (std::all_of(share.lanes_.begin(), share.lanes_.end(), idle)) share.served_ = std::max(share.served_, reached);
  if (idle(&lane)) lane.served_ = std::max(lane.served_, share.reached_);
  lane.unused_ = 0;
}

bool SpeedBudget::Core::Take(SpeedLane& lane, std::int64_t bytes) {
  Ask(lane);
  const SpeedShare& share = *lane.share_;
  if (!pot.Limits() && !share.pot_.Limits()) return true;
  const std::int64_t lacks = bytes - lane.granted_;
  if (lacks > 0 && !OthersNeed(lane) && Available(share) >= lacks) Grant(lane, lacks);
  if (lane.granted_ < bytes) {
    lane.waits_ = true;
    lane.wanted_ = bytes;
    return false;
  }
  lane.granted_ -= bytes;
  lane.waits_ = false;
  return true;
}

bool SpeedBudget::Core::Spend(SpeedLane& lane, std::int64_t bytes) {
  Ask(lane);
  const SpeedShare& share = *lane.share_;
  if (!pot.Limits() && !share.pot_.Limits()) return true;
  lane.granted_ -= bytes;
  if (lane.granted_ < 0 && !OthersNeed(lane)) Grant(lane, std::min(Available(share), -lane.granted_));
  if (lane.granted_ >= 0) return true;
  lane.waits_ = true;
  lane.wanted_ = 0;
  return false;
}

void SpeedBudget::Core::TakeBackUnused(std::int64_t milliseconds) {
  for (SpeedShare* const share : shares) {
    for (SpeedLane* const lane : share->lanes_) {
      lane->unused_ += milliseconds;
      if (lane->unused_ <= kKeptUnused) continue;
      lane->waits_ = lane->waits_ && lane->granted_ < 0;
      if (lane->granted_ > 0) Grant(*lane, -lane->granted_);
    }
  }
}

// What has been granted and not taken is saved as well. One portion beyond that can always be saved up for.
void SpeedBudget::Core::LimitPots() {
  std::int64_t longest = 0;
  std::int64_t heldByAll = 0;
  for (SpeedShare* const share : shares) {
    std::int64_t portion = 0;
    std::int64_t held = 0;
    for (const SpeedLane* const lane : share->lanes_) {
      if (lane->unused_ <= kKeptUnused) portion = std::max(portion, lane->wanted_);
      held += std::max(lane->granted_, std::int64_t{0});
    }
    share->pot_.KeepAtMost(share->pot_.rate / kSavedPartOfSecond + portion - held);
    longest = std::max(longest, portion);
    heldByAll += held;
  }
  pot.KeepAtMost(pot.rate / kSavedPartOfSecond + longest - heldByAll);
}

// A lane may take several portions until the next call: as many as its part of the pot has, and one more.
void SpeedBudget::Core::SetMost(const std::vector<SpeedLane*>& waiting) {
  const auto of = [&](const SpeedShare* share) {
    return std::count_if(waiting.begin(), waiting.end(),
                         [&](const SpeedLane* lane) { return lane->share_.get() == share; });
  };
  const auto waits =
      std::count_if(shares.begin(), shares.end(), [&](const SpeedShare* share) { return of(share) > 0; });
  for (SpeedLane* const lane : waiting) {
    const SpeedShare* const share = lane->share_.get();
    const std::int64_t part = std::min(pot.Limits() ? pot.Available() / waits : kMuch, share->pot_.Available());
    lane->most_ = lane->wanted_ + part / of(share);
    lane->more_ = std::max(lane->wanted_, lane->most_ / kMostTurns);
  }
}

// Of the download that had least so far the lane that had least.
SpeedLane* SpeedBudget::Core::NextInNeed() const {
  SpeedLane* next = nullptr;
  for (const SpeedShare* const share : shares) {
    SpeedLane* ofShare = nullptr;
    for (SpeedLane* const lane : share->lanes_) {
      if (lane->CanBeServed(lane->Wish()) && (ofShare == nullptr || lane->served_ < ofShare->served_)) ofShare = lane;
    }
    if (ofShare == nullptr) continue;
    if (next == nullptr || share->served_ < next->share_->served_) next = ofShare;
  }
  return next;
}

// What a caller waits for is granted whole: parts of it would be of no use. Debts are paid in parts.
void SpeedBudget::Core::ServeNeeds() {
  while (SpeedLane* const lane = NextInNeed()) {
    const std::int64_t available = Available(*lane->share_);
    const std::int64_t owed = std::min(-lane->granted_, kSlowestLane);
    const std::int64_t bytes = owed > 0 ? std::min(available, owed) : lane->Wish();
    if (bytes <= 0 || bytes > available) return;
    Grant(*lane, bytes);
  }
}

std::vector<SpeedLane*> SpeedBudget::Core::Waiting() const {
  std::vector<SpeedLane*> waiting;
  for (const SpeedShare* const share : shares) {
    for (SpeedLane* const lane : share->lanes_) {
      if (lane->waits_) waiting.push_back(lane);
    }
  }
  return waiting;
}

SpeedShare::SpeedShare(std::shared_ptr<SpeedBudget::Core> core) : core_(std::move(core)) {
  const Lock::Guard guard(core_->lock);
  core_->shares.push_back(this);
}

SpeedShare::~SpeedShare() {
  const Lock::Guard guard(core_->lock);
  std::erase(core_->shares, this);
  if (pot_.Limits()) core_->LimitsChanged();
}

void SpeedShare::SetRate(std::int64_t bytesPerSecond) {
  const Lock::Guard guard(core_->lock);
  if (pot_.rate == bytesPerSecond) return;
  pot_.rate = bytesPerSecond;
  core_->LimitsChanged();
}

std::shared_ptr<SpeedLane> SpeedShare::NewLane() { return std::make_shared<SpeedLane>(shared_from_this()); }

std::int64_t SpeedShare::Rate() const {
  if (!core_->pot.Limits()) return pot_.rate;
  const auto busy = std::count_if(core_->shares.begin(), core_->shares.end(),
                                  [this](const SpeedShare* share) { return share == this || !share->lanes_.empty(); });
  const std::int64_t equal = std::max(core_->pot.rate / busy, std::int64_t{1});
  return pot_.Limits() ? std::min(pot_.rate, equal) : equal;
}

int SpeedShare::MostLanes() const {
  const Lock::Guard guard(core_->lock);
  const std::int64_t rate = Rate();
  constexpr std::int64_t kMany = std::numeric_limits<int>::max();
  return rate == 0 ? static_cast<int>(kMany)
                   : static_cast<int>(std::clamp(rate / kSlowestLane, std::int64_t{1}, kMany));
}

SpeedLane::SpeedLane(std::shared_ptr<SpeedShare> share) : share_(std::move(share)), unused_(kKeptUnused + 1) {
  const Lock::Guard guard(TheCore().lock);
  share_->lanes_.push_back(this);
}

SpeedLane::~SpeedLane() {
  const Lock::Guard guard(TheCore().lock);
  TheCore().Grant(*this, -granted_);  // what it owes is the others' to wait for
  std::erase(share_->lanes_, this);
}

std::int64_t SpeedLane::Wish() const {
  if (!waits_ || Need() > 0) return Need();
  return granted_ + more_ <= most_ ? more_ : 0;
}

bool SpeedLane::CanBeServed(std::int64_t need) const {
  return need > 0 && share_->pot_.Available() >= (granted_ < 0 ? 1 : need);
}

bool SpeedLane::Take(std::size_t bytes) {
  if (!TheCore().limited.load(std::memory_order_relaxed)) return true;
  const Lock::Guard guard(TheCore().lock);
  return TheCore().Take(*this, static_cast<std::int64_t>(bytes));
}

std::size_t SpeedLane::Portion() const {
  if (!TheCore().limited.load(std::memory_order_relaxed)) return kMostPortion;
  const Lock::Guard guard(TheCore().lock);
  const std::int64_t rate = share_->Rate();
  const std::int64_t portion = std::clamp(rate / kPortionsPerSecond, kLeastPortion, kMostPortion);
  return static_cast<std::size_t>(rate == 0 ? kMostPortion : portion);
}

bool SpeedLane::Spend(std::size_t bytes) {
  if (!TheCore().limited.load(std::memory_order_relaxed)) return true;
  const Lock::Guard guard(TheCore().lock);
  return TheCore().Spend(*this, static_cast<std::int64_t>(bytes));
}

bool SpeedLane::MayGoOn() {
  const Lock::Guard guard(TheCore().lock);
  unused_ = 0;
  if (waits_ && granted_ < wanted_) return false;
  waits_ = false;
  return true;
}

bool SpeedLane::Waits() const {
  if (!TheCore().limited.load(std::memory_order_relaxed)) return false;
  const Lock::Guard guard(TheCore().lock);
  return waits_;
}

}  // namespace pellora
