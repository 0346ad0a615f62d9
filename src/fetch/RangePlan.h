// RangePlan: which lane fetches which bytes of a file, and which of what arrives is new.
//
// A lane is one connection with one request at a time, named by a number from 0. Its piece is what it is to fetch; its
// request may reach further, since a request that is on its way cannot be shortened. Idle lanes get bytes that nobody
// has requested first, then the end of a piece whose lane will be busy longest, divided by what each lane was measured
// to carry, and last a second run of the end of a piece: the first byte to arrive counts. A lane that flows beyond its
// piece is to be closed only once the lane that was given the bytes there has delivered its first one, since a server
// may not let a closed connection open again.
//
// Offsets count from 0 at the start of the file; ranges are half open. The plan knows no time: rates are bytes per
// second.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/IntervalSet.h"

namespace pellora {

inline constexpr std::int64_t kSmallestPiece = std::int64_t{1} << 20;
// What a lane may have received without having handed it on yet (see FetchBlock).
inline constexpr std::int64_t kGathered = std::int64_t{256} << 10;
// A request with no more than this to come is read to its end and dropped, to keep its connection.
inline constexpr std::int64_t kDrained = std::int64_t{256} << 10;

struct Piece {
  int lane = 0;
  Range range;
  bool operator==(const Piece&) const = default;
};

enum class LaneNext : std::uint8_t {
  Idle,      // it has no request
  Continue,  // more is to come that the file needs
  Finished,  // all of the request has arrived; the connection can take another
  Drain,     // the file needs no more of it, but so little is left that reading it keeps the connection
  Close,     // the file needs no more of it
};

class RangePlan {
 public:
  struct Shape {
    int lanes = 8;
    bool openRequests = false;  // a request names no end (ftp, sftp): each reaches the end of the file
  };

  // `total` -1: not known; then there is one lane, which fetches to the end.
  RangePlan(std::int64_t total, IntervalSet held, Shape shape);

  // Once the end of a file of unknown length has been proven.
  void SetTotal(std::int64_t total);
  std::int64_t Total() const { return total_; }
  const IntervalSet& Held() const { return held_; }
  bool Complete() const;
  std::int64_t FirstMissing() const;  // the total if nothing is

  // `lane` already runs a request that was made before the plan: the first one, whose answer gave the total. Its
  // end -1 means the end of the file.
  void Adopt(int lane, Range request);
  // Pieces for idle lanes, in no order; none for those for whom nothing is worth a request.
  std::vector<Piece> Give(std::span<const int> idle);
  // The server answers with less than was asked for: the request ends at `end`.
  void EndRequestAt(int lane, std::int64_t end);

  struct Arrival {
    std::vector<Range> needed;  // what of the block is to be written
    bool surplus = false;       // there was more in it than requested: the server's counts cannot be trusted
  };
  // The next `length` bytes of the lane's request have arrived, its answer being right. They count as held from now on.
  Arrival Received(int lane, std::int64_t length);
  // What becomes of the lane. Others may have to be closed after each arrival of this one.
  LaneNext Next(int lane) const;
  // The lane has no request any more. What it has not fetched is free again.
  void Release(int lane);

  // Bytes per second; negative: not measured (yet).
  void SetRate(int lane, double bytesPerSecond);
  // A lane that carries less than a quarter of what the others do in the mean and will be busy for three seconds more:
  // worth a new connection.
  std::optional<int> SlowLane() const;
  // All that is left of the slow lane's piece goes to the idle lane `by`; the slow one flows on until `by` delivers.
  std::optional<Piece> Relieve(int slow, int by);

  std::int64_t Offset(int lane) const { return LaneAt(lane).at; }  // of the next byte to arrive
  Range PieceOf(int lane) const;                                   // as last given or cut; empty if it has none

 private:
  struct Lane {
    bool active = false;
    bool delivered = false;  // a byte of this request has arrived
    bool twin = false;       // runs what another lane runs too
    int twinnedBy = -1;
    std::int64_t begin = 0;
    std::int64_t at = 0;
    std::int64_t end = 0;    // of the piece
    std::int64_t limit = 0;  // of the request
    double rate = -1;
  };
  // Bytes to divide: a gap that nobody has requested, or what is left of the piece of its owner.
  struct Region {
    Range range;
    int owner = -1;
    std::vector<int> takers;
  };

  Lane& LaneAt(int lane) { return lanes_.at(static_cast<std::size_t>(lane)); }
  const Lane& LaneAt(int lane) const { return lanes_.at(static_cast<std::size_t>(lane)); }
  int Count() const { return static_cast<int>(lanes_.size()); }
  std::int64_t End() const;
  void Begin(int lane, Range piece, std::int64_t limit);
  void CutToMissing(Lane& lane);
  double RateOf(int lane) const;
  std::int64_t MinimumOf(int lane) const;
  double SecondsLeft(int lane) const;
  bool HasTwin(int lane) const;

  std::vector<Range> Gaps() const;
  std::vector<Region> Regions() const;
  double SecondsFor(const Region& region) const;
  std::vector<std::int64_t> SharesOf(const Region& region) const;
  bool Fits(const Region& region, int lane) const;
  void Divide(const Region& region, std::vector<Piece>& pieces);
  std::optional<Piece> GiveTwin(int lane);
  Piece Assign(int lane, Range range);
  bool OthersDeliverAt(int lane, std::int64_t offset) const;
  void ExtendOverGap(int lane);

  std::int64_t total_;
  IntervalSet held_;
  Shape shape_;
  std::vector<Lane> lanes_;
};

}  // namespace pellora
