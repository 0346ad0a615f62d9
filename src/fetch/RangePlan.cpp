#include "fetch/RangePlan.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace pellora {

namespace {

constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kAlignment = std::int64_t{64} << 10;  // of cuts, so that lanes share no page of the disk
constexpr double kNominalRate = 1 << 20;                     // while nothing is measured
constexpr double kUnclaimedRate = 1e-12;
constexpr double kSlowerBy = 4;
constexpr double kSlowSeconds = 3;      // a lane with less to do is not worth a new connection
constexpr double kTwinSeconds = 0.25;   // nor a second run of its piece
constexpr std::size_t kMostGaps = 256;  // from the first one on: files of an archive may lie in tens of thousands

}  // namespace

RangePlan::RangePlan(std::int64_t total, IntervalSet held, Shape shape)
    : total_(total), held_(std::move(held)), shape_(shape), lanes_(static_cast<std::size_t>(shape.lanes)) {
  if (total_ >= 0) held_.CutTo(total_);
}

void RangePlan::SetTotal(std::int64_t total) {
  total_ = total;
  held_.CutTo(total);
  for (Lane& lane : lanes_) {
    lane.end = std::min(lane.end, total);
    lane.limit = std::min(lane.limit, total);
  }
}

std::int64_t RangePlan::End() const { return total_ < 0 ? kNoEnd : total_; }

bool RangePlan::Complete() const { return total_ >= 0 && held_.HoldsAll({0, total_}); }

std::int64_t RangePlan::FirstMissing() const {
  const std::vector<Range> missing = held_.Missing({0, End()}, 1);
  return missing.empty() ? End() : missing.front().begin;
}

void RangePlan::Begin(int lane, Range piece, std::int64_t limit) {
  Lane& begun = LaneAt(lane);
  const double rate = begun.rate;
  begun = Lane{};
  begun.active = true;
  begun.begin = begun.at = piece.begin;
  begun.end = piece.end;
  begun.limit = limit;
  begun.rate = rate;
}

void RangePlan::Adopt(int lane, Range request) {
  const std::int64_t limit = request.end < 0 ? End() : std::min(request.end, End());
  const std::vector<Range> missing = held_.Missing({request.begin, limit}, 1);
  Begin(lane, {request.begin, missing.empty() ? request.begin : missing.front().end}, limit);
}

Piece RangePlan::Assign(int lane, Range range) {
  Release(lane);
  Begin(lane, range, shape_.openRequests ? End() : range.end);
  return {lane, range};
}

void RangePlan::EndRequestAt(int lane, std::int64_t end) { LaneAt(lane).limit = std::min(LaneAt(lane).limit, end); }

void RangePlan::Release(int lane) {
  if (LaneAt(lane).twinnedBy >= 0) LaneAt(LaneAt(lane).twinnedBy).twin = false;
  for (Lane& other : lanes_) {
    if (other.twinnedBy != lane) continue;
    other.twinnedBy = -1;
    CutToMissing(other);
  }
  Begin(lane, {}, 0);
  LaneAt(lane).active = false;
}

// What a second run has fetched of the end of this piece must not count as left: it would be run again and again.
void RangePlan::CutToMissing(Lane& lane) {
  if (!lane.active || lane.at >= lane.end) return;
  const std::vector<Range> missing = held_.Missing({lane.at, lane.end});
  lane.end = missing.empty() ? lane.at : missing.back().end;
}

void RangePlan::SetRate(int lane, double bytesPerSecond) { LaneAt(lane).rate = bytesPerSecond; }

Range RangePlan::PieceOf(int lane) const { return {LaneAt(lane).begin, LaneAt(lane).end}; }

// Rates

// What is not measured counts like the mean of what is.
double RangePlan::RateOf(int lane) const {
  if (LaneAt(lane).rate >= 0) return std::max(LaneAt(lane).rate, 1.0);
  double sum = 0;
  int measured = 0;
  for (const Lane& other : lanes_) {
    if (other.rate <= 0) continue;
    sum += other.rate;
    ++measured;
  }
  return measured == 0 ? kNominalRate : sum / measured;
}

std::int64_t RangePlan::MinimumOf(int lane) const {
  return std::max(kSmallestPiece, static_cast<std::int64_t>(std::max(LaneAt(lane).rate, 0.0)));
}

double RangePlan::SecondsLeft(int lane) const {
  const Lane& busy = LaneAt(lane);
  return busy.active && busy.at < busy.end ? static_cast<double>(busy.end - busy.at) / RateOf(lane) : 0;
}

bool RangePlan::HasTwin(int lane) const { return LaneAt(lane).twin || LaneAt(lane).twinnedBy >= 0; }

// Giving

std::vector<Range> RangePlan::Gaps() const {
  IntervalSet taken;
  for (const Lane& lane : lanes_) {
    if (lane.active) (void)taken.Add({lane.at, lane.end});
  }
  std::vector<Range> gaps;
  for (const Range& missing : held_.Missing({0, total_}, kMostGaps)) {
    const std::vector<Range> free = taken.Missing(missing);
    gaps.insert(gaps.end(), free.begin(), free.end());
  }
  return gaps;
}

std::vector<RangePlan::Region> RangePlan::Regions() const {
  std::vector<Region> regions;
  for (const Range& gap : Gaps()) regions.push_back({gap, -1, {}});
  for (int lane = 0; lane < Count(); ++lane) {
    const Lane& busy = LaneAt(lane);
    if (busy.active && busy.at < busy.end && !HasTwin(lane)) regions.push_back({{busy.at, busy.end}, lane, {}});
  }
  return regions;
}

double RangePlan::SecondsFor(const Region& region) const {
  const double seed = region.owner < 0 ? 0 : RateOf(region.owner);
  const double rate = std::accumulate(region.takers.begin(), region.takers.end(), seed,
                                      [this](double sum, int lane) { return sum + RateOf(lane); });
  // What nobody fetches comes before all pieces, and the largest gap first.
  return static_cast<double>(region.range.Length()) / std::max(rate, kUnclaimedRate);
}

// The bytes for the owner, if there is one, and for each taker, by their rates. The owner keeps what it may hold
// already and a piece of the smallest size, as far as there is so much.
std::vector<std::int64_t> RangePlan::SharesOf(const Region& region) const {
  std::vector<std::int64_t> shares;
  std::int64_t left = region.range.Length();
  double rate = 0;
  for (const int lane : region.takers) rate += RateOf(lane);
  const auto part = [&](int lane, double of) {
    return static_cast<std::int64_t>(static_cast<double>(left) * (RateOf(lane) / of)) / kAlignment * kAlignment;
  };
  if (region.owner >= 0) {
    const std::int64_t kept = kGathered + MinimumOf(region.owner);
    shares.push_back(std::clamp(part(region.owner, rate + RateOf(region.owner)), std::min(kept, left), left));
    left -= shares.back();
  }
  for (const int lane : region.takers) {
    const bool last = lane == region.takers.back();
    shares.push_back(last ? left : part(lane, rate));
    left -= shares.back();
    rate -= RateOf(lane);
  }
  return shares;
}

bool RangePlan::Fits(const Region& region, int lane) const {
  if (region.owner < 0 && region.takers.empty()) return true;  // a lane must fetch it, however small it is
  Region more = region;
  more.takers.push_back(lane);
  const std::vector<std::int64_t> shares = SharesOf(more);
  const std::size_t first = region.owner < 0 ? 0 : 1;
  for (std::size_t i = 0; i < more.takers.size(); ++i) {
    if (shares[first + i] < MinimumOf(more.takers[i])) return false;
  }
  return true;
}

void RangePlan::Divide(const Region& region, std::vector<Piece>& pieces) {
  if (region.takers.empty()) return;
  const std::vector<std::int64_t> shares = SharesOf(region);
  std::int64_t at = region.range.begin;
  std::size_t next = 0;
  if (region.owner >= 0) LaneAt(region.owner).end = at += shares[next++];
  for (const int lane : region.takers) {
    const std::int64_t end = at + shares[next++];
    pieces.push_back(Assign(lane, {at, end}));
    at = end;
  }
}

std::vector<Piece> RangePlan::Give(std::span<const int> idle) {
  if (total_ < 0) return {};
  std::vector<Piece> pieces;
  std::vector<Region> regions = Regions();
  std::vector<int> left;
  for (const int lane : idle) {
    Region* best = nullptr;
    for (Region& region : regions) {
      if ((!best || SecondsFor(region) > SecondsFor(*best)) && Fits(region, lane)) best = &region;
    }
    best ? best->takers.push_back(lane) : left.push_back(lane);
  }
  for (const Region& region : regions) Divide(region, pieces);
  for (const int lane : left) {
    if (const std::optional<Piece> twin = GiveTwin(lane)) pieces.push_back(*twin);
  }
  return pieces;
}

// The end of the piece that will take longest, again.
std::optional<Piece> RangePlan::GiveTwin(int lane) {
  int longest = -1;
  for (int other = 0; other < Count(); ++other) {
    if (LaneAt(other).rate < 0 || HasTwin(other) || SecondsLeft(other) <= kTwinSeconds) continue;
    if (longest < 0 || SecondsLeft(other) > SecondsLeft(longest)) longest = other;
  }
  if (longest < 0 || total_ < kSmallestPiece) return {};
  const Lane& busy = LaneAt(longest);
  const double share = RateOf(longest) / (RateOf(longest) + RateOf(lane));
  const std::int64_t rest = busy.end - busy.at;
  const std::int64_t kept = std::min(static_cast<std::int64_t>(static_cast<double>(rest) * share), rest - 1);
  const Range range{busy.at + kept / kAlignment * kAlignment, busy.end};
  const Piece piece = Assign(lane, range);
  LaneAt(lane).twin = true;
  LaneAt(longest).twinnedBy = lane;
  return piece;
}

std::optional<int> RangePlan::SlowLane() const {
  for (int lane = 0; lane < Count(); ++lane) {
    double others = 0;
    int measured = 0;
    for (int other = 0; other < Count(); ++other) {
      if (other == lane || LaneAt(other).rate < 0) continue;
      others += LaneAt(other).rate;
      ++measured;
    }
    const bool slow = LaneAt(lane).rate >= 0 && measured > 0 && LaneAt(lane).rate * kSlowerBy < others / measured;
    if (slow && LaneAt(lane).delivered && !HasTwin(lane) && SecondsLeft(lane) > kSlowSeconds) return lane;
  }
  return {};
}

std::optional<Piece> RangePlan::Relieve(int slow, int by) {
  Lane& busy = LaneAt(slow);
  const std::int64_t cut = busy.at + kGathered;
  if (!busy.active || busy.end == kNoEnd || busy.end - cut < kSmallestPiece) return {};
  const Range range{cut, busy.end};
  busy.end = cut;
  return Assign(by, range);
}

// Receiving

RangePlan::Arrival RangePlan::Received(int lane, std::int64_t length) {
  Lane& busy = LaneAt(lane);
  Arrival arrival;
  const std::int64_t room = busy.limit - busy.at;
  arrival.surplus = length > room;
  const Range range{busy.at, busy.at + std::min(length, room)};
  arrival.needed = held_.Add(range);
  busy.at = range.end;
  busy.delivered = true;
  if (busy.at >= busy.end) ExtendOverGap(lane);
  return arrival;
}

// Beyond its piece a lane flows on: what nobody has been given becomes its own.
void RangePlan::ExtendOverGap(int lane) {
  Lane& busy = LaneAt(lane);
  std::int64_t end = busy.limit;
  for (int other = 0; other < Count(); ++other) {
    const Lane& neighbour = LaneAt(other);
    if (other == lane || !neighbour.active || neighbour.end <= busy.at) continue;
    end = std::min(end, std::max(neighbour.begin, busy.at));
  }
  const std::vector<Range> missing = held_.Missing({busy.at, end});
  if (!missing.empty() && missing.front().begin == busy.at) busy.end = missing.front().end;
}

bool RangePlan::OthersDeliverAt(int lane, std::int64_t offset) const {
  for (int other = 0; other < Count(); ++other) {
    const Lane& busy = LaneAt(other);
    if (other != lane && busy.delivered && busy.begin <= offset && offset < busy.end) return true;
  }
  return false;
}

LaneNext RangePlan::Next(int lane) const {
  const Lane& busy = LaneAt(lane);
  if (!busy.active) return LaneNext::Idle;
  if (busy.at >= busy.limit) return LaneNext::Finished;
  const bool needed = busy.at < busy.end ? !held_.HoldsAll({busy.at, busy.end})
                                         : !held_.Holds(busy.at) && !OthersDeliverAt(lane, busy.at);
  if (needed) return LaneNext::Continue;
  return busy.limit - busy.at <= kDrained ? LaneNext::Drain : LaneNext::Close;
}

}  // namespace pellora
