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
  EXPECT_EQ(FetchRow(FetchEvent::GivenUp), "!SSSS!!!!");
  EXPECT_EQ(FetchRow(FetchEvent::Question), "!AA!!!!!!");
  EXPECT_EQ(FetchRow(FetchEvent::AnswerYes), "----O----");
  EXPECT_EQ(FetchRow(FetchEvent::AnswerNo), "----S----");
  EXPECT_EQ(FetchRow(FetchEvent::NetworkOrTimeBack), "---O-----");
  EXPECT_EQ(FetchRow(FetchEvent::DiskFailed), "!SSSSS--!");
  EXPECT_EQ(FetchRow(FetchEvent::Renamed), "!!!!!DD!!");
  EXPECT_EQ(FetchRow(FetchEvent::HashWrong), "!!!!!S-!!");
  EXPECT_EQ(FetchRow(FetchEvent::Reloaded), "-PPPPP---");
  EXPECT_EQ(FetchRow(FetchEvent::ReloadedRenamed), "!!!!!DD!-");
}

TEST(States, OfALaneFollowTheTable) {
  EXPECT_EQ(LaneRow(LaneEvent::PieceGiven), "C!!--");
  EXPECT_EQ(LaneRow(LaneEvent::RightAnswer), "!T!!!");
  EXPECT_EQ(LaneRow(LaneEvent::WrongAnswer), "!X!!!");
  EXPECT_EQ(LaneRow(LaneEvent::Block), "!!-!!");
  EXPECT_EQ(LaneRow(LaneEvent::EndReached), "!!I!!");
  EXPECT_EQ(LaneRow(LaneEvent::Lost), "!BB!!");
  EXPECT_EQ(LaneRow(LaneEvent::Busy), "!B!!!");
  EXPECT_EQ(LaneRow(LaneEvent::BusyWhileOthersFlow), "!X!!!");
  EXPECT_EQ(LaneRow(LaneEvent::Due), "!!!C!");
  EXPECT_EQ(LaneRow(LaneEvent::SiblingEnded), "----C");
  EXPECT_EQ(LaneRow(LaneEvent::LastSiblingLost), "----B");
  EXPECT_EQ(LaneRow(LaneEvent::Stop), "-IIII");
}

TEST(States, SayWhatCouldNotHappen) {
  try {
    (void)StateAfter(LaneState::BackingOff, LaneEvent::Block);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "no event 3 in state B");
  }
}

}  // namespace
}  // namespace pellora
