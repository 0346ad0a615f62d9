// The two timers: the time-out of the main connection and the stall watch of the segments.
#include "TransferFixture.h"

namespace pellora {
namespace {

class TimeOuts : public TransferFixture {
 protected:
  explicit TimeOuts(SimOptions options = {}) : TransferFixture(std::move(options)) {}
  HttpFault Unanswered() {
    HttpFault fault;
    fault.wire.hangBeforeAccept = true;
    return fault;
  }
  HttpFault Mute() {
    HttpFault fault;
    fault.wire.hangAfterAccept = true;
    fault.wire.latency = 5;
    return fault;
  }
  // When the connection with that number was asked for, in ms since the start.
  std::int64_t AskedAt(std::size_t number) { return sim.network().Log().at(number - 1).askedAt; }
};

TEST_F(TimeOuts, AskAfterTenSecondsAndKeepTheRecordOnYes) {
  origin.Always(Unanswered());
  Start("http://o.example/a.bin");
  sim.RunFor(9'990);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  sim.RunFor(20);
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  EXPECT_EQ(sim.dialogs().Next().text, "text523");
  EXPECT_EQ(sim.dialogs().Next().title, "text522");
  EXPECT_EQ(sim.dialogs().Next().style, kYesNo);
  EXPECT_EQ(sim.network().Open(), 0);
  Answer(kAnswerYes);
  EXPECT_TRUE(Record().InUse);
  EXPECT_FALSE(Record().Active);
  EXPECT_FALSE(Record().Finished);
  EXPECT_EQ(Record().ConnectState, "1");
  EXPECT_EQ(Record().URL, "http://o.example/a.bin");
  EXPECT_EQ(WindowOf(), nullptr);
  EXPECT_FALSE(lists.refreshes.empty());
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TimeOuts, RemoveTheRecordOnNo) {
  origin.Always(Unanswered());
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  Answer(kAnswerNo);
  EXPECT_FALSE(Record().InUse);
  EXPECT_EQ(Record().URL, "");
  EXPECT_EQ(Record().FileName, "");
  EXPECT_TRUE(Record().Removed);
  EXPECT_FALSE(Record().Valid);
  EXPECT_EQ(WindowOf(), nullptr);
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(TimeOuts, AskAfterTenSecondsEvenIfTheConnectionIsRefused) {
  HttpFault refused;
  refused.wire.refuse = true;
  origin.Always(refused);
  Start("http://o.example/a.bin");
  sim.RunFor(9'990);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  sim.RunFor(20);
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
}

TEST_F(TimeOuts, StopQuietlyForAnUnusedRecord) {
  origin.Always(Unanswered());
  Start("http://o.example/a.bin");
  sim.RunFor(5'000);
  Record().InUse = false;
  const DownloadRecord before = Record();
  sim.RunFor(60'000);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  EXPECT_TRUE(Record() == before);
  EXPECT_TRUE(sim.RunUntilIdle(1'000));
}

TEST_F(TimeOuts, IgnoreAnEstablishedConnection) {
  origin.Always(Mute());
  Start("http://o.example/a.bin");
  sim.RunFor(3'600'000);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  EXPECT_EQ(sim.network().Open(), 1);
}

TEST_F(TimeOuts, AskNothingAboutAPausedDownload) {
  origin.Always(Unanswered());
  Start("http://o.example/a.bin");
  sim.RunFor(5'000);
  Pause();
  EXPECT_EQ(sim.network().Open(), 0);
  sim.RunFor(60'000);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
}

TEST_F(TimeOuts, ReconnectTheFirstSegmentTwentySecondsAfterThePlan) {
  const SimContent content = Serve("/a.bin", 5000);
  origin.OnConnection(2, Unanswered());
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_GT(AskedAt(3) - AskedAt(2), 19'990);  // a float of this size holds steps of 8 ms
  EXPECT_LE(AskedAt(3) - AskedAt(2), 21'001);
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TimeOuts, ReconnectASilentSegmentTwentyFiveSecondsAfterItsConnection) {
  const SimContent content = Serve("/a.bin", 5000);
  origin.OnConnection(2, Mute());
  HttpFault silent;
  silent.halfClose = true;
  origin.OnConnection(3, silent);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  for (const std::size_t number : {std::size_t{3}, std::size_t{4}}) {
    const std::int64_t connected = sim.network().Log().at(number - 2).connectedAt;
    EXPECT_GT(AskedAt(number) - connected, 24'980);  // a float of this size holds steps of 8 ms
    EXPECT_LE(AskedAt(number) - connected, 26'020);
  }
  EXPECT_EQ(Output(), content.All());
}

TEST_F(TimeOuts, ConnectLaterSegmentsAtTheFirstTickThatFindsThemUnconnected) {
  program.settings.MaxSegments = 8;
  Serve("/a.bin", 800000);
  Wire(1, 20000);
  Start("http://o.example/a.bin");
  sim.RunFor(1'020);
  // The probe, five by the spacing, three by the watch.
  EXPECT_EQ(sim.network().Log().size(), 9U);
  for (int i = 1; i <= 8; ++i) EXPECT_GE(Segment(i).State, kSegmentRequested) << i;
}

TEST_F(TimeOuts, NeverReconnectASegmentThatHasReceivedData) {
  Serve("/a.bin", 5000);
  origin.OnConnection(2, Hang(10));
  Start("http://o.example/a.bin");
  sim.RunFor(3'600'000);
  EXPECT_EQ(sim.network().Log().size(), 2U);
  EXPECT_EQ(Segment(1).State, kSegmentReceiving);
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilFinished());
}

TEST_F(TimeOuts, TickWithoutEffectDuringAPause) {
  Serve("/a.bin", 200000);
  origin.Always(Mute());
  origin.OnConnection(1, HttpFault{});
  Start("http://o.example/a.bin");
  sim.RunFor(3'000);
  Pause();
  const DownloadRecord paused = Record();
  const std::uint64_t events = sim.loop().Events();
  sim.RunFor(120'000);
  EXPECT_GE(sim.loop().Events() - events, 120U);
  EXPECT_TRUE(Record() == paused);
  EXPECT_EQ(sim.network().Open(), 0);
}

TEST_F(TimeOuts, RetryForAsLongAsTheWindowExists) {
  Serve("/a.bin", 5000);
  HttpFault refused;
  refused.wire.refuse = true;
  origin.Always(refused);
  origin.OnConnection(1, HttpFault{});
  Start("http://o.example/a.bin");
  sim.RunFor(3'600'000);
  EXPECT_GE(sim.network().Log().size(), 3'600U / 21 + 1);
  EXPECT_LE(sim.network().Log().size(), 3'600U / 20 + 3);
  EXPECT_LE(sim.tasks().RunningTasks(), 1U);
  origin.NoFaults();
  ASSERT_TRUE(RunUntilFinished(1, 30'000));
}

TEST_F(TimeOuts, ReconnectAResumedSegmentThatIsRefused) {
  const SimContent content = Serve("/a.bin", 5000);
  origin.OnConnection(2, Hang(1000));
  HttpFault refused;
  refused.wire.refuse = true;
  origin.OnConnection(3, refused);
  Start("http://o.example/a.bin");
  sim.RunFor(3'000);
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 30'000)) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

// Ticks below 16777216 stand exactly in the float that holds the stamp.
class TimeOutsAtLowTicks : public TimeOuts {
 protected:
  TimeOutsAtLowTicks() : TimeOuts(SimOptions{.startTick = 0}) {}
};

TEST_F(TimeOutsAtLowTicks, IgnoreNewSegmentsBelowTwentySecondsOfTicks) {
  Serve("/a.bin", 20000);
  origin.Always(Unanswered());
  origin.OnConnection(1, HttpFault{});
  Start("http://o.example/a.bin");
  sim.RunFor(19'900);
  EXPECT_EQ(sim.network().Log().size(), 3U);
  sim.RunFor(3'000);
  EXPECT_EQ(sim.network().Log().size(), 5U);
}

TEST_F(TimeOutsAtLowTicks, ReconnectOnlyAfterMoreThanTwentySeconds) {
  Serve("/a.bin", 5000);
  origin.Always(Unanswered());
  HttpFault plain;
  plain.wire.latency = 5;
  origin.OnConnection(1, plain);
  Start("http://o.example/a.bin");
  sim.RunUntil([&] { return Record().SegmentCount == 1; }, 1'000);
  // The ticks of the watch come whole seconds after the plan: the twentieth exactly at 20000.
  const auto planned = static_cast<std::int64_t>(sim.Elapsed());
  EXPECT_EQ(Segment(1).LastActivity, static_cast<float>(planned));
  sim.RunFor(20'500);
  EXPECT_EQ(sim.network().Log().size(), 2U);
  sim.RunFor(1'000);
  ASSERT_EQ(sim.network().Log().size(), 3U);
  EXPECT_EQ(AskedAt(3) - planned, 21'000);
}

class TimeOutsNearTickWrap : public TimeOuts {
 protected:
  TimeOutsNearTickWrap() : TimeOuts(SimOptions{.startTick = kTickNearWrap}) {}
};

TEST_F(TimeOutsNearTickWrap, ReconnectASilentSegment) {
  const SimContent content = Serve("/a.bin", 5000);
  origin.OnConnection(2, Mute());
  origin.OnConnection(3, Unanswered());
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished(1, 60'000)) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

}  // namespace
}  // namespace pellora
