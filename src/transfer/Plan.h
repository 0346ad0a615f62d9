// PlanSegments: cuts a file of known size into the ranges that are fetched side by side.
//
// The size alone decides: one range below 10000 bytes, two below 100000, eight from there on, and never
// more than the user allows. All ranges are equal but the first, which takes the remainder too.
#pragma once

#include <cstdint>
#include <vector>

namespace pellora {

// Offsets count from 0; `end` is the last byte of the range, so an empty file has the range 0 to -1.
struct PlannedRange {
  std::int32_t start = 0;
  std::int32_t end = 0;
  std::int32_t size = 0;
  bool operator==(const PlannedRange&) const = default;
};

// Element 0 is the range of segment 1. A negative size counts as 0. Failure(DivisionByZero) for
// `maxSegments` 0 and Failure(OutOfRange) for less, before anything is allocated.
// Only the ranges are worked out here: that the record's array already has its new size when such a plan
// fails is the caller's affair.
std::vector<PlannedRange> PlanSegments(std::int32_t fileSize, std::int32_t maxSegments);

}  // namespace pellora
