// Downloads that have mirrors.
#include <algorithm>

#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kMirror = "https://m.example/pub/b.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";
constexpr std::int64_t kLength = 8'000'000;

class WebMirror : public testing::Test, public WebRig {
 protected:
  WebMirror() : origin(sim.network(), "o.example", 443), mirror(sim.network(), "m.example", 443) {
    Serve(origin, "/a.bin", content, "\"1\"");
    Serve(mirror, "/pub/b.bin", content, "\"m\"");
  }
  static void Serve(SimHttpServer& server, const std::string& path, const SimContent& bytes, const std::string& etag) {
    server.File(path, bytes);
    server.Traits(path).validators = {{.etag = etag, .modified = 1'700'000'000}};
    server.Always({.wire = {.bytesPerSecond = 300'000}});
  }
  static WebAdd With(const std::vector<std::string>& urls) {
    WebAdd add;
    for (const std::string& url : urls) add.mirrors.push_back({url, kLastPriority, "", ""});
    return add;
  }
  void ExpectTheFile(WebRig& rig) {
    ASSERT_TRUE(rig.RunUntilFinished(1, 3'600'000)) << rig.Web().reason << " " << rig.sim.Replay();
    EXPECT_TRUE(rig.sim.disk().Holds(kOutput, content));
  }
  bool Notes(const std::string& text) { return Web().reason.find(text) != std::string::npos; }
  static std::int64_t Asked(const SimHttpServer& server) { return static_cast<std::int64_t>(server.Requests().size()); }

  const SimContent content = SimContent::Generated(kLength, 7);
  SimHttpServer origin;
  SimHttpServer mirror;
};

TEST_F(WebMirror, WithoutAChecksumAMirrorIsNotAskedWhileTheAddressServes) {
  Start(kUrl, With({kMirror}));
  ExpectTheFile(*this);
  EXPECT_EQ(Asked(mirror), 0);
  EXPECT_EQ(Web().reason, "");
}

TEST_F(WebMirror, AMirrorReplacesADeadAddressAfterASample) {
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  origin.Restart(3'600'000);
  ExpectTheFile(*this);
  ASSERT_GE(Asked(mirror), 3);
  // A range that is missing, then what is held already, then what is missing again.
  const std::string sample = mirror.Requests().at(1).Header("Range").value_or("");
  const auto dash = sample.find('-');
  const std::int64_t from = std::stoll(sample.substr(6, dash - 6));
  EXPECT_EQ(std::stoll(sample.substr(dash + 1)) - from + 1, 65536) << sample;
  EXPECT_TRUE(Notes("o.example is left out: ")) << Web().reason;
}

TEST_F(WebMirror, AShortBreakIsNoReasonToChange) {
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  origin.Restart(500);
  ExpectTheFile(*this);
  EXPECT_EQ(Asked(mirror), 0);
}

TEST_F(WebMirror, OneWithOtherBytesIsLeftOutAndNamed) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength, 8));
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  origin.Restart(60'000);
  ExpectTheFile(*this);  // once the address is back
  EXPECT_TRUE(Notes("m.example is left out: The file there has other contents.")) << Web().reason;
}

TEST_F(WebMirror, OneOfAnotherLengthIsLeftOutAndNamed) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength + 1, 7));
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  origin.Restart(60'000);
  ExpectTheFile(*this);
  EXPECT_TRUE(Notes("m.example is left out: ")) << Web().reason;
}

TEST_F(WebMirror, AnAddressThatRefusesAtOnceIsReplaced) {
  origin.Always({.status = 404});
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/b.bin", content));
  EXPECT_TRUE(Notes("o.example is left out: The server does not have this file.")) << Web().reason;
}

TEST_F(WebMirror, TheAnnouncedLengthIsDemandedOfEachSource) {
  WebAdd add = With({kMirror});
  add.size = kLength;
  origin.File("/a.bin", SimContent::Generated(kLength / 2, 7));
  Start(kUrl, add);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/b.bin", content));
  add.size = 5;
  Start("https://o.example/a.bin?2", add);
  ASSERT_TRUE(RunUntilStopped(2));
  EXPECT_EQ(Web(2).reason, "The file there does not have the length that was announced.");
}

TEST_F(WebMirror, AnUnencryptedOneOfAnEncryptedAddressNeedsAChecksum) {
  SimHttpServer plain(sim.network(), "m.example", 80);
  Serve(plain, "/pub/b.bin", content, "\"m\"");
  Start(kUrl, With({"http://m.example/pub/b.bin"}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  EXPECT_TRUE(Notes("m.example is left out: It is not encrypted")) << Web().reason;
  origin.Restart(60'000);
  ExpectTheFile(*this);
  EXPECT_EQ(Asked(plain), 0);
}

TEST_F(WebMirror, ALinkOfTheFirstAnswerNamesMirrors) {
  HttpFault linked{.wire = {.bytesPerSecond = 300'000}};
  linked.extraHeaders = "Link: <https://m.example/pub/b.bin>; rel=duplicate; pri=1\r\n";
  origin.Always(linked);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  EXPECT_EQ(Asked(mirror), 0);
  origin.Restart(3'600'000);
  ExpectTheFile(*this);
  EXPECT_GE(Asked(mirror), 3);
}

TEST_F(WebMirror, MirrorsAreKnownAfterAKill) {
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(4'000'000));
  sim.RunFor(3000);
  SimOptions options;
  options.disk = sim.disk().TakeState();
  WebRig next(std::move(options));
  SimHttpServer same(next.sim.network(), "m.example", 443);
  Serve(same, "/pub/b.bin", content, "\"m\"");
  next.Load();
  if (next.IndexOf(kUrl) == 0) FAIL() << "the download is lost";
  next.Resume();
  ExpectTheFile(next);  // the address is not there any more
}

TEST_F(WebMirror, AWrongOneIsLeftOutAfterAKillToo) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength, 8));
  Start(kUrl, With({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  origin.Restart(10'000);
  ASSERT_TRUE(sim.RunUntil([&] { return Notes("other contents"); }));
  sim.RunFor(3000);
  SimOptions options;
  options.disk = sim.disk().TakeState();
  WebRig next(std::move(options));
  SimHttpServer same(next.sim.network(), "m.example", 443);
  Serve(same, "/pub/b.bin", content, "\"m\"");
  next.Load();
  next.Resume();
  next.sim.RunFor(20'000);
  EXPECT_TRUE(same.Requests().empty());
  EXPECT_NE(next.services->journal.Entries().at(0).mirrors.at(0).fault, "");
}

}  // namespace
}  // namespace pellora
