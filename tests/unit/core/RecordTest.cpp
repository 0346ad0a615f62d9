#include <gtest/gtest.h>

#include "core/Record.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

TEST(SegmentRecord, FoldMovesReceivedBytesIntoTheResumePoint) {
  SegmentRecord segment;
  segment.RangeStart = 1000;
  segment.RangeEnd = 1999;
  segment.RangeSize = 1000;
  segment.ReceivedNow = 300;
  segment.Fold();
  EXPECT_EQ(segment.RangeStart, 1300);
  EXPECT_EQ(segment.ReceivedTotal, 300);
  EXPECT_EQ(segment.ReceivedNow, 0);
  EXPECT_EQ(segment.RangeEnd + segment.ReceivedTotal - segment.RangeStart + 1, segment.RangeSize);
  segment.Fold();
  EXPECT_EQ(segment.RangeStart, 1300);
}

TEST(SegmentRecord, FoldClampsTheSumsOfADamagedList) {
  SegmentRecord segment;
  segment.RangeStart = 2147483000;
  segment.ReceivedTotal = -2147483000;
  segment.ReceivedNow = 1000;
  segment.Fold();
  EXPECT_EQ(segment.RangeStart, 2147483647);
  EXPECT_EQ(segment.ReceivedTotal, -2147482000);
  segment.ReceivedNow = -2147483647;
  segment.Fold();
  EXPECT_EQ(segment.ReceivedTotal, -2147483647 - 1);
}

TEST(DownloadRecord, FailsForASegmentOutsideTheArray) {
  DownloadRecord record;
  EXPECT_THROW((void)record.Segment(0), Failure);
  record.Segments.resize(2);
  EXPECT_EQ(&record.Segment(1), &record.Segments[1]);
  EXPECT_THROW((void)record.Segment(2), Failure);
  EXPECT_THROW((void)record.Segment(-1), Failure);
}

}  // namespace
}  // namespace pellora
