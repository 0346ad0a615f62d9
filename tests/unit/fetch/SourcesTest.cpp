#include <gtest/gtest.h>

#include "fetch/Sources.h"

namespace pellora {
namespace {

class SourcesOf : public testing::Test {
 protected:
  SourcesOf() {
    sources.Begin(*ParseWebAddress("https://u:p@o/x"), {{"https://m/x", 1, "", ""}, {"https://n/x", 2, "", ""}});
  }
  std::optional<int> ForLane(const std::vector<int>& open, bool spread, const std::vector<int>& room = {9, 9, 9}) {
    return sources.ForLane(open, room, spread);
  }
  Sources sources;
};

TEST_F(SourcesOf, TheAddressIsTheFirstAndMainOne) {
  ASSERT_EQ(sources.Count(), 3);
  EXPECT_EQ(sources.MainNumber(), 0);
  EXPECT_EQ(sources.Main().given.password, "p");
  EXPECT_EQ(sources.At(2).current.host, "n");
  EXPECT_TRUE(sources.HasOthers(0));
}

TEST_F(SourcesOf, LanesGoWhereTheFewestAreInOrder) {
  EXPECT_EQ(ForLane({0, 0, 0}, true), 0);
  EXPECT_EQ(ForLane({1, 0, 0}, true), 1);
  EXPECT_EQ(ForLane({1, 1, 0}, true), 2);
  EXPECT_EQ(ForLane({1, 1, 1}, true), 0);
  EXPECT_EQ(ForLane({0, 1, 1}, true, {0, 9, 9}), 1);
  EXPECT_EQ(ForLane({0, 0, 0}, true, {0, 0, 0}), std::nullopt);
  EXPECT_EQ(ForLane({5, 0, 0}, false), 0);
  EXPECT_EQ(ForLane({5, 0, 0}, false, {0, 9, 9}), std::nullopt);
}

TEST_F(SourcesOf, OneThatTakesOneConnectionGetsOne) {
  sources.At(1).single = true;
  EXPECT_EQ(ForLane({1, 0, 1}, true), 1);
  EXPECT_EQ(ForLane({2, 1, 2}, true), 0);
}

TEST_F(SourcesOf, AfterTheMainOneHasFailedTheNextIs) {
  EXPECT_TRUE(sources.MoveOn("lost"));
  EXPECT_EQ(sources.MainNumber(), 1);
  EXPECT_EQ(sources.At(0).fault, "lost");
  EXPECT_EQ(ForLane({0, 9, 9}, true), 1);
  EXPECT_TRUE(sources.MoveOn("lost"));
  EXPECT_EQ(sources.MainNumber(), 2);
  EXPECT_FALSE(sources.MoveOn("lost")) << "all have failed";
  EXPECT_EQ(sources.MainNumber(), 0);
  for (int number = 0; number < 3; ++number) {
    EXPECT_EQ(sources.At(number).state, SourceState::InUse);
    EXPECT_EQ(sources.At(number).fault, "");
  }
}

TEST_F(SourcesOf, OneThatIsLeftOutStaysOut) {
  sources.LeaveOut(0, "wrong");
  EXPECT_EQ(sources.MainNumber(), 1);
  EXPECT_TRUE(sources.MoveOn("lost"));
  EXPECT_EQ(sources.MainNumber(), 2);
  EXPECT_FALSE(sources.MoveOn("lost"));
  EXPECT_EQ(sources.MainNumber(), 1);
  EXPECT_EQ(sources.At(0).fault, "wrong");
  sources.LeaveOut(2, "wrong");
  EXPECT_FALSE(sources.HasOthers(1));
  EXPECT_FALSE(sources.MoveOn("lost"));
  EXPECT_EQ(sources.MainNumber(), 1);
}

TEST_F(SourcesOf, LeavingOutTheMainOneWakesThoseThatRest) {
  sources.Rest(1, "lost");
  sources.Rest(2, "lost");
  sources.LeaveOut(0, "wrong");
  EXPECT_EQ(sources.MainNumber(), 1);
  EXPECT_EQ(sources.At(2).state, SourceState::InUse);
}

TEST_F(SourcesOf, MirrorsWithAFaultOrWithoutAnAddressAreLeftOut) {
  sources.Begin(*ParseWebAddress("https://o/x"), {{"https://m/x", 1, "", "it lies"}, {"nonsense", 2, "", ""}});
  EXPECT_EQ(sources.At(1).state, SourceState::LeftOut);
  EXPECT_EQ(sources.At(2).state, SourceState::LeftOut);
  EXPECT_FALSE(sources.HasOthers(0));
}

TEST_F(SourcesOf, HttpIsWhatAllInUseSpeak) {
  EXPECT_TRUE(sources.AllAreHttp());
  sources.Add({"ftp://f/x", 3, "", ""});
  EXPECT_FALSE(sources.AllAreHttp());
  sources.LeaveOut(3, "wrong");
  EXPECT_TRUE(sources.AllAreHttp());
}

using Numbers = std::vector<int>;

TEST_F(SourcesOf, WhoAloneDeliveredAWrongRangeIsSuspected) {
  sources.At(0).delivered = IntervalSet({{0, 150}});
  sources.At(1).delivered = IntervalSet({{150, 300}});
  EXPECT_EQ(sources.Suspects({{100, 200}, {200, 300}}), Numbers{1}) << "the first range is of both";
  EXPECT_EQ(sources.Suspects({{0, 100}}), Numbers{0});
  EXPECT_EQ(sources.Suspects({{0, 100}, {200, 300}}), (Numbers{0, 1}));
}

TEST_F(SourcesOf, OfThoseWhoDeliveredItTogetherAllButTheFirstAreSuspected) {
  sources.At(1).delivered = IntervalSet({{0, 10}});
  sources.At(2).delivered = IntervalSet({{10, 20}});
  EXPECT_EQ(sources.Suspects({{0, 20}}), Numbers{2});
  EXPECT_EQ(sources.Suspects({}), Numbers{2}) << "the whole file is wrong";
  sources.At(0).delivered = IntervalSet({{20, 30}});
  EXPECT_EQ(sources.Suspects({}), (Numbers{1, 2}));
  EXPECT_EQ(sources.DeliveredBy({1, 2}), (std::vector<Range>{{0, 10}, {10, 20}}));
}

TEST_F(SourcesOf, NobodyIsSuspectedWhereNobodyElseIsLeftOrNothingIsKnown) {
  EXPECT_EQ(sources.Suspects({{0, 20}}), Numbers{});
  sources.At(0).delivered = IntervalSet({{0, 20}});
  EXPECT_EQ(sources.Suspects({{0, 20}}), Numbers{0});
  EXPECT_EQ(sources.Suspects({}), Numbers{}) << "one source delivered all";
  sources.LeaveOut(1, "wrong");
  sources.LeaveOut(2, "wrong");
  EXPECT_EQ(sources.Suspects({{0, 20}}), Numbers{});
}

TEST_F(SourcesOf, WhatIsFetchedAgainWasDeliveredByNobody) {
  sources.At(0).delivered = IntervalSet({{0, 20}});
  sources.At(1).delivered = IntervalSet({{20, 40}});
  sources.ForgetDelivered({{10, 30}});
  EXPECT_EQ(sources.At(0).delivered, IntervalSet({{0, 10}}));
  EXPECT_EQ(sources.At(1).delivered, IntervalSet({{30, 40}}));
}

}  // namespace
}  // namespace pellora
