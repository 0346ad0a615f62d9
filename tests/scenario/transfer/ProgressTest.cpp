// What a transfer counts and shows.
#include <limits>

#include "TransferFixture.h"

namespace pellora {
namespace {

class Progress : public TransferFixture {
 protected:
  // A window over a record with one segment of 5000 bytes.
  std::shared_ptr<TransferWindow> Shown() {
    Add("http://o.example/a.zip");
    DownloadRecord& record = Record();
    record.Segments.resize(2);
    record.SegmentCount = 1;
    record.FileSize = 5000;
    SegmentRecord& segment = record.Segment(1);
    segment.RangeEnd = 4999;
    segment.RangeSize = 5000;
    segment.Enabled = segment.Watched = true;
    auto window = NewTransferWindow(program, 1);
    program.TransferWindowAt(1) = window;
    sim.Do([&] {
      window->SetRecordIndex(1);
      window->Load();
    });
    return window;
  }
};

TEST_F(Progress, ShowsThePercentInTheCaption) {
  const auto window = Shown();
  Record().FileSize = 1000;
  Record().Received = 375;
  Record().Percent = 37.5F;
  window->DoRefresh();
  EXPECT_EQ(window->Caption(), "37.5% of a.zip downloaded.");
  EXPECT_EQ(window->state.Caption(), "text534");
  EXPECT_EQ(window->PB.Value(), 37.5);
  sim.locale().decimalSeparator = ",";
  window->DoRefresh();
  EXPECT_EQ(window->Caption(), "37,5% of a.zip downloaded.");
}

TEST_F(Progress, IsCappedAtAHundredPercent) {
  const auto window = Shown();
  Record().Percent = 130.0F;
  window->DoRefresh();
  EXPECT_EQ(Record().Percent, 100.0F);
  EXPECT_EQ(window->Caption(), "100.0% of a.zip downloaded.");
  EXPECT_EQ(window->state.Caption(), "text521");
}

TEST_F(Progress, KeepsSpeedAndTimesWithoutElapsedTime) {
  const auto window = Shown();
  window->Speed.Caption = "before";
  window->Est.Caption = "before";
  window->Ela.Caption = "before";
  Record().Percent = 10.0F;
  lists.refreshes.clear();
  window->DoRefresh();
  EXPECT_EQ(window->Speed.Caption(), "before");
  EXPECT_EQ(window->Est.Caption(), "before");
  EXPECT_EQ(window->Ela.Caption(), "before");
  EXPECT_EQ(window->PB.Value(), 10.0);
  ASSERT_EQ(lists.refreshes.size(), 1U);
  EXPECT_EQ(lists.refreshes[0].index, 1);
  EXPECT_EQ(lists.refreshes[0].force, 0);
}

TEST_F(Progress, ShowsSpeedTimesAndSizes) {
  const auto window = Shown();
  Record().Received = 500;
  Record().ElapsedSeconds = 2;
  Record().RemainingSeconds = 70;
  window->DoRefresh();
  EXPECT_EQ(window->Speed.Caption(), "250 bytes/s");
  EXPECT_NE(window->Ela.Caption().find("2"), std::string::npos);
  EXPECT_NE(window->Est.Caption().find("1"), std::string::npos);
  EXPECT_EQ(window->Label4.Caption(), "500 bytes");
  EXPECT_EQ(window->Label1.Caption().rfind("/ ", 0), 0U);
}

TEST_F(Progress, ScalesBarsTo2500TwipsInAFullRefreshAndTo2520InARow) {
  const auto window = Shown();
  Segment(1).RangeStart = 1000;
  Segment(1).ReceivedTotal = 1000;
  Segment(1).State = kSegmentPaused;
  window->RefreshList(0);
  EXPECT_EQ(window->Prog(0).Width(), 500);
  window->RefreshList(1);
  EXPECT_EQ(window->Prog(0).Width(), 504);
}

TEST_F(Progress, BarsOfLargeSegmentsDoNotOverflow) {
  const auto window = Shown();
  Segment(1).RangeEnd = std::numeric_limits<std::int32_t>::max() - 1;
  Segment(1).ReceivedNow = std::numeric_limits<std::int32_t>::max() - 1;
  window->RefreshList(0);
  EXPECT_NEAR(window->Prog(0).Width(), 2500, 0.01);
}

TEST_F(Progress, KeepsABarWhoseNewWidthIsInvalid) {
  const auto window = Shown();
  Segment(1).ReceivedNow = 2500;
  window->RefreshList(0);
  Segment(1).RangeEnd = -1;
  window->RefreshList(0);
  EXPECT_EQ(window->Prog(0).Width(), 1250);
}

TEST_F(Progress, ShowsTheTextAndColourOfEachRowsState) {
  struct Case {
    std::int16_t state;
    std::string full;
    std::string row;
  };
  const std::vector<Case> cases = {{0, "text525", "text525"},
                                   {1, "text524", "text524"},
                                   {2, "text526", "text526"},
                                   {3, "text527", "text527"},
                                   {4, "text528", "text528"},
                                   {5, "Logging in...", "Logging in..."},
                                   {6, "Get ready file...", "Get ready file..."},
                                   {7, "Receiving", "Receiving"},
                                   {8, "Receiving", "Receiving"},
                                   {11, "Too Many Connections", "Too many connections."}};
  const auto window = Shown();
  for (const Case& one : cases) {
    Segment(1).State = one.state;
    window->RefreshList(0);
    EXPECT_EQ(window->StateS(0).Caption(), one.full) << one.state;
    window->RefreshList(1);
    EXPECT_EQ(window->StateS(0).Caption(), one.row) << one.state;
    EXPECT_EQ(window->Num(0).Caption(), "1");
  }
  const std::vector<std::pair<std::int16_t, Colour>> colours = {{2, 0x00C0C0}, {3, 0x0000FF}, {4, 0xFF0000}};
  for (const auto& [state, colour] : colours) {
    const Colour before = window->Prog(0).FillColor;
    Segment(1).State = state;
    window->RefreshList(1);
    EXPECT_EQ(window->Prog(0).FillColor(), before);
    window->RefreshList(0);
    EXPECT_EQ(window->Prog(0).FillColor(), colour);
  }
}

TEST_F(Progress, ChangesOnlyTheCaptionOfAnIdleMinimisedWindow) {
  const auto window = Shown();
  window->ViewStateChanged(WindowState::Minimised);
  window->ViewDeactivated();
  Record().Percent = 12.5F;
  Record().ElapsedSeconds = 3;
  Record().Received = 600;
  Segment(1).ReceivedNow = 600;
  window->DoRefresh();
  window->RefreshList(0);
  EXPECT_EQ(window->Caption(), "12.5% of a.zip downloaded.");
  EXPECT_EQ(window->PB.Value(), 0.0);
  EXPECT_EQ(window->Label4.Caption(), "");
  EXPECT_EQ(window->StateS(0).Caption(), "");
  window->ViewStateChanged(WindowState::Normal);
  window->ViewActivated();
  window->ViewResized(400, 300, 400, 300);
  EXPECT_EQ(window->PB.Value(), 12.5);
  EXPECT_EQ(window->StateS(0).Caption(), "text525");
}

TEST_F(Progress, IsDrawnByAResizeAndNotByAShowing) {
  const auto window = Shown();
  window->state.Caption = "Connecting to server...";
  window->ViewSized(400, 300, 400, 300);
  EXPECT_EQ(window->state.Caption(), "Connecting to server...");
  window->ViewResized(500, 300, 500, 300);
  EXPECT_EQ(window->state.Caption(), "text534");
}

TEST_F(Progress, IsDrawnAtMostFiveTimesASecond) {
  program.settings.MaxSegments = 8;
  Serve("/a.bin", 400000);
  Wire(1, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(3000);
  lists.refreshes.clear();
  sim.RunFor(1000);
  int draws = 0;
  for (const auto& refresh : lists.refreshes) draws += refresh.index == 1 ? 1 : 0;
  EXPECT_GE(draws, 3);
  EXPECT_LE(draws, 5);
}

TEST_F(Progress, CountsTheTimeBetweenBlocksWithoutThePause) {
  Serve("/a.bin", 45000);
  program.settings.MaxSegments = 1;
  Wire(5, 5000);
  Start("http://o.example/a.bin");
  sim.RunFor(3000);
  Pause();
  sim.RunFor(1'000'000);
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Record().Received, 45000);
  EXPECT_NEAR(Record().ElapsedSeconds, 9.2, 0.5);
  EXPECT_NEAR(Record().RemainingSeconds, 0, 0.001);
}

TEST_F(Progress, CountsAllBytesOfTheSessionIncludingHeaders) {
  Serve("/a.bin", 20000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  std::uint64_t delivered = 0;
  for (const auto& connection : sim.network().Log()) delivered += connection.delivered;
  EXPECT_EQ(program.SessionTotal(), delivered);
  EXPECT_GT(delivered, 20000U);
}

TEST_F(Progress, CountsSilenceFromTheLastByteNotFromAReconnect) {
  Serve("/a.bin", 9000);
  HttpFault silent;
  silent.wire.latency = 5;
  silent.hangInBody = 4000;
  origin.OnConnection(2, silent);
  HttpFault mute;
  mute.wire.latency = 5;
  mute.wire.hangAfterAccept = true;
  origin.OnConnection(3, mute);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return Record().Received == 4000; }, 5000)) << sim.Replay();
  EXPECT_LT(WindowOf()->SilentFor(), 100U);
  sim.RunFor(7000);
  EXPECT_NEAR(WindowOf()->SilentFor(), 7000U, 100);
  Pause();
  Resume();  // to a server that accepts and says nothing; the stall watch connects again and again
  sim.RunFor(18'000);
  EXPECT_NEAR(WindowOf()->SilentFor(), 18'000U, 100);
  EXPECT_TRUE(RunUntilFinished()) << sim.Replay();
}

TEST_F(Progress, CountsSilenceFromTheStartIfTheServerNeverAnswers) {
  HttpFault mute;
  mute.wire.hangAfterAccept = true;
  mute.wire.latency = 5;
  origin.Always(mute);
  Start("http://o.example/a.bin");
  sim.RunFor(30'000);
  EXPECT_NEAR(WindowOf()->SilentFor(), 30'000U, 100);
}

}  // namespace
}  // namespace pellora
