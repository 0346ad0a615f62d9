#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "fetch/States.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

// The whole table as text: one row for each event, one word for each state.
template <class State, class Event>
std::string Row(Event event, const std::string& letters) {
  std::string row;
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const auto state = static_cast<State>(i);
    try {
      const State after = StateAfter(state, event);
      row += after == state ? '-' : letters.at(static_cast<std::size_t>(after));
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Number(), FailureNumber::InvalidCall);
      row += '!';
    }
  }
  return row;
}

std::string FetchRow(FetchEvent event) { return Row<FetchState>(event, "WORHAFPSD"); }
std::string LaneRow(LaneEvent event) { return Row<LaneState>(event, "ICTBX"); }

// A state that an event leads back to reads "-".
TEST(States, OfADownloadFollowTheTable) {
  EXPECT_EQ(FetchRow(FetchEvent::Start), "O--O--OO-");
  EXPECT_EQ(FetchRow(FetchEvent::StartNoPlace), "---W--WW-");
  EXPECT_EQ(FetchRow(FetchEvent::Pause), "PPPPPP---");
  EXPECT_EQ(FetchRow(FetchEvent::FirstAnswerRight), "!R!!!!!!!");
  EXPECT_EQ(FetchRow(FetchEvent::AllBytesHeld), "!FF!!!!!!");
  EXPECT_EQ(FetchRow(FetchEvent::LastLaneLost), "!HH!!!!!!");
  EXPECT_EQ(FetchRow(FetchEvent::GivenUp), "!SSSSS!!!");
  EXPECT_EQ(FetchRow(FetchEvent::Question), "!AA!!A!!!");
  EXPECT_EQ(FetchRow(FetchEvent::AnswerNo), "----S----");
  EXPECT_EQ(FetchRow(FetchEvent::NetworkOrTimeBack), "---O-----");
  EXPECT_EQ(FetchRow(FetchEvent::DiskFailed), "!SSSSS--!");
  EXPECT_EQ(FetchRow(FetchEvent::Renamed), "!!!!!DD!!");
}

TEST(States, OfALaneFollowTheTable) {
  EXPECT_EQ(LaneRow(LaneEvent::PieceGiven), "C!!--");
  EXPECT_EQ(LaneRow(LaneEvent::RightAnswer), "!T!!!");
  EXPECT_EQ(LaneRow(LaneEvent::Lost), "B!!!!");
  EXPECT_EQ(LaneRow(LaneEvent::OneMore), "X!!!!");
  EXPECT_EQ(LaneRow(LaneEvent::Again), "!!!II");
  EXPECT_EQ(LaneRow(LaneEvent::Stop), "-IIII");
}

TEST(States, SayWhatCouldNotHappen) {
  try {
    (void)StateAfter(LaneState::BackingOff, LaneEvent::Lost);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "no event 2 in state B");
  }
}

}  // namespace
}  // namespace pellora
