// IntervalSet: which bytes of a file are held.
//
// Ranges are half open and counted from 0 at the start of the file. The set keeps them sorted, apart and never empty,
// so that equal sets have equal ranges.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pellora {

struct Range {
  std::int64_t begin = 0;
  std::int64_t end = 0;  // not in it

  std::int64_t Length() const { return end - begin; }
  bool operator==(const Range&) const = default;
};

class IntervalSet {
 public:
  IntervalSet() = default;
  explicit IntervalSet(const std::vector<Range>& ranges);  // in any order, overlapping too

  // Returns the parts of `range` that were not in the set. An empty range adds nothing.
  std::vector<Range> Add(Range range);
  void Remove(Range range);
  // Drops all bytes from `length` on.
  void CutTo(std::int64_t length);

  bool Holds(std::int64_t offset) const;
  bool HoldsAll(Range range) const;  // True for an empty range
  // The first ones, `most` at least if there are so many.
  std::vector<Range> Missing(Range within, std::size_t most = SIZE_MAX) const;
  std::int64_t Bytes() const;
  const std::vector<Range>& Ranges() const { return ranges_; }

  bool operator==(const IntervalSet&) const = default;

 private:
  std::vector<Range> ranges_;
};

}  // namespace pellora
