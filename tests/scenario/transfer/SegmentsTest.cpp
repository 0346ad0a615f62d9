// Plan, spaced connections and the data path of the segments.
#include <limits>
#include <string>
#include <vector>

#include "TransferFixture.h"
#include "core/EngineChoice.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

class Segments : public TransferFixture {
 protected:
  std::vector<std::string> Ranges() {
    std::vector<std::string> ranges;
    for (const HttpRequest& request : origin.Requests()) {
      if (const auto range = request.Header("Range")) ranges.push_back(*range);
    }
    return ranges;
  }
  // 300,000 bytes at /a.bin, slowly and without a word of their number.
  void ServeWithoutLength() {
    Serve("/a.bin", 300000);
    HttpFault unknown;
    unknown.length = HttpLength::Missing;
    unknown.ignoreRange = true;
    unknown.wire.bytesPerSecond = 50000;
    origin.Always(unknown);
  }
};

TEST_F(Segments, RequestRangesBySizeAndLargestNumberAllowed) {
  struct Case {
    std::uint64_t size;
    std::int32_t most;
    std::vector<std::string> ranges;
  };
  const std::vector<Case> cases = {
      {9999, 4, {"bytes=0-9998"}},
      {10000, 4, {"bytes=0-4999", "bytes=5000-9999"}},
      {99999, 8, {"bytes=0-49999", "bytes=50000-99998"}},
      {100000, 4, {"bytes=0-24999", "bytes=25000-49999", "bytes=50000-74999", "bytes=75000-99999"}},
      {100001, 3, {"bytes=0-33334", "bytes=33335-66667", "bytes=66668-100000"}},
      {100001, 1, {"bytes=0-100000"}},
      {1, 8, {"bytes=0-0"}}};
  for (const Case& one : cases) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    const SimContent content = SimContent::Generated(one.size);
    server.File("/a.zip", content);
    rig.program.settings.MaxSegments = one.most;
    rig.Start("http://o.example/a.zip");
    ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
    std::vector<std::string> ranges;
    for (const HttpRequest& request : server.Requests()) {
      if (const auto range = request.Header("Range")) ranges.push_back(*range);
    }
    EXPECT_EQ(ranges, one.ranges) << one.size;
    EXPECT_EQ(rig.Output(), content.All());
    EXPECT_EQ(rig.Broken(), "");
  }
}

TEST_F(Segments, NamePartFilesByFileAndNumber) {
  Serve("/a.zip", 20000);
  Start("http://o.example/a.zip");
  sim.RunUntil([&] { return Record().SegmentCount == 2; }, 10'000);
  EXPECT_EQ(Segment(1).TempFile, "/home/u/tmp/a.zip001.tmp");
  EXPECT_EQ(Segment(2).TempFile, "/home/u/tmp/a.zip002.tmp");
}

TEST_F(Segments, ConnectAtLeast200MillisecondsApart) {
  program.settings.MaxSegments = 4;
  Serve("/a.bin", 400000);
  Wire(10, 50000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const auto& log = sim.network().Log();
  ASSERT_EQ(log.size(), 5U);
  for (std::size_t i = 2; i < 5; ++i) {
    EXPECT_GT(log[i].askedAt - log[i - 1].askedAt, 200);
    EXPECT_LE(log[i].askedAt - log[i - 1].askedAt, 212);
  }
}

TEST_F(Segments, AreSilentlyWrongAfterTheFirstIfTheServerIgnoresRanges) {
  const SimContent content = Serve("/a.bin", 20000);
  HttpFault whole;
  whole.ignoreRange = true;
  origin.Always(whole);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.Bytes(0, 10000) + content.Bytes(0, 10000));
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Segments, KeepErrorRepliesWithTheirHeaders) {
  Serve("/a.bin", 5000);
  HttpFault refused;
  refused.raw = "HTTP/1.1 503 Busy\r\n\r\nno";
  origin.OnConnection(2, refused);
  Start("http://o.example/a.bin");
  sim.RunFor(5000);
  EXPECT_EQ(sim.disk().Get("/home/u/tmp/a.bin001.tmp"), refused.raw);
  EXPECT_EQ(Segment(1).State, kSegmentReceiving);
}

TEST_F(Segments, LoseThreeCharactersIfTheHeaderArrivesInTwoBlocks) {
  Serve("/a.bin", 5000);
  HttpFault split;
  split.raw = "HTTP/1.1 206 Partial Content\r\nX: y\r\n\r\nbody";
  split.wire.cut = SimCut::Whole;
  split.wire.splitAt = {30};
  origin.OnConnection(2, split);
  Start("http://o.example/a.bin");
  sim.RunFor(5000);
  EXPECT_EQ(sim.disk().Get("/home/u/tmp/a.bin001.tmp"), split.raw.substr(3));
}

TEST_F(Segments, ReportAnErrorAtEachBlockOfAFileOfUnknownSize) {
  ServeWithoutLength();
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(Ranges(), std::vector<std::string>{"bytes=0--1"});
  EXPECT_EQ(sim.dialogs().Next().text, "Error !");
  EXPECT_EQ(sim.dialogs().Next().style, kOkOnly);
  const std::int32_t first = Segment(1).ReceivedNow;
  EXPECT_GT(first, 0);
  EXPECT_EQ(Record().Received, 0);
  sim.RunFor(3'600'000);
  EXPECT_EQ(Segment(1).ReceivedNow, first);
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
  Answer(kAnswerOk);
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_GT(Segment(1).ReceivedNow, first);
  EXPECT_EQ(sim.dialogs().MostOpen(), 1U);
  Answer(kAnswerOk);
  Click(WindowOf()->Command2);
  EXPECT_TRUE(sim.RunUntilIdle(60'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Segments, PauseAFileOfUnknownSizeWhereNobodySeesItsError) {
  program.headless = true;
  ServeWithoutLength();
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  const std::int32_t first = Segment(1).ReceivedNow;
  Answer(kAnswerOk);
  sim.RunFor(60'000);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  EXPECT_EQ(sim.disk().Get("/home/u/tmp/a.bin001.tmp").size(), static_cast<std::size_t>(first));
  EXPECT_NE(ReasonForScripts(program, 1).find("length"), std::string::npos);
}

TEST_F(Segments, StopTheirDownloadAloneWhereNobodySeesTheProgramEnd) {
  program.headless = true;
  const SimContent content = Serve("/a.bin", 20000);
  sim.disk().FailWhere([](DiskCall call, const std::string& path) {
    return call == DiskCall::Open && path == "/home/u/tmp/a.bin001.tmp";
  });
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  Answer(kAnswerOk);
  sim.RunFor(1000);
  EXPECT_FALSE(program.Ending());
  EXPECT_TRUE(Record().Paused);
  EXPECT_NE(ReasonForScripts(program, 1).find("/home/u/tmp/a.bin001.tmp"), std::string::npos);
  sim.disk().FailWhere([](DiskCall, const std::string&) { return false; });
  Resume();
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
}

TEST_F(Segments, NeverReconnectOnceComplete) {
  const SimContent content = Serve("/a.bin", 20000);
  origin.OnConnection(3, Hang(100));
  Start("http://o.example/a.bin");
  sim.RunUntil([&] { return Record().Received == 10100; }, 10'000);
  Pause();
  EXPECT_EQ(Segment(1).State, kSegmentComplete);
  origin.OnConnection(4, Hang(100));
  Resume();
  sim.RunFor(5000);
  Click(WindowOf()->Command2);
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const std::vector<std::string> expected = {"bytes=0-9999", "bytes=10000-19999", "bytes=10100-19999",
                                             "bytes=10200-19999"};
  EXPECT_EQ(Ranges(), expected);
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Segments, KeepTheirPlanIfTheServerNamesAnotherSizeAtARestart) {
  const SimContent content = Serve("/a.bin", 20000);
  origin.Always(Hang(100));
  Start("http://o.example/a.bin");
  sim.RunFor(5000);
  Click(WindowOf()->Command2);
  for (const HttpLength length : {HttpLength::Wrong, HttpLength::Missing}) {
    HttpFault other;
    other.length = length;
    other.wrongLength = 500000;
    origin.NoFaults();
    origin.OnConnection(origin.Connections() + 1, other);
    origin.OnConnection(origin.Connections() + 2, Hang(100));
    origin.OnConnection(origin.Connections() + 3, Hang(100));
    StartListed(1);
    sim.RunFor(5000);
    EXPECT_EQ(Record().SegmentCount, 2);
    EXPECT_EQ(Record().FileSize, length == HttpLength::Wrong ? 500000 : 20000);
    EXPECT_EQ(Broken(), "");
    Click(WindowOf()->Command2);
  }
  origin.NoFaults();
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Segments, ReuseNothingFromADamagedRecordInAFreshPlan) {
  const SimContent content = Serve("/a.bin", 20000);
  Add("http://o.example/a.bin");
  Record().Segments.resize(3);
  Record().Segment(1).ReceivedTotal = 700;
  Record().Segment(2).ReceivedNow = 300;
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Segments, NeverShareAPartFileBetweenTwoRecords) {
  const SimContent one = Serve("/x/a.bin", 200000, 1);
  const SimContent two = Serve("/y/a.bin", 150000, 2);
  Wire(10, 20000);
  Start("http://o.example/x/a.bin");
  sim.RunFor(1000);
  Start("http://o.example/y/a.bin");
  sim.RunFor(1000);
  Record(1).HasSavePath = true;
  Record(1).SavePath = "/home/u/dl/one.bin";
  EXPECT_EQ(Segment(1, 1).TempFile, "/home/u/tmp/a.bin001.tmp");
  EXPECT_EQ(Segment(1, 2).TempFile, "/home/u/tmp/a.bin2001.tmp");
  ASSERT_TRUE(RunUntilFinished(1));
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(Output(1), one.All());
  EXPECT_EQ(Output(2), two.All());
}

TEST_F(Segments, FindAPartFileNameIfTheNumberedOneIsTakenToo) {
  const SimContent one = Serve("/x/a.bin", 200000, 1);
  const SimContent two = Serve("/a.bin3", 200000, 2);
  const SimContent three = Serve("/y/a.bin", 150000, 3);
  Wire(10, 20000);
  for (const char* const path : {"x/a.bin", "a.bin3", "y/a.bin"}) {
    Start(std::string("http://o.example/") + path);
    sim.RunFor(1000);
  }
  Record(1).HasSavePath = true;
  Record(1).SavePath = "/home/u/dl/one.bin";
  EXPECT_EQ(Segment(1, 1).TempFile, "/home/u/tmp/a.bin001.tmp");
  EXPECT_EQ(Segment(1, 2).TempFile, "/home/u/tmp/a.bin3001.tmp");
  EXPECT_EQ(Segment(1, 3).TempFile, "/home/u/tmp/a.bin3-1001.tmp");
  for (int i = 1; i <= 3; ++i) ASSERT_TRUE(RunUntilFinished(i)) << i;
  EXPECT_EQ(Output(1), one.All());
  EXPECT_EQ(Output(2), two.All());
  EXPECT_EQ(Output(3), three.All());
}

TEST_F(Segments, AvoidThePartFilesOfADroppedRecordThatStillWrites) {
  const SimContent content = Serve("/a.bin", 200000);
  Wire(10, 5000);
  Start("http://o.example/a.bin");
  sim.RunFor(5000);
  Click(WindowOf()->Command2);
  HttpFault busy;
  busy.status = 503;
  busy.contentType = "text/plain";
  origin.OnConnection(origin.Connections() + 1, busy);
  sim.dialogs().AutoAnswer("", kAnswerOk);
  StartListed(1);
  sim.RunFor(5000);
  EXPECT_FALSE(Record(1).InUse);
  EXPECT_GT(sim.network().Open(), 0);  // it goes on with its plan, for nobody
  Wire(10, 100000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished(2)) << sim.Replay();
  EXPECT_NE(Segment(1, 1).TempFile, Segment(1, 2).TempFile);
  EXPECT_EQ(Output(2), content.All());
}

TEST_F(Segments, AvoidFinishedFilesInTheSameFolderAsPartFiles) {
  program.settings.DownloadFolder = program.settings.TempFolder;
  const SimContent odd = Serve("/a.bin001.tmp", 20000, 1);
  const SimContent content = Serve("/a.bin", 20000, 2);
  Start("http://o.example/a.bin001.tmp");
  ASSERT_TRUE(RunUntilFinished(1));
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_EQ(Output(2), content.All());
  EXPECT_EQ(Output(1), odd.All());
}

TEST_F(Segments, NeverUseTheOutputFileAsAPartFile) {
  const SimContent content = Serve("/a.bin", 20000);
  Wire(10, 20000);
  Start("http://o.example/a.bin");
  Record().HasSavePath = true;
  Record().SavePath = "/home/u/tmp/a.bin002.tmp";
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Segments, TouchNoPartFileThatMayBelongToAnUnreadableList) {
  const SimContent content = Serve("/a.bin", 20000);
  program.listLoaded = false;
  sim.disk().Put("/home/u/tmp/a.bin002.tmp", "another record's bytes");
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(sim.disk().Get("/home/u/tmp/a.bin002.tmp"), "another record's bytes");
}

// The list on the disk may count on what stands in them, by the ranges of a former plan.
TEST_F(Segments, WriteToPartFilesOfAnEarlierPlanOnlyOnceTheListIsSaved) {
  const SimContent content = Serve("/a.bin", 20000);
  sim.disk().Put("/home/u/tmp/a.bin002.tmp", "a former plan's bytes");
  std::vector<std::string> opened;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    if (call == DiskCall::Open) opened.push_back(path);
    return false;
  });
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), content.All());
  ASSERT_FALSE(opened.empty());
  EXPECT_EQ(opened.front(), ListPath(program));
}

TEST_F(Segments, TouchNoPartFileOfAnEarlierPlanIfTheListCannotBeSaved) {
  const SimContent content = Serve("/a.bin", 20000);
  sim.disk().Put("/home/u/tmp/a.bin002.tmp", "a former plan's bytes");
  sim.disk().FailWhere([&](DiskCall, const std::string& path) { return path == ListPath(program); });
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(sim.disk().Get("/home/u/tmp/a.bin002.tmp"), "a former plan's bytes");
}

TEST_F(Segments, ReopenTheirPartFilesAboutOnceASecond) {
  program.settings.MaxSegments = 1;
  Serve("/a.bin", 100000);
  Wire(10, 10000);
  int opened = 0;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    opened += call == DiskCall::Open && path == "/home/u/tmp/a.bin001.tmp" ? 1 : 0;
    return false;
  });
  Start("http://o.example/a.bin");
  sim.RunUntil([&] { return Record().Received == 100000; });
  // A block each 100 ms for 10 s: opened at the first, then with each eleventh.
  EXPECT_GE(opened, 8);
  EXPECT_LE(opened, 11);
}

TEST_F(Segments, HideUnusedRowsButNotTheirBars) {
  Serve("/a.bin", 20000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  for (int j = 0; j < 8; ++j) {
    const auto window = WindowOf();
    EXPECT_EQ(window->StateS(j).Visible(), j < 2);
    EXPECT_EQ(window->Shape1(j).Visible(), j < 2);
    EXPECT_EQ(window->Size(j).Visible(), j < 2);
    EXPECT_EQ(window->Num(j).Visible(), j < 2);
    EXPECT_TRUE(window->Prog(j).Visible());
  }
}

TEST_F(Segments, SpacedOverMidnightWaitUntilTheClockPassesTheirStartAgain) {
  const SimContent content = Serve("/a.bin", 200000);
  Wire(5, 0);
  sim.SetTimeOfDay(86399.95);
  Start("http://o.example/a.bin");
  // The stall watch connects the others meanwhile, so the file itself does not wait.
  ASSERT_TRUE(RunUntilFinished(1, 10'000)) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
  sim.RunFor(600'000);
  EXPECT_TRUE(WindowOf()->Num(7).Visible());  // the rest of the loop has not run yet
  sim.SetTimeOfDay(86399.94);
  sim.RunFor(20);
  EXPECT_TRUE(WindowOf()->Num(7).Visible());
  sim.RunFor(80);
  EXPECT_FALSE(WindowOf()->Num(7).Visible());
}

TEST_F(Segments, SpacedBeforeMidnightDoNotWaitForTheNextDay) {
  Serve("/a.bin", 20000);
  Wire(5, 10000);
  sim.SetTimeOfDay(86399.5);
  Start("http://o.example/a.bin");
  sim.RunFor(300);
  EXPECT_EQ(sim.network().Log().size(), 3U);
}

TEST_F(Segments, SpacedByAClockSetBackDoNotWaitForTheNextDay) {
  Serve("/a.bin", 20000);
  Wire(5, 10000);
  Start("http://o.example/a.bin");
  sim.RunFor(100);
  sim.SetTimeOfDay(60);
  sim.RunFor(200);
  EXPECT_EQ(sim.network().Log().size(), 3U);
}

TEST_F(Segments, ContinueAtOnceAfterPauseAndResumeOverMidnight) {
  const SimContent content = Serve("/a.bin", 200000);
  Wire(5, 0);
  sim.SetTimeOfDay(86399.95);
  Start("http://o.example/a.bin");
  sim.RunFor(400);
  Pause();
  EXPECT_TRUE(sim.RunUntil([&] { return WindowOf()->Command3.Enabled(); }, 1000));
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 10'000)) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Segments, CompleteAtAnyTickCount) {
  for (const std::uint32_t tick : {0U, 5000U, kTickNearSign, kTickNearWrap, 0U - 1000U}) {
    TransferRig rig(SimOptions{.startTick = tick});
    SimHttpServer server(rig.sim.network(), "o.example");
    const SimContent content = SimContent::Generated(1200000);
    server.File("/a.bin", content);
    HttpFault slow;
    slow.wire.bytesPerSecond = 20000;
    slow.wire.latency = 40;
    server.Always(slow);
    HttpFault silent = slow;
    silent.wire.hangAfterAccept = true;
    server.OnConnection(3, silent);
    rig.program.settings.MaxSegments = 8;
    rig.Start("http://o.example/a.bin");
    ASSERT_TRUE(rig.RunUntilFinished(1, 120'000)) << tick;
    EXPECT_EQ(rig.Output(), content.All()) << tick;
    EXPECT_LT(rig.Record().ElapsedSeconds, 120) << tick;
    EXPECT_GT(rig.Record().ElapsedSeconds, 5) << tick;
  }
}

}  // namespace
}  // namespace pellora
