#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fetch/PieceCheck.h"

namespace pellora {
namespace {

std::string Digits(char c) { return std::string(32, c); }

// 250 bytes.
PieceHashes Three() { return {ChecksumKind::Md5, 100, {Digits('0'), Digits('1'), Digits('2')}}; }

TEST(PieceCheck, TheLastPieceEndsWithTheFile) {
  EXPECT_EQ(PieceAt(Three(), 0, 250), (Range{0, 100}));
  EXPECT_EQ(PieceAt(Three(), 2, 250), (Range{200, 250}));
}

TEST(PieceCheck, FindsPiecesThatAreHeldWhole) {
  using Indices = std::vector<std::size_t>;
  EXPECT_EQ(PiecesWithin(Three(), IntervalSet({{0, 199}, {200, 250}}), 250), (Indices{0, 2}));
  EXPECT_EQ(PiecesWithin(Three(), IntervalSet({{1, 250}}), 250), (Indices{1, 2}));
  EXPECT_EQ(PiecesWithin(Three(), IntervalSet(), 250), Indices());
}

TEST(PieceCheck, NamesTheRangesOfWrongPieces) {
  using Ranges = std::vector<Range>;
  EXPECT_EQ(WrongRanges(Three(), 250, std::vector{Digits('0'), Digits('1'), Digits('2')}), Ranges());
  EXPECT_EQ(WrongRanges(Three(), 250, std::vector{Digits('0'), Digits('x'), Digits('2')}), (Ranges{{100, 200}}));
  EXPECT_EQ(WrongRanges(Three(), 250, std::vector{Digits('x'), Digits('1'), Digits('x')}),
            (Ranges{{0, 100}, {200, 250}}));
  EXPECT_EQ(WrongRanges(Three(), 250, std::vector{Digits('0')}), (Ranges{{100, 250}}));
}

}  // namespace
}  // namespace pellora
