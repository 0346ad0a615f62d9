// What servers ask of downloads by the web engine: waits, fewer connections, another address, proof of the version.
#include <algorithm>
#include <set>

#include "WebRig.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";
const HttpValidators kFirst{.etag = "\"1\"", .modified = 1'700'000'000};
const HttpValidators kSecond{.etag = "\"2\"", .modified = 1'700'000'000};

class WebServers : public testing::Test, public WebRig {
 protected:
  WebServers() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {kFirst};
  }
  void ExpectTheFile() {
    ASSERT_TRUE(RunUntilFinished(1, 3'600'000)) << Web().reason << " " << sim.Replay();
    EXPECT_TRUE(sim.disk().Holds(kOutput, content));
    EXPECT_FALSE(Asks());
  }
  std::int64_t LastRequestAt() const { return origin.Requests().back().at; }
  int RequestsFor(std::string_view target) const {
    return static_cast<int>(std::count_if(origin.Requests().begin(), origin.Requests().end(),
                                          [&](const HttpRequest& request) { return request.target == target; }));
  }

  const SimContent content = SimContent::Generated(8'000'000, 7);
  SimHttpServer origin;
};

TEST_F(WebServers, RetryAfterBindsAllDownloadsOfTheHost) {
  origin.OnRequest(1, {.status = 503, .retryAfter = "40"});
  origin.File("/b.bin", content);
  Start(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return origin.Requests().size() == 1; }));
  const std::int64_t refusedAt = LastRequestAt();
  sim.RunFor(5000);
  Start("https://o.example/b.bin");
  sim.RunFor(1000);
  EXPECT_EQ(origin.Requests().size(), 1U);
  EXPECT_NE(Web(2).reason.find("asks for no further request before "), std::string::npos) << Web(2).reason;
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_GE(origin.Requests().at(1).at - refusedAt, 40'000);
  ExpectTheFile();
}

TEST_F(WebServers, ARetryAfterBeyondADayStopsTheDownloadAndNamesTheMoment) {
  origin.Always({.status = 429, .retryAfter = "90000"});
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_NE(Web().reason.find("asks for no further request before "), std::string::npos) << Web().reason;
  EXPECT_EQ(origin.Requests().size(), 1U);
}

TEST_F(WebServers, TenTriesWithoutAByteStopTheDownloadAndNameTheLastReason) {
  origin.Always({.status = 500});
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, "No data arrived in ten tries. The server refused the download with status 500.");
  EXPECT_EQ(origin.Requests().size(), 10U);
}

TEST_F(WebServers, ConnectionsThatTheServerRefusesAreNotAskedForByOtherDownloads) {
  origin.SetLimit({.most = 2});
  origin.Always({.wire = {.bytesPerSecond = 50'000}});
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(1'000'000));
  EXPECT_EQ(origin.Open(), 2);
  const auto window = WindowOf();
  EXPECT_EQ(window->StateS(2).Caption(), "Server refuses more connections");
  const int dialled = origin.Connections();
  sim.RunFor(10'000);
  EXPECT_EQ(origin.Connections(), dialled);
  ExpectTheFile();
}

TEST_F(WebServers, ALaneIsAddedOnceTheServerHasRoomAgain) {
  origin.SetLimit({.most = 2});
  origin.Always({.wire = {.bytesPerSecond = 5000}});
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(100'000));
  EXPECT_EQ(origin.Open(), 2);
  origin.SetLimit({});
  sim.RunFor(601'000);
  EXPECT_EQ(origin.Open(), 4);
}

TEST_F(WebServers, AnExpiredAddressOfARedirectIsReplacedByAskingTheGivenOne) {
  int given = 0;
  origin.Redirect("/go", "/signed/1");
  origin.File("/signed/1", content);
  origin.File("/signed/2", content);
  for (const char* const path : {"/signed/1", "/signed/2"}) origin.Traits(path).validators = {kFirst};
  origin.OnEach([&](const HttpRequest& request) -> std::optional<HttpFault> {
    if (request.target == "/go" && ++given == 2) origin.Redirect("/go", "/signed/2");
    if (request.target == "/signed/1" && given > 0 && request.number > 6) return HttpFault{.status = 403};
    return HttpFault{.wire = {.bytesPerSecond = 200'000}};
  });
  Start("https://o.example/go");
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  origin.Restart(3000);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/1", content) || sim.disk().Holds("/home/u/dl/1.bin", content))
      << Record().SavePath;
  EXPECT_GE(RequestsFor("/go"), 2);
  EXPECT_GE(RequestsFor("/signed/2"), 1);
}

TEST_F(WebServers, ALaneThatIsRefusedLeavesTheOthersFlowing) {
  origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    if (request.number == 3) return HttpFault{.status = 403};
    return std::nullopt;
  });
  Start(kUrl);
  ExpectTheFile();
  for (const HttpRequest& request : origin.Requests()) EXPECT_TRUE(request.Header("Range"));
}

// Of four connections the second ends after that many bytes, and the one after it sends nothing.
class WebLostLane : public WebServers {
 protected:
  void LoseAfter(std::uint64_t bytes) {
    const SimWire slow{.latency = 5, .bytesPerSecond = 1'000'000};
    origin.Always({.wire = slow});
    origin.OnConnection(2, {.wire = slow, .cutBody = bytes});
    origin.OnConnection(5, {.wire = slow, .cutBody = 0});
    Start(kUrl);
    EXPECT_TRUE(sim.RunUntil([&] { return origin.Requests().size() > 5; }));
  }
  // Milliseconds between the requests of those numbers.
  std::int64_t Between(std::size_t first, std::size_t second) {
    return origin.Requests().at(second - 1).at - origin.Requests().at(first - 1).at;
  }
};

TEST_F(WebLostLane, ThatHasFetchedAMebibyteIsReplacedAtOnceButTheNextWaits) {
  LoseAfter(1'100'000);
  EXPECT_GE(Between(2, 5), 1050);
  EXPECT_LE(Between(2, 5), 1300);
  EXPECT_GE(Between(5, 6), 750);
  ExpectTheFile();
}

TEST_F(WebLostLane, ThatHasFetchedLessWaits) {
  LoseAfter(900'000);
  EXPECT_GE(Between(2, 5), 850 + 750);
  ExpectTheFile();
}

TEST_F(WebServers, AServerThatIgnoresRangesIsAskedOnce) {
  origin.Always({.ignoreRange = true, .extraHeaders = "Accept-Ranges: none\r\n"});
  Start(kUrl);
  ExpectTheFile();
  EXPECT_LE(origin.Requests().size(), 2U);
}

TEST_F(WebServers, NodesThatDifferInTheirValidatorsAreComparedAndUsed) {
  origin.Traits("/a.bin").validators = {kFirst, kSecond};
  origin.Always({.wire = {.bytesPerSecond = 300'000}});
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(4'000'000));
  EXPECT_GE(origin.Open(), 3);
  ExpectTheFile();
}

TEST_F(WebServers, NodesWithOtherBytesAreLeftAlone) {
  SimHttpServer other;
  other.File("/a.bin", SimContent::Generated(8'000'000, 8));
  other.Traits("/a.bin").validators = {kSecond};
  other.Always({.wire = {.bytesPerSecond = 300'000}});
  origin.Always({.wire = {.bytesPerSecond = 300'000}});
  sim.network().Serve("10.0.0.1", 443, origin);
  sim.network().Serve("10.0.0.2", 443, other);
  sim.fetcher().SetAddresses("o.example", {"10.0.0.1", "10.0.0.2"});
  Start(kUrl);
  ExpectTheFile();
}

TEST_F(WebServers, AnAnswerWithoutTheValidatorOfTheFirstIsComparedFirst) {
  const SimContent wrong = SimContent::Generated(8'000'000, 9);
  origin.ChangeAfter(1, "/a.bin", wrong, {{}});
  origin.Always({.wire = {.bytesPerSecond = 300'000}});
  Start(kUrl);
  ExpectTheFile();  // from its first connection, which continues with the old version
}

TEST_F(WebServers, AFileThatChangesBeforeMuchOfItIsHeldBeginsAnewUnasked) {
  const SimContent now = SimContent::Generated(8'000'000, 8);
  origin.OnRequest(1, {.cutBody = 30'000});
  origin.ChangeAfter(1, "/a.bin", now, {kSecond});
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(sim.disk().Holds(kOutput, now));
  EXPECT_FALSE(Asks());
  sim.RunFor(10'000);
  EXPECT_EQ(InFolder(), std::vector<std::string>{"a.bin"});
}

TEST_F(WebServers, SilenceDoesNotCountWhileTheDiskHoldsAllBlocks) {
  sim.fetcher().SetPool(std::size_t{1} << 20, std::size_t{256} << 10);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(200'000));
  sim.background().SetMaxDelay(60'000);
  ExpectTheFile();
  EXPECT_LE(origin.Connections(), 5);
}

TEST_F(WebServers, ANameThatIsNotThereStopsTheDownload) {
  Start("https://nowhere.invalid/a.bin");
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_NE(Web().reason.find("There is no host named nowhere.invalid."), std::string::npos) << Web().reason;
}

TEST_F(WebServers, CookiesOfARedirectAreSentToTheSameOriginAlone) {
  SimHttpServer other(sim.network(), "other.example", 443);
  other.File("/a.bin", content);
  origin.Redirect("/login", "/a.bin");
  origin.Traits("/login").setCookies = {"session=1; Path=/", "old=1; Path=/; Max-Age=0"};
  origin.Traits("/a.bin").cookie = "session=1";
  origin.Redirect("/away", "https://other.example/a.bin");
  origin.Traits("/away").setCookies = {"session=2; Path=/"};
  Start("https://o.example/login");
  ExpectTheFile();
  Start("https://o.example/away");
  ASSERT_TRUE(RunUntilFinished(2));
  for (const HttpRequest& request : other.Requests()) EXPECT_FALSE(request.Header("Cookie"));
}

TEST_F(WebServers, OneLaneThatMustWaitContinuesAfterTheServersTime) {
  origin.OnEach([&](const HttpRequest& request) -> std::optional<HttpFault> {
    if (request.number == 2) return HttpFault{.status = 403};
    if (request.number == 3) return HttpFault{.status = 503, .thinkTime = 500, .retryAfter = "60"};
    return HttpFault{.wire = {.bytesPerSecond = 500'000}};
  });
  Start(kUrl);
  ExpectTheFile();
}

TEST_F(WebServers, AnUpgradeThatHttp2DoesNotSatisfyStopsTheDownloadWithItsStatus) {
  origin.Always({.status = 426});
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, "The server refused the download with status 426.");
  EXPECT_EQ(origin.Requests().size(), 2U);
}

TEST_F(WebServers, AServerThatSpeaksLikeAProxyIsNoProxy) {
  origin.Always({.status = 407});
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, "The server refused the download with status 407.");
  EXPECT_FALSE(Asks());
}

TEST_F(WebServers, ARetryAfterThatOverflowsStopsTheDownload) {
  origin.Always({.status = 503, .retryAfter = "9223372036854775807"});
  Start(kUrl);
  EXPECT_TRUE(RunUntilStopped());
}

TEST_F(WebServers, ComparedBytesDoNotEndTheCountOfTries) {
  origin.Always({.wire = {.bytesPerSecond = 300'000}});
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  Pause();
  sim.RunFor(1000);
  origin.Always({.ignoreRange = true, .cutBody = 500'000});
  Resume();
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_NE(Web().reason.find("ten tries"), std::string::npos) << Web().reason;
}

TEST_F(WebServers, PartThatIsMissingIsAskedAbout) {
  origin.Always({.wire = {.bytesPerSecond = 300'000}});
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  Pause();
  sim.RunFor(10'000);
  SimOptions options;
  options.disk = sim.disk().TakeState();
  WebRig next(std::move(options));
  SimHttpServer same(next.sim.network(), "o.example", 443);
  same.File("/a.bin", content);
  same.Traits("/a.bin").validators = {kFirst};
  next.Load();
  next.sim.disk().Delete("/home/u/dl/a.bin.part");
  next.Resume();
  ASSERT_TRUE(next.RunUntilAsked());
  EXPECT_EQ(next.Web().reason, "The unfinished file is missing, or another program has changed it.");
  EXPECT_TRUE(same.Requests().empty());
  next.Answer(true);
  ASSERT_TRUE(next.RunUntilFinished());
  EXPECT_TRUE(next.sim.disk().Holds(kOutput, content));
}

// Some bytes of a new version are written before the comparison meets the difference.
TEST_F(WebServers, BytesOfAComparisonThatFailsAreNotKept) {
  for (const bool lost : {false, true}) {
    WebRig rig;
    SimHttpServer server(rig.sim.network(), "o.example", 443);
    server.File("/a.bin", content);
    server.Traits("/a.bin").validators = {kFirst};
    server.Always({.wire = {.bytesPerSecond = 300'000}});
    rig.Start(kUrl);
    ASSERT_TRUE(rig.RunUntilReceived(3'000'000));  // with gaps between the lanes
    rig.Pause();
    rig.sim.RunFor(5000);
    rig.sim.fetcher().CloseKept();
    HttpFault other{.wire = {.bytesPerSecond = 300'000}, .ignoreRange = true, .swapAt = 900'000};
    other.swap = SimContent::Generated(8'000'000, 8);
    if (lost) other.cutBody = 1'500'000;
    server.Always(other);
    rig.Resume();
    if (lost) {
      rig.sim.RunFor(12'000);
      rig.Pause();
    } else {
      ASSERT_TRUE(rig.RunUntilAsked()) << rig.Web().reason;
      rig.Answer(false);
    }
    server.NoFaults();
    rig.Resume();
    ASSERT_TRUE(rig.RunUntilFinished()) << rig.Web().reason;
    EXPECT_TRUE(rig.sim.disk().Holds(kOutput, content)) << lost;
  }
}

}  // namespace
}  // namespace pellora
