// Downloads that have mirrors.
#include <algorithm>
#include <cstdlib>

#include "SimDigests.h"
#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kMirror = "https://m.example/pub/b.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";
constexpr std::int64_t kLength = 8'000'000;

std::string Base64OfHex(const std::string& hex) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned bits = 0;
  int count = 0;
  for (const char digit : hex) {
    bits = bits << 4U | static_cast<unsigned>(std::string("0123456789abcdef").find(digit));
    for (count += 4; count >= 6; count -= 6) text += alphabet[bits >> static_cast<unsigned>(count - 6) & 63U];
  }
  if (count > 0) text += alphabet[bits << static_cast<unsigned>(6 - count) & 63U];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

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
  WebAdd Checked(const std::vector<std::string>& urls) const {
    WebAdd add = With(urls);
    add.size = kLength;
    add.checksum = Checksum{ChecksumKind::Sha256, SimDigitsOf(ChecksumKind::Sha256, content.Bytes(0, kLength))};
    return add;
  }
  WebAdd InPieces(const std::vector<std::string>& urls) const {
    WebAdd add = Checked(urls);
    PieceHashes& pieces = add.pieces.emplace();
    pieces.length = 262'144;
    for (std::int64_t at = 0; at < kLength; at += pieces.length) {
      const std::int64_t length = std::min(pieces.length, kLength - at);
      pieces.hex.push_back(
          SimDigitsOf(pieces.kind, content.Bytes(static_cast<std::uint64_t>(at), static_cast<std::uint64_t>(length))));
    }
    return add;
  }
  // The next run on what is on the disk three seconds later.
  struct AfterKill : WebRig {
    explicit AfterKill(WebRig& killed) : WebRig(LeftBy(killed)) {}

   private:
    static SimOptions LeftBy(WebRig& killed) {
      killed.sim.RunFor(3000);
      SimOptions options;
      options.disk = killed.sim.disk().TakeState();
      return options;
    }
  };
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

TEST_F(WebMirror, TheAnnouncedLengthIsDemandedOfAFileOfUnknownLengthToo) {
  origin.Always({.wire = {.bytesPerSecond = 3'000'000}, .ignoreRange = true, .chunked = true});
  WebAdd add;
  add.size = kLength - 1;
  Start(kUrl, add);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, "The file there does not have the length that was announced.");
  EXPECT_FALSE(sim.disk().Has(kOutput));
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
  AfterKill next(*this);
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
  AfterKill next(*this);
  SimHttpServer same(next.sim.network(), "m.example", 443);
  Serve(same, "/pub/b.bin", content, "\"m\"");
  next.Load();
  next.Resume();
  next.sim.RunFor(20'000);
  EXPECT_TRUE(same.Requests().empty());
  EXPECT_NE(next.services->journal.Entries().at(0).mirrors.at(0).fault, "");
}

TEST_F(WebMirror, WithAChecksumLanesGoToAllMirrors) {
  SimHttpServer third(sim.network(), "n.example", 443);
  Serve(third, "/b", content, "\"n\"");
  Start(kUrl, Checked({kMirror, "https://n.example/b"}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  EXPECT_GE(mirror.Open(), 1);
  EXPECT_GE(third.Open(), 1);
  EXPECT_LE(origin.Open() + mirror.Open() + third.Open(), 4);
  ExpectTheFile(*this);
  EXPECT_EQ(Web().reason.find("left out"), std::string::npos) << Web().reason;
}

TEST_F(WebMirror, ThereAreNeverMoreThanEightLanes) {
  program.settings.MaxSegments = 99;
  Start(kUrl, Checked({kMirror}));
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  EXPECT_LE(origin.Open() + mirror.Open(), 8);
  EXPECT_GE(origin.Open() + mirror.Open(), 6);
  EXPECT_LE(std::abs(origin.Open() - mirror.Open()), 1);
  ExpectTheFile(*this);
}

TEST_F(WebMirror, ALaneThatLiesAboutTheLengthIsLeftOut) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength + 7, 7));
  Start(kUrl, Checked({kMirror}));
  ExpectTheFile(*this);
  EXPECT_TRUE(Notes("m.example is left out: ")) << Web().reason;
  EXPECT_LE(Asked(mirror), 2) << "once by each of its lanes";
}

TEST_F(WebMirror, ALaneThatIsRefusedIsLeftOutWithItsReason) {
  mirror.Always({.status = 404});
  Start(kUrl, Checked({kMirror}));
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  EXPECT_EQ(origin.Open(), 4) << "its lane goes to the address";
  ExpectTheFile(*this);
  EXPECT_TRUE(Notes("m.example is left out: The server does not have this file.")) << Web().reason;
}

TEST_F(WebMirror, WrongPiecesAreFetchedFromAnotherSource) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength, 8));
  SimHttpServer third(sim.network(), "n.example", 443);
  Serve(third, "/b", content, "\"n\"");
  Start(kUrl, InPieces({kMirror, "https://n.example/b"}));
  ExpectTheFile(*this);
  EXPECT_FALSE(Asks());
  EXPECT_TRUE(Notes("m.example is left out: The file there has other contents.")) << Web().reason;
  EXPECT_FALSE(Notes("n.example")) << Web().reason;
  EXPECT_FALSE(Notes("o.example")) << Web().reason;
}

TEST_F(WebMirror, TheAddressIsLeftOutTooIfItsPiecesAreWrong) {
  origin.File("/a.bin", SimContent::Generated(kLength, 8));
  Start(kUrl, InPieces({kMirror}));
  ExpectTheFile(*this);
  EXPECT_TRUE(Notes("o.example is left out: The file there has other contents.")) << Web().reason;
}

TEST_F(WebMirror, WithAChecksumAloneWhatMirrorsSentIsFetchedFromTheAddress) {
  mirror.File("/pub/b.bin", SimContent::Generated(kLength, 8));
  Start(kUrl, Checked({kMirror}));
  ExpectTheFile(*this);
  EXPECT_TRUE(Notes("m.example is left out: The file there has other contents.")) << Web().reason;
}

TEST_F(WebMirror, WhereAllAreWrongTheUserIsAsked) {
  origin.File("/a.bin", SimContent::Generated(kLength, 8));
  mirror.File("/pub/b.bin", SimContent::Generated(kLength, 9));
  Start(kUrl, InPieces({kMirror}));
  ASSERT_TRUE(RunUntilAsked());
  EXPECT_FALSE(sim.disk().Has(kOutput));
}

TEST_F(WebMirror, ADigestOfTheAddressMakesItsLinksLanes) {
  HttpFault linked{.wire = {.bytesPerSecond = 300'000}};
  linked.extraHeaders = "Link: <https://m.example/pub/b.bin>; rel=duplicate\r\nRepr-Digest: sha-256=:" +
                        Base64OfHex(Checked({}).checksum->hex) + ":\r\n";
  origin.Always(linked);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  EXPECT_GE(mirror.Open(), 1);
  ExpectTheFile(*this);
}

// What cannot be compared proves nothing.
TEST_F(WebMirror, HashesThatTheSystemDoesNotComputeMakeNoLanes) {
  HttpFault linked{.wire = {.bytesPerSecond = 300'000}};
  linked.extraHeaders = "Link: <https://m.example/pub/b.bin>; rel=duplicate\r\nRepr-Digest: sha-256=:" +
                        Base64OfHex(Checked({}).checksum->hex) + ":\r\n";
  origin.Always(linked);
  sim.digests().forbidden = {ChecksumKind::Sha256};
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  ExpectTheFile(*this);
  EXPECT_EQ(Asked(mirror), 0);
}

TEST_F(WebMirror, PiecesDecideWhereTheSystemDoesNotComputeTheFilesHash) {
  HttpFault digest{.wire = {.bytesPerSecond = 300'000}};
  digest.extraHeaders = "Digest: MD5=" + Base64OfHex(std::string(32, '0')) + "\r\n";
  origin.Always(digest);
  sim.digests().forbidden = {ChecksumKind::Md5};
  WebAdd add = InPieces({});
  add.checksum.reset();
  Start(kUrl, add);
  ExpectTheFile(*this);
  EXPECT_EQ(Web().reason, "SHA-256 checked");
}

class WebDescription : public WebMirror {
 protected:
  static void Describe(SimHttpServer& server, const std::string& document,
                       const std::string& link = "https://o.example/a.bin.meta4") {
    server.File("/a.bin.meta4", document);
    HttpFault linked{.wire = {.bytesPerSecond = 300'000}};
    linked.extraHeaders = "Link: <" + link + ">; rel=describedby; type=\"application/metalink4+xml\"\r\n";
    server.Always(linked);
  }
  std::string Document(const std::string& name = "a.bin", std::int64_t size = kLength,
                       const std::string& sum = std::string()) const {
    return "<metalink xmlns=\"urn:ietf:params:xml:ns:metalink\"><file name=\"" + name + "\"><size>" +
           std::to_string(size) + "</size><hash type=\"sha-256\">" + (sum.empty() ? Checked({}).checksum->hex : sum) +
           "</hash><url>" + kMirror + "</url></file></metalink>";
  }
  void ExpectTheFileInSpiteOf(const std::string& document, WebRig& rig) {
    SimHttpServer address(rig.sim.network(), "o.example", 443);
    Serve(address, "/a.bin", content, "\"1\"");
    Describe(address, document);
    rig.Start(kUrl);
    ExpectTheFile(rig);
    EXPECT_EQ(rig.Web().reason, "");
  }
};

TEST_F(WebDescription, GivesHashesAndMirrors) {
  Describe(origin, Document());
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  EXPECT_GE(mirror.Open(), 1);
  ExpectTheFile(*this);
  EXPECT_EQ(Web().reason, "SHA-256 checked");
}

TEST_F(WebDescription, CountsAfterAKillToo) {
  Describe(origin, Document());
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  AfterKill next(*this);
  SimHttpServer address(next.sim.network(), "o.example", 443);
  Serve(address, "/a.bin", content, "\"1\"");
  next.Load();
  next.Resume();
  ExpectTheFile(next);
  EXPECT_EQ(next.Web().reason.find("SHA-256 checked"), 0U) << next.Web().reason;
}

TEST_F(WebDescription, OfAnotherNameOrLengthCountsForNothing) {
  const std::string wrong(64, '0');
  for (const std::string& document : {Document("b.bin", kLength, wrong), Document("a.bin", kLength + 1, wrong)}) {
    WebRig rig;
    ExpectTheFileInSpiteOf(document, rig);
    EXPECT_EQ(rig.Record().Finished, true);
  }
}

TEST_F(WebDescription, IsFetchedOnlyWhereNothingElseProvesTheFile) {
  Describe(origin, Document());
  Start(kUrl, Checked({}));
  ExpectTheFile(*this);
  for (const HttpRequest& request : origin.Requests()) EXPECT_EQ(request.target, "/a.bin");
}

TEST_F(WebDescription, NeitherDelaysNorFailsTheDownload) {
  Describe(origin, Document(), "https://silent.example/a.bin.meta4");
  Start(kUrl);
  ExpectTheFile(*this);
  const double alone = sim.Elapsed();
  for (const std::string& document : {std::string("no document"), std::string(2'000'000, ' ')}) {
    WebRig rig;
    ExpectTheFileInSpiteOf(document, rig);
    EXPECT_LT(rig.sim.Elapsed(), alone + 5000);
  }
}

TEST_F(WebDescription, FollowsRedirectsButNoneToAnUnencryptedServer) {
  SimHttpServer plain(sim.network(), "p.example", 80);
  plain.File("/x.meta4", Document("a.bin", kLength, std::string(64, '0')));
  Describe(origin, Document(), "/go");
  origin.Redirect("/go", "http://p.example/x.meta4");
  Start(kUrl);
  ExpectTheFile(*this);
  EXPECT_EQ(Web().reason, "");
  EXPECT_TRUE(plain.Requests().empty());

  WebRig rig;
  SimHttpServer address(rig.sim.network(), "o.example", 443);
  Serve(address, "/a.bin", content, "\"1\"");
  Describe(address, "no document", "/go");
  address.File("/x/y.meta4", Document());
  address.Redirect("/go", "/x/y.meta4");
  rig.Start(kUrl);
  ExpectTheFile(rig);
  EXPECT_EQ(rig.Web().reason.find("SHA-256 checked"), 0U) << rig.Web().reason;
}

// The new version is judged by its own description, or by none.
TEST_F(WebDescription, PiecesOfAnOldVersionAreForgottenWithIt) {
  std::string document = Document();
  document.replace(document.find(kMirror), std::string(kMirror).size(), kUrl);
  std::string pieces;
  const WebAdd described = InPieces({});
  for (const std::string& hex : described.pieces->hex) pieces += "<hash>" + hex + "</hash>";
  document.insert(document.find("<url"), "<pieces type=\"sha-256\" length=\"262144\">" + pieces + "</pieces>");
  Describe(origin, document);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  ASSERT_TRUE(services->journal.Entries().at(0).pieces);
  Pause();
  sim.RunFor(1000);
  const SimContent other = SimContent::Generated(kLength, 9);
  Serve(origin, "/a.bin", other, "\"2\"");
  Resume();
  ASSERT_TRUE(RunUntilAsked());
  Answer(true);
  ASSERT_TRUE(RunUntilFinished(1, 3'600'000)) << Web().reason;
  EXPECT_TRUE(sim.disk().Holds(kOutput, other));
}

TEST_F(WebMirror, AnUnencryptedMirrorNeedsASafeChecksum) {
  for (const bool safe : {true, false}) {
    WebRig rig;
    SimHttpServer address(rig.sim.network(), "o.example", 443);
    SimHttpServer plain(rig.sim.network(), "m.example", 80);
    Serve(address, "/a.bin", content, "\"1\"");
    Serve(plain, "/pub/b.bin", content, "\"m\"");
    WebAdd add = Checked({"http://m.example/pub/b.bin"});
    add.hashesAreSafe = safe;
    rig.Start(kUrl, add);
    ExpectTheFile(rig);
    EXPECT_EQ(plain.Requests().empty(), !safe);
  }
}

TEST_F(WebMirror, LanesGoToMirrorsAfterAKillToo) {
  Start(kUrl, Checked({kMirror}));
  ASSERT_TRUE(RunUntilReceived(3'000'000));
  AfterKill next(*this);
  SimHttpServer address(next.sim.network(), "o.example", 443);
  SimHttpServer same(next.sim.network(), "m.example", 443);
  Serve(address, "/a.bin", content, "\"1\"");
  Serve(same, "/pub/b.bin", content, "\"m\"");
  next.Load();
  next.Resume();
  ExpectTheFile(next);
  EXPECT_FALSE(same.Requests().empty());
}

// A mirror that waits, breaks, or answers with errors never makes the file wrong or the download hang.
class WebMirrorMisbehaviour : public WebMirror, public testing::WithParamInterface<std::string> {};

TEST_P(WebMirrorMisbehaviour, TheFileIsRight) {
  ASSERT_TRUE(mirror.Misbehave(GetParam()));
  Start(kUrl, InPieces({kMirror}));
  ExpectTheFile(*this);
}

std::string MisbehaviourName(const testing::TestParamInfo<std::string>& info) {
  std::string name;
  for (const char c : info.param) name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Each, WebMirrorMisbehaviour, testing::ValuesIn(SimHttpServer::Misbehaviours()),
                         MisbehaviourName);

}  // namespace
}  // namespace pellora
