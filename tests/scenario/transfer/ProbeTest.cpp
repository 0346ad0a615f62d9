// The probe over HTTP: what the first block of one reply decides.
#include <algorithm>

#include "TransferFixture.h"
#include "core/WireText.h"
#include "transfer/Requests.h"

namespace pellora {
namespace {

class Probe : public TransferFixture {
 protected:
  // Starts a download whose probe gets exactly this reply, in one block.
  void StartWithReply(const std::string& reply, const std::string& url = "http://o.example/a.bin") {
    HttpFault fault;
    fault.raw = reply;
    fault.wire.cut = SimCut::Whole;
    origin.OnConnection(1, fault);
    Start(url);
  }
  void ExpectRecordDropped() {
    EXPECT_FALSE(Record().InUse);
    EXPECT_EQ(Record().URL, "");
    EXPECT_TRUE(Record().Removed);
    EXPECT_FALSE(Record().Valid);
    EXPECT_EQ(WindowOf(), nullptr);
  }
};

TEST_F(Probe, PlansOneSegmentForASmallFile) {
  StartWithReply("HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: 5000\r\n\r\nPK");
  sim.RunUntil([&] { return Record().SegmentCount > 0; }, 10'000);
  EXPECT_EQ(Record().FileSize, 5000);
  EXPECT_EQ(Record().SegmentCount, 1);
  EXPECT_TRUE(Record().Active);
}

TEST_F(Probe, StartsTheSegmentsAfterClosingItsConnection) {
  Serve("/a.bin", 20000);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_GE(sim.network().Log()[0].closedAt, 0);
  EXPECT_LE(sim.network().Log()[0].closedAt, sim.network().Log()[1].askedAt);
}

TEST_F(Probe, SendsTheRefererAfterTheHost) {
  Serve("/a.bin", 100);
  Add("http://o.example/a.bin");
  Record().Referer = "http://r.example/page";
  StartListed(1);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(sim.network().Log()[0].received,
            "GET /a.bin HTTP/1.1\r\nAccept: *.*, */*\r\nConnection: Keep-Alive\r\nHost: o.example\r\n"
            "Referer: http://r.example/page\r\n\r\n\r\n");
  EXPECT_EQ(sim.network().Log()[1].received,
            "GET /a.bin HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: http://r.example/page\r\n"
            "Connection: Keep-Alive\r\nHost: o.example\r\nRange: bytes=0-99\r\n\r\n");
}

TEST_F(Probe, UsesTheProxyWhileTheSegmentsConnectDirectly) {
  const SimContent content = Serve("/a.bin", 20000);
  SimHttpServer proxy(sim.network(), "proxy.example", 3128);
  proxy.File("/a.bin", content);
  program.settings.ProxyHTTP = true;
  program.settings.ProxyServer = "proxy.example";
  program.settings.ProxyPort = 3128;
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(proxy.Requests().size(), 1U);
  EXPECT_EQ(proxy.Requests()[0].target, "http://o.example/a.bin");
  EXPECT_EQ(proxy.Requests()[0].Header("Host"), "o.example");
  ASSERT_EQ(origin.Requests().size(), 2U);
  for (const HttpRequest& request : origin.Requests()) EXPECT_EQ(request.target, "http://o.example/a.bin");
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Probe, FollowsARedirectOnTheOldPortWithTheOldUrlAsReferer) {
  SimHttpServer first(sim.network(), "a.example", 8080);
  SimHttpServer second(sim.network(), "b.example", 8080);
  first.Redirect("/get", "http://b.example/x/y.exe");
  const SimContent content = SimContent::Generated(7000);
  second.File("/x/y.exe", content);
  Start("http://a.example:8080/get");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(second.Requests()[0].Header("Referer"), "http://a.example:8080/get");
  EXPECT_EQ(Record().URL, "http://b.example/x/y.exe");
  EXPECT_EQ(Record().Port, 8080);
  EXPECT_EQ(Record().SavePath, "/home/u/dl/y.exe");
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Probe, ReadsARelativeLocationAsAHostWithoutItsFirstCharacter) {
  origin.Redirect("/get", "/o.example/b.bin");
  Serve("/b.bin", 100);
  Start("http://o.example/get");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Record().Host, "o.example");
  EXPECT_EQ(Record().SavePath, "/home/u/dl/b.bin");
}

TEST_F(Probe, AcceptsARedirectToABareHostWithAnEmptyName) {
  origin.Redirect("/get", "http://p.example");
  SimHttpServer other(sim.network(), "p.example");
  other.File("/", SimContent::Generated(100));
  Start("http://o.example/get");
  sim.RunUntil([&] { return Record().SegmentCount > 0; }, 10'000);
  EXPECT_EQ(Record().Path, "/");
  EXPECT_EQ(Record().FileName, "");
  EXPECT_EQ(Segment(1).TempFile, "/home/u/tmp/001.tmp");
  // The output would be the folder itself: the build says so and gives up.
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_NE(sim.dialogs().Next().text.find("/home/u/dl/"), std::string::npos);
  EXPECT_FALSE(Record().Finished);
}

TEST_F(Probe, TimesOutAfterARedirectWithoutALocation) {
  StartWithReply("HTTP/1.1 304 Not Modified\r\n\r\n");
  sim.RunFor(5000);
  EXPECT_EQ(Record().Host, "");
  EXPECT_EQ(origin.Connections(), 1);
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(sim.dialogs().Next().text, "text523");
}

TEST_F(Probe, GivesEachRedirectTheFullTimeToConnect) {
  origin.Redirect("/get", "http://slow.example/b.bin");
  SimHttpServer slow(sim.network(), "slow.example");
  slow.File("/b.bin", SimContent::Generated(100));
  HttpFault late;
  late.wire.connectDelay = 9000;
  slow.OnConnection(1, late);
  origin.OnConnection(1, late);
  Start("http://o.example/get");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Probe, NeedsNoMoreMemoryForTenThousandRedirectsThanForOne) {
  origin.Redirect("/a", "http://o.example/b");
  origin.Redirect("/b", "http://o.example/a");
  Wire(0, 0);
  Start("http://o.example/a");
  std::size_t mostTasks = 0;
  ASSERT_TRUE(sim.RunUntil([&] {
    mostTasks = std::max(mostTasks, sim.tasks().RunningTasks());
    return origin.Requests().size() >= 10000;
  }));
  EXPECT_LE(mostTasks, 2U);
  EXPECT_LE(sim.network().MostOpen(), 1);
  EXPECT_EQ(sim.windows().Count("TransferWindow"), 1U);
  Click(WindowOf()->Command2);
  EXPECT_TRUE(sim.RunUntilIdle(10'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Probe, RefusesEveryNameIfTheForbiddenTextIsEmpty) {
  program.LangStrings[951] = "";
  Serve("/a.bin", 100);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(sim.dialogs().Next().text, "Bad URL or File");
  Answer(kAnswerOk);
  ExpectRecordDropped();
}

TEST_F(Probe, RefusesANameWithAQueryAfterTheReply) {
  Serve("/get.php?id=4", 100);
  Start("http://o.example/get.php?id=4");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(origin.Requests().size(), 1U);
  EXPECT_EQ(sim.dialogs().Next().text, "Bad URL or File");
  Answer(kAnswerOk);
  ExpectRecordDropped();
  EXPECT_EQ(Record().FileName, "get.php?id=4");
  EXPECT_EQ(Record().RestState, "");
  EXPECT_TRUE(sim.RunUntilIdle(10'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Probe, ReportsAMissingFileAndDropsTheRecordWithoutAsking) {
  Start("http://o.example/none.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(sim.dialogs().Next().text, "text531 /none.bin text530");
  EXPECT_EQ(sim.dialogs().Next().style, kCritical);
  Answer(kAnswerOk);
  ExpectRecordDropped();
  EXPECT_EQ(Record().FileName, "");
  EXPECT_EQ(Record().RestState, "1");
  EXPECT_TRUE(sim.RunUntilIdle(10'000));
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Probe, AsksAboutTheWebPageOfAServerErrorToo) {
  origin.Page("/a.bin", 503, "text/html", "<html>busy</html>");
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(sim.dialogs().Next().text, "text535 (503)");
  Answer(kAnswerOk);
  EXPECT_EQ(Record().FileName, "");
  EXPECT_TRUE(Record().Active);
  EXPECT_EQ(sim.windows().Count("TransferWindow"), 0U);
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  EXPECT_EQ(sim.dialogs().Next().text, "text536");
  Answer(kAnswerYes);
  EXPECT_TRUE(sim.shell().urls.empty());  // its URL has just been cleared
  ExpectRecordDropped();
  EXPECT_TRUE(sim.RunUntilIdle(10'000));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Probe, BuildsNothingAfterAServerErrorOfAnotherType) {
  origin.Page("/a.bin", 500, "text/plain", "error page");
  origin.OnConnection(2, HttpFault{});
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilABoxStands());
  Answer(kAnswerOk);
  sim.RunUntil([&] { return origin.Requests().size() == 2; }, 10'000);
  EXPECT_EQ(Record().FileSize, 10);
  EXPECT_TRUE(sim.RunUntilIdle(10'000));
  EXPECT_FALSE(Record().Finished);
  EXPECT_FALSE(Record().InUse);
  EXPECT_EQ(sim.disk().Paths(), std::vector<std::string>{"/home/u/tmp/001.tmp"});
  EXPECT_TRUE(NothingRuns());
}

TEST_F(Probe, TreatsAnIntermediateReplyAsSuccessWithItsSize) {
  StartWithReply("HTTP/1.1 100 Continue\r\nContent-Length: 12345\r\n\r\n");
  sim.RunUntil([&] { return Record().SegmentCount > 0; }, 10'000);
  EXPECT_EQ(Record().FileSize, 12345);
  EXPECT_EQ(Record().SegmentCount, 2);
}

TEST_F(Probe, AsksAboutAWebPageOnlyForTheExactType) {
  for (const int answer : {kAnswerYes, kAnswerNo}) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.Page("/p.htm", 200, "text/html", "<html></html>");
    rig.Start("http://o.example/p.htm");
    ASSERT_TRUE(rig.RunUntilABoxStands());
    EXPECT_EQ(rig.sim.dialogs().Next().text, "text536");
    EXPECT_EQ(rig.sim.dialogs().Next().title, "Pellora!");
    EXPECT_EQ(rig.sim.dialogs().Next().style, kYesNo | kQuestion);
    rig.Answer(answer);
    const std::vector<std::string> opened{"http://o.example/p.htm"};
    EXPECT_EQ(rig.sim.shell().urls, answer == kAnswerYes ? opened : std::vector<std::string>());
    EXPECT_FALSE(rig.Record().InUse);
    EXPECT_EQ(rig.Record().FileName, "p.htm");
    EXPECT_EQ(rig.Record().RestState, "");
    EXPECT_TRUE(rig.sim.RunUntilIdle(10'000));
    EXPECT_TRUE(rig.NothingRuns());
  }
  origin.Page("/p.htm", 200, "text/html; charset=utf-8", "<html></html>");
  Start("http://o.example/p.htm");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), "<html></html>");
}

TEST_F(Probe, WritesNothingOutsideTheTwoFoldersForHostileHeaders) {
  const std::string longName(300, 'n');
  const std::vector<std::string> replies = {
      std::string(300000, 'x'),
      "HTTP/1.1 200 OK\r\n" + std::string(300000, 'x'),
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/" + std::string(1U << 20, 'y') + "\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/" + longName + "\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/..\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/.\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/a\tb\x01\n\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/..%2f..%2fx\r\n\r\n",
      "HTTP/1.1 302 Found\r\nLocation: http://o.example/..\\x\r\n\r\n",
      std::string("HTTP/1.1 302 Found\r\nLocation: http://o.example/a\0b\r\n\r\n", 53),
      ""};
  for (const std::string& reply : replies) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    const SimContent content = SimContent::Generated(20000);
    server.File("/a.bin", content);
    for (const std::string& name :
         {longName, std::string(".."), std::string("."), std::string("a%09b%01%0A"), std::string("..%2f..%2fx")}) {
      server.File("/" + name, content);
    }
    HttpFault fault;
    fault.raw = reply;
    fault.wire.cut = SimCut::Whole;
    if (reply.empty()) fault.halfClose = true;
    server.OnConnection(1, fault);
    rig.sim.dialogs().AutoAnswer("text523", kAnswerNo);
    rig.sim.dialogs().AutoAnswer("", kAnswerOk, 1000);
    rig.Start("http://o.example/a.bin");
    rig.sim.RunFor(60'000);
    EXPECT_FALSE(rig.sim.Ended()) << reply.substr(0, 80);
    for (const std::string& path : rig.sim.disk().Paths()) {
      const bool inside = path.rfind("/home/u/dl/", 0) == 0 || path.rfind("/home/u/tmp/", 0) == 0;
      EXPECT_TRUE(inside || path == "/prog/Pellora.dat") << path;
    }
    EXPECT_LE(rig.sim.tasks().RunningTasks(), 2U) << reply.substr(0, 80);
  }
}

TEST_F(Probe, RefusesANameTooLongForItsPartFiles) {
  for (const auto& [length, fits] : {std::pair<std::size_t, bool>{248, true}, {249, false}}) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    const std::string name(length, 'n');
    server.File("/" + name, SimContent::Generated(20000));
    rig.Start("http://o.example/" + name);
    if (fits) {
      EXPECT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
    } else {
      ASSERT_TRUE(rig.RunUntilABoxStands());
      EXPECT_EQ(rig.sim.dialogs().Next().text, "Bad URL or File");
    }
  }
}

TEST_F(Probe, RefusesALocationWhoseNameTheDiskCannotHold) {
  for (const std::string& name : {std::string(300, 'n') + ".bin", std::string(249, 'n'), std::string("a\0b.bin", 7)}) {
    SCOPED_TRACE(name.size());
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File(WireText("/" + name), SimContent::Generated(20000));
    server.Redirect("/get", "http://o.example/" + name);
    rig.Start("http://o.example/get");
    ASSERT_TRUE(rig.RunUntilABoxStands());
    EXPECT_EQ(rig.sim.dialogs().Next().text, "Bad URL or File");
    rig.Answer(kAnswerOk);
    EXPECT_FALSE(rig.Record().InUse);
    rig.sim.RunFor(30'000);
    EXPECT_FALSE(rig.sim.Ended());
    EXPECT_TRUE(rig.NothingRuns());
    EXPECT_TRUE(rig.sim.disk().Made().empty());
  }
}

TEST_F(Probe, PlansNoFileOfAFalseContentLength) {
  struct Case {
    std::string header;
    std::int32_t size;
  };
  const std::vector<Case> cases = {{"", 0},
                                   {"Content-Length: -1\r\n", 0},
                                   {"Content-Length: 500\r\nContent-Length: 700\r\n", 700},
                                   {"Content-Length: 2147483646\r\n", 2147483646},
                                   {"Content-Length: 2147483648\r\n", 0},
                                   {"Content-Length: 3000000000\r\n", 0},
                                   {"Content-Length: 99999999999999999999\r\n", 0},
                                   {"Content-Length: abc\r\n", 0}};
  for (const Case& one : cases) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    HttpFault fault;
    fault.raw = "HTTP/1.1 200 OK\r\n" + one.header + "\r\n";
    server.Always(fault);
    rig.Start("http://o.example/a.bin");
    rig.sim.RunUntil([&] { return rig.Record().SegmentCount > 0; }, 10'000);
    EXPECT_EQ(rig.Record().FileSize, one.size) << one.header;
    if (one.size > 0) continue;
    EXPECT_EQ(rig.Record().SegmentCount, 1) << one.header;
    // No file of a false length: the user is told at the first block.
    ASSERT_TRUE(rig.RunUntilABoxStands()) << one.header;
    EXPECT_EQ(rig.sim.dialogs().Next().text, "Error !");
    EXPECT_FALSE(rig.Record().Finished);
  }
}

TEST_F(Probe, WaitsForPauseAndResumeIfClosedWithoutAReply) {
  const SimContent content = Serve("/a.bin", 100);
  HttpFault silent;
  silent.halfClose = true;
  origin.OnConnection(1, silent);
  Start("http://o.example/a.bin");
  sim.RunFor(600'000);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
  EXPECT_EQ(origin.Connections(), 1);
  EXPECT_FALSE(Record().Finished);
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_EQ(Output(), content.All());
}

TEST_F(Probe, PlansNothingIfNoSegmentIsAllowed) {
  Serve("/a.bin", 200000);
  for (const std::int32_t most : {0, -5}) {
    program.settings.MaxSegments = most;
    const std::int16_t index = Start("http://o.example/a.bin");
    sim.RunFor(30'000);
    EXPECT_EQ(Record(index).SegmentCount, 0);
    EXPECT_EQ(Record(index).Segments.size(), 1U);
    EXPECT_EQ(sim.network().Open(), 0);
  }
  EXPECT_FALSE(sim.Ended());
}

}  // namespace
}  // namespace pellora
