#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "SimFetchRecorder.h"
#include "SimFetcher.h"
#include "SimFileServer.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://origin.example/a.bin";

class SimFetcherTest : public testing::Test {
 protected:
  SimFetcherTest() { origin.File("/a.bin", file); }

  SimFetchRecorder& Fetched(FetchRequest request) {
    SimFetchRecorder& one = clients.emplace_back(sim, std::move(request));
    EXPECT_EQ(one.events, "");
    sim.RunUntil([&] { return one.end.has_value(); }, 600'000);
    return one;
  }
  SimFetchRecorder& Fetched(const std::string& url) { return Fetched(SimFetchRecorder::Plain(url)); }

  // What the origin sends, instead of what it has.
  SimFetchRecorder& Answered(const std::string& raw, bool closes = false) {
    sim.fetcher().CloseKept();
    origin.Always({.closeAfterReply = closes, .raw = raw});
    return Fetched(kUrl);
  }

  SimContent file = SimContent::Generated(700'000);
  SimPlatform sim;
  SimHttpServer origin{sim.network(), "origin.example", 443};
  std::deque<SimFetchRecorder> clients;
};

TEST_F(SimFetcherTest, FetchesARangeOverHttps) {
  FetchRequest request = SimFetchRecorder::Ranged(kUrl, 1000, 400'999);
  request.headers = {{"User-Agent", "Pellora"}, {"Cookie", "a=1"}};
  const SimFetchRecorder& one = Fetched(request);
  EXPECT_EQ(one.end, FetchEnd::Whole);
  EXPECT_EQ(one.reason, "");
  EXPECT_EQ(one.answer.status, 206);
  EXPECT_EQ(one.Header("Content-Range"), "bytes 1000-400999/700000");
  EXPECT_EQ(one.data, file.Bytes(1000, 400'000));
  EXPECT_EQ(one.events.front(), 'A');
  EXPECT_EQ(one.events.find('E'), one.events.size() - 1);
  EXPECT_EQ(origin.Requests().at(0).bytes,
            "GET /a.bin HTTP/1.1\r\nHost: origin.example\r\nRange: bytes=1000-400999\r\nAccept-Encoding: identity\r\n"
            "User-Agent: Pellora\r\nCookie: a=1\r\n\r\n");
  EXPECT_EQ(sim.fetcher().Log().front().delivered, 400'000U);
  EXPECT_EQ(sim.fetcher().Log().front().end, FetchEnd::Whole);
}

TEST_F(SimFetcherTest, AsksForAnOpenRangeOrForNone) {
  EXPECT_EQ(Fetched(SimFetchRecorder::Ranged(kUrl, 699'990)).data, file.Bytes(699'990, 10));
  EXPECT_EQ(Fetched(kUrl).data, file.All());
  EXPECT_NE(origin.Requests().at(0).bytes.find("Range: bytes=699990-\r\n"), std::string::npos);
  EXPECT_EQ(origin.Requests().at(1).Header("Range"), std::nullopt);
}

TEST_F(SimFetcherTest, CountsBeyondFourGibibytes) {
  const SimContent large = SimContent::Sparse(6'000'000'000);
  origin.File("/a.bin", large);
  const SimFetchRecorder& one = Fetched(SimFetchRecorder::Ranged(kUrl, 5'990'000'000));
  EXPECT_EQ(one.Header("Content-Range"), "bytes 5990000000-5999999999/6000000000");
  EXPECT_EQ(one.Header("Content-Length"), "10000000");
  EXPECT_TRUE(one.data == large.Bytes(5'990'000'000, 10'000'000));
}

TEST_F(SimFetcherTest, SendsTheLoginAndPortsThatAreNotTheSchemes) {
  SimHttpServer other(sim.network(), "origin.example", 8443);
  other.File("/b", "bytes");
  FetchRequest request = SimFetchRecorder::Plain("https://origin.example:8443/b");
  request.user = "ann";
  request.password = "se:cret";
  EXPECT_EQ(Fetched(request).data, "bytes");
  EXPECT_EQ(other.Requests().at(0).Header("Host"), "origin.example:8443");
  EXPECT_EQ(other.Requests().at(0).Header("Authorization"), "Basic YW5uOnNlOmNyZXQ=");
}

TEST_F(SimFetcherTest, RefusesCertificatesThatAreWrong) {
  const struct {
    SimTls tls;
    FetchEnd end;
  } cases[] = {{SimTls::Expired, FetchEnd::NotTrusted},
               {SimTls::WrongHost, FetchEnd::NotTrusted},
               {SimTls::UnknownAuthority, FetchEnd::NotTrusted},
               {SimTls::OldVersion, FetchEnd::NotTrusted},
               {SimTls::None, FetchEnd::NotTrusted},
               {SimTls::Good, FetchEnd::Whole}};
  for (const auto& c : cases) {
    sim.fetcher().Host("origin.example").tls = c.tls;
    const SimFetchRecorder& one = Fetched(kUrl);
    EXPECT_EQ(one.end, c.end);
    EXPECT_EQ(one.events == "E", c.tls != SimTls::Good);
    EXPECT_EQ(one.reason.empty(), c.tls == SimTls::Good) << one.reason;
  }
  EXPECT_EQ(origin.Requests().size(), 1U);
}

TEST_F(SimFetcherTest, TrustsAnAuthorityOfTheCertificateFile) {
  sim.disk().Put("/tmp/bundle.pem", "-- mine --");
  sim.fetcher().Host("origin.example").tls = SimTls::UnknownAuthority;
  sim.fetcher().Host("origin.example").authority = "-- mine --";
  FetchRequest request = SimFetchRecorder::Plain(kUrl);
  request.certificates = "/tmp/bundle.pem";
  EXPECT_EQ(Fetched(request).end, FetchEnd::Whole);
  sim.fetcher().CloseKept();
  request.certificates = "/tmp/none.pem";
  EXPECT_EQ(Fetched(request).end, FetchEnd::NotTrusted);
}

TEST_F(SimFetcherTest, TellsConnectionsThatCannotBeMadeApart) {
  origin.OnConnection(1, {.wire = {.refuse = true}});
  EXPECT_EQ(Fetched(kUrl).end, FetchEnd::NoConnect);
  EXPECT_EQ(Fetched("https://nowhere.example/").end, FetchEnd::NoHost);
  EXPECT_EQ(Fetched("https://origin.example:8443/").end, FetchEnd::NoConnect);
  EXPECT_EQ(Fetched("gopher://origin.example/").end, FetchEnd::Unsupported);
  EXPECT_EQ(Fetched("sip:origin.example").end, FetchEnd::Unsupported);
  for (const SimFetchRecorder& one : clients) EXPECT_EQ(one.events, "E");
}

TEST_F(SimFetcherTest, KeepsAConnectionForTheNextRequest) {
  Fetched(kUrl);
  EXPECT_EQ(sim.fetcher().Kept(), 1U);
  EXPECT_EQ(Fetched(SimFetchRecorder::Ranged(kUrl, 5, 9)).data, file.Bytes(5, 5));
  EXPECT_EQ(sim.network().Log().size(), 1U);
  EXPECT_TRUE(sim.fetcher().Log().back().kept);
  sim.fetcher().CloseKept();
  EXPECT_EQ(Fetched(kUrl).data, file.All());
  EXPECT_EQ(sim.network().Log().size(), 2U);
  EXPECT_EQ(sim.network().Open(), 1);
}

TEST_F(SimFetcherTest, ReplacesAKeptConnectionThatTheServerEnds) {
  SimScript server;
  sim.network().Serve("script.example", 80, server);
  int requests = 0;
  server.onData = [&](SimPeer& peer, std::string_view) {
    if (++requests == 2) return peer.Close();
    peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  };
  EXPECT_EQ(Fetched("http://script.example/").data, "ok");
  const SimFetchRecorder& second = Fetched("http://script.example/");
  EXPECT_EQ(second.end, FetchEnd::Whole);
  EXPECT_EQ(second.data, "ok");
  EXPECT_EQ(requests, 3);
  EXPECT_EQ(sim.network().Log().size(), 2U);
}

TEST_F(SimFetcherTest, ReadsEveryFormOfReply) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const struct {
    bool answered;
    std::string raw;
    bool closes;
    FetchEnd end;
    std::string data;
  } cases[] = {
      {true, ok + "Content-Length: 3\r\n\r\nabc", false, FetchEnd::Whole, "abc"},
      {true, ok + "Content-Length: 0\r\n\r\n", false, FetchEnd::Whole, ""},
      {true, ok + "Content-Length: 4\r\n\r\nabc", true, FetchEnd::Lost, "abc"},
      {true, ok + "Content-Length: 2\r\n\r\nabc", false, FetchEnd::Whole, "ab"},
      {true, ok + "Content-Length: 9\r\nContent-Length: 3\r\n\r\nabc", false, FetchEnd::Whole, "abc"},
      {false, ok + "Content-Length: -7\r\n\r\nabc", false, FetchEnd::Other, ""},
      {true, ok + "Content-Length: 99999999999999999999\r\n\r\nabc", true, FetchEnd::Whole, "abc"},
      {true, ok + "\r\nabc", true, FetchEnd::Whole, "abc"},
      {true, "HTTP/1.0 200 OK\n\nabc", true, FetchEnd::Whole, "abc"},
      {true, ok + "Transfer-Encoding: chunked\r\n\r\n3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nX: 1\r\n\r\n", false,
       FetchEnd::Whole, "abc0123456789"},
      {true, ok + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n3\r\nabc\r\n", true, FetchEnd::Lost, "abc"},
      {true, ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nabcd\r\n", false, FetchEnd::Other, "abc"},
      {true, ok + "Transfer-Encoding: chunked\r\n\r\nz\r\n", false, FetchEnd::Other, ""},
      {true, ok + "Transfer-Encoding: gzip\r\n\r\nabc", true, FetchEnd::Unsupported, ""},
      {true, "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\nHTTP/1.1 404 No\r\nContent-Length: 2\r\n\r\nno", false,
       FetchEnd::Whole, "no"},
      {true, "HTTP/1.1 204 None\r\nContent-Length: 5\r\n\r\n", false, FetchEnd::Whole, ""},
      {false, "SSH-2.0-Server\r\n\r\n", false, FetchEnd::Other, ""},
      {false, "HTTP/1.1 20", true, FetchEnd::Lost, ""},
  };
  for (const SimCut cut : {SimCut::Whole, SimCut::EveryByte, SimCut::Seeded}) {
    for (const auto& c : cases) {
      sim.fetcher().CloseKept();
      origin.Always({.wire = {.cut = cut}, .closeAfterReply = c.closes, .raw = c.raw});
      const SimFetchRecorder& one = Fetched(kUrl);
      EXPECT_EQ(one.end, c.end) << c.raw;
      EXPECT_EQ(one.data, c.data) << c.raw;
      EXPECT_EQ(one.events.starts_with('A'), c.answered) << c.raw;
    }
  }
}

TEST_F(SimFetcherTest, GivesTheFinalHeadWithAllItsLines) {
  const SimFetchRecorder& one = Answered(
      "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\nHTTP/1.1 206 Part\r\nSet-Cookie: a=1\r\nset-cookie:  b=2 \r\n"
      "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\nTrailer: y\r\n\r\n");
  EXPECT_EQ(one.answer.status, 206);
  ASSERT_EQ(one.answer.headers.size(), 4U);
  EXPECT_EQ(one.answer.headers[1].name, "set-cookie");
  EXPECT_EQ(one.answer.headers[1].value, "b=2");
  EXPECT_EQ(one.answer.length, -1);
}

TEST_F(SimFetcherTest, MayBeDestroyedInsideEachOfItsEvents) {
  for (const char at : {'A', 'D', 'E'}) {
    auto one = std::make_unique<SimFetchRecorder>(sim, SimFetchRecorder::Plain(kUrl));
    std::string seen;
    one->onEvent = [&](char event) {
      seen += event;
      if (event == at) one->fetch.reset();
    };
    sim.RunFor(10'000);
    EXPECT_EQ(seen.back(), at);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), at), 1);
  }
  sim.fetcher().CloseKept();
  EXPECT_EQ(sim.network().Open(), 0);
  EXPECT_EQ(sim.fetcher().FreeBytes(), 3U << 20);
}

TEST_F(SimFetcherTest, MayBeDestroyedAtAnyTime) {
  for (std::uint64_t after = 0; after < 200; after += 3) {
    auto one = std::make_unique<SimFetchRecorder>(sim, SimFetchRecorder::Plain(kUrl));
    sim.RunFor(after);
    one.reset();
    sim.RunFor(1);
  }
  sim.RunFor(10'000);
  sim.fetcher().CloseKept();
  EXPECT_EQ(sim.network().Open(), 0);
  EXPECT_EQ(sim.fetcher().FreeBytes(), 3U << 20);
  EXPECT_EQ(sim.fetcher().Running(), 0U);
}

TEST_F(SimFetcherTest, AFailureInOneEventDoesNotKeepTheNextFromComing) {
  SimFetchRecorder& one = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  one.onEvent = [](char) { throw Failure(FailureNumber::File, "a handler that fails"); };
  sim.RunFor(10'000);
  EXPECT_EQ(one.events.front(), 'A');
  EXPECT_EQ(one.events.back(), 'E');
  EXPECT_EQ(one.data, file.All());
}

TEST_F(SimFetcherTest, NothingComesWhileReadingIsOff) {
  SimFetchRecorder& one = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  one.fetch->SetReading(false);
  sim.RunFor(60'000);
  EXPECT_EQ(one.events, "");
  one.onEvent = [&](char) { one.fetch->SetReading(false); };
  for (int i = 0; i < 100 && !one.end; ++i) {
    const std::size_t before = one.events.size();
    one.fetch->SetReading(true);
    EXPECT_EQ(one.events.size(), before);
    sim.RunFor(60'000);
    EXPECT_EQ(one.events.size(), before + 1);
  }
  EXPECT_EQ(one.end, FetchEnd::Whole);
  EXPECT_EQ(one.data, file.All());
}

TEST_F(SimFetcherTest, AnEmptyPoolKeepsAllServersWaiting) {
  sim.fetcher().SetPool(4000, 1000);
  SimFetchRecorder& one = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  SimFetchRecorder& two = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  one.keepsBlocks = two.keepsBlocks = true;
  sim.RunFor(60'000);
  EXPECT_EQ(sim.fetcher().FreeBytes(), 0U);
  EXPECT_EQ(one.data.size() + two.data.size(), 4000U);
  one.keepsBlocks = two.keepsBlocks = false;
  one.blocks.clear();
  two.blocks.clear();
  sim.RunFor(60'000);
  EXPECT_EQ(one.data, file.All());
  EXPECT_EQ(two.data, file.All());
  EXPECT_EQ(sim.fetcher().FreeBytes(), 4000U);
}

TEST_F(SimFetcherTest, BlocksMayOutliveTheirFetchAndTheFetcher) {
  std::vector<std::unique_ptr<FetchBlock>> blocks;
  {
    SimPlatform other;
    SimHttpServer server(other.network(), "origin.example", 443);
    server.File("/a.bin", file);
    SimFetchRecorder one(other, SimFetchRecorder::Plain(kUrl));
    one.keepsBlocks = true;
    other.RunFor(10'000);
    blocks = std::move(one.blocks);
    ASSERT_FALSE(blocks.empty());
  }
  std::string data;
  for (const auto& block : blocks) data += block->Bytes();
  EXPECT_EQ(data, file.All());
}

TEST_F(SimFetcherTest, LeadsAGivenAddressToItsServer) {
  SimHttpServer first(sim.network(), "10.0.0.1", 443);
  SimHttpServer second(sim.network(), "10.0.0.2", 443);
  first.File("/", "first");
  second.File("/", "second");
  sim.fetcher().SetAddresses("many.example", {"10.0.0.1", "10.0.0.2"});
  sim.fetcher().SetMostKept(0);
  FetchRequest request = SimFetchRecorder::Plain("https://many.example/");
  EXPECT_EQ(Fetched(request).data, "first");
  EXPECT_EQ(clients.back().answer.peerAddress, "10.0.0.1");
  EXPECT_EQ(Fetched(request).data, "second");
  request.address = "10.0.0.2";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Fetched(request).data, "second");
  EXPECT_EQ(second.Requests().back().Header("Host"), "many.example");
  // A name of which nothing was said has one address of its own.
  FetchRequest usual = SimFetchRecorder::Plain(kUrl);
  usual.address = Fetched(usual).answer.peerAddress;
  EXPECT_EQ(usual.address.find_first_not_of("0123456789."), std::string::npos);
  EXPECT_EQ(Fetched(usual).data, file.All());
}

TEST_F(SimFetcherTest, GoesThroughAProxy) {
  SimHttpServer proxy(sim.network(), "proxy.example", 3128);
  proxy.File("/a.bin", "by proxy");
  FetchRequest request = SimFetchRecorder::Plain("http://origin.example/a.bin");
  request.proxy = "http://ann:pw@proxy.example:3128";
  EXPECT_EQ(Fetched(request).data, "by proxy");
  EXPECT_EQ(proxy.Requests().at(0).target, "http://origin.example/a.bin");
  EXPECT_EQ(proxy.Requests().at(0).Header("Proxy-Authorization"), "Basic YW5uOnB3");
  request.url = kUrl;
  EXPECT_EQ(Fetched(request).end, FetchEnd::Proxy);
  request.proxy = "http://gone.example";
  EXPECT_EQ(Fetched(request).end, FetchEnd::Proxy);
}

TEST_F(SimFetcherTest, FindsNothingWhileTheNetworkIsGone) {
  SimFetchRecorder& cut = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  sim.RunUntil([&] { return cut.events.size() > 1; });
  sim.network().SetOnline(false);
  const std::size_t events = cut.events.size();
  EXPECT_FALSE(sim.platform().network.HasConnection());
  EXPECT_EQ(Fetched(kUrl).end, FetchEnd::NoHost);
  sim.network().SetOnline(true);
  EXPECT_EQ(Fetched(kUrl).end, FetchEnd::Whole);
  sim.RunFor(600'000);
  EXPECT_LE(cut.events.size(), events + 1);  // what had arrived
  EXPECT_FALSE(cut.end);
}

TEST_F(SimFetcherTest, ReadsFilesFromAByteOnForFtpAndSftp) {
  SimFileServer server(sim.network(), "files.example", 21);
  sim.network().Serve("files.example", 990, server);
  server.File("/a", file, 1234);
  for (const char* const url : {"ftp://files.example/a", "ftps://files.example/a"}) {
    const SimFetchRecorder& one = Fetched(SimFetchRecorder::Ranged(url, 600'000));
    EXPECT_EQ(one.end, FetchEnd::Whole);
    EXPECT_EQ(one.answer.status, 0);
    EXPECT_EQ(one.answer.length, 100'000);
    EXPECT_EQ(one.answer.modified, 1234);
    EXPECT_EQ(one.data, file.Bytes(600'000, 100'000));
  }
  EXPECT_EQ(Fetched(SimFetchRecorder::Ranged("ftp://files.example/a", 700'001)).answer.length, 0);
  EXPECT_EQ(clients.back().end, FetchEnd::Whole);
  EXPECT_EQ(Fetched("ftp://files.example/none").end, FetchEnd::NotFound);
  server.User("ann", "pw");
  EXPECT_EQ(Fetched("ftp://files.example/a").end, FetchEnd::NoLogin);
  FetchRequest request = SimFetchRecorder::Plain("ftps://files.example/a");
  request.user = "ann";
  request.password = "pw";
  EXPECT_EQ(Fetched(request).data, file.All());
  EXPECT_EQ(server.Requests().back().user, "ann");
}

TEST_F(SimFetcherTest, EndsFilesAsTheirServersDo) {
  SimFileServer server(sim.network(), "files.example", 21);
  server.File("/a", file);
  const std::string url = "ftp://files.example/a";
  server.Always({.wire = {.dropAfter = 5000}});
  EXPECT_EQ(Fetched(url).end, FetchEnd::Lost);
  server.Always({.endAfter = 5000});
  EXPECT_EQ(Fetched(url).end, FetchEnd::Lost);
  EXPECT_EQ(clients.back().data, file.Bytes(0, 5000));
  server.Always({.hidesLength = true, .hidesModified = true, .endAfter = 5000});
  EXPECT_EQ(Fetched(url).end, FetchEnd::Whole);
  EXPECT_EQ(clients.back().answer.length, -1);
  EXPECT_EQ(clients.back().answer.modified, -1);
  server.Always({.neverDone = true});
  EXPECT_EQ(Fetched(url).end, FetchEnd::Other);
  EXPECT_EQ(clients.back().data, file.All());
  server.Always({});
  server.mostLogins = 0;
  EXPECT_EQ(Fetched(url).end, FetchEnd::NoConnect);
}

TEST_F(SimFetcherTest, ChecksHostKeysOfSftp) {
  SimFileServer server(sim.network(), "files.example", 22);
  server.File("/a", "bytes");
  sim.fetcher().Host("files.example").key = "SHA256:right";
  FetchRequest request = SimFetchRecorder::Plain("sftp://files.example/a");
  EXPECT_EQ(Fetched(request).end, FetchEnd::UnknownKey);
  EXPECT_EQ(clients.back().reason, "SHA256:right ssh-ed25519 SHA256:right");
  request.acceptedKey = "SHA256:right";
  EXPECT_EQ(Fetched(request).data, "bytes");
  request.acceptedKey = "SHA256:other";
  EXPECT_EQ(Fetched(request).end, FetchEnd::UnknownKey);
  request.knownHosts = {"/tmp/none", "/tmp/known"};
  sim.disk().Put("/tmp/known", "other.example SHA256:x\nfiles.example SHA256:right\n");
  EXPECT_EQ(Fetched(request).data, "bytes");
  sim.disk().Put("/tmp/known", "files.example SHA256:wrong\n");
  request.acceptedKey = "SHA256:right";
  EXPECT_EQ(Fetched(request).end, FetchEnd::NotTrusted);
}

TEST_F(SimFetcherTest, SpeaksHttp2OnlyWhereAsked) {
  sim.fetcher().Host("origin.example").http2Only = true;
  FetchRequest request = SimFetchRecorder::Plain(kUrl);
  EXPECT_EQ(Fetched(request).end, FetchEnd::OtherHttp);
  request.http2 = true;
  EXPECT_EQ(Fetched(request).data, file.All());
}

std::uint64_t HashOf(std::uint64_t seed) {
  SimPlatform sim({.seed = seed});
  SimHttpServer origin(sim.network(), "origin.example", 443);
  origin.File("/a.bin", SimContent::Generated(500'000));
  std::deque<SimFetchRecorder> clients;
  for (std::int64_t i = 0; i < 4; ++i) clients.emplace_back(sim, kUrl, i * 100'000);
  sim.RunFor(60'000);
  for (const SimFetchRecorder& one : clients) EXPECT_EQ(one.end, FetchEnd::Whole);
  return sim.trace().Hash();
}

TEST(SimFetcherRun, EqualSeedsGiveEqualRuns) {
  EXPECT_EQ(HashOf(3), HashOf(3));
  EXPECT_NE(HashOf(3), HashOf(4));
}

}  // namespace
}  // namespace pellora
