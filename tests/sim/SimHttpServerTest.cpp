#include <gtest/gtest.h>

#include <string>

#include "SimHttpServer.h"
#include "SimPlatform.h"
#include "SimRecorder.h"

namespace pellora {
namespace {

constexpr const char* kHost = "origin.example";

std::string Get(const std::string& target, const std::string& lines = "") {
  return "GET " + target + " HTTP/1.1\r\nHost: origin.example\r\n" + lines + "\r\n";
}

class SimHttpServerTest : public testing::Test {
 protected:
  SimHttpServerTest() { origin.File("/a.bin", file); }

  // What one connection received for this request when nothing more comes.
  SimRecorder& Fetch(const std::string& request) {
    SimRecorder& client = clients.emplace_back(sim);
    client.Ask(kHost, request);
    sim.RunUntilIdle();
    return client;
  }

  SimContent file = SimContent::Generated(10'000);
  SimPlatform sim;
  SimHttpServer origin{sim.network(), kHost};
  std::deque<SimRecorder> clients;
};

TEST_F(SimHttpServerTest, SendsRanges) {
  const struct {
    const char* range;
    std::size_t first, length;
  } cases[] = {{"bytes=0-99", 0, 100},
               {"bytes=9999-9999", 9999, 1},
               {"bytes=9000-", 9000, 1000},
               {"bytes=5000-99999", 5000, 5000}};
  for (const auto& c : cases) {
    const SimRecorder& client = Fetch(Get("/a.bin", std::string("Range: ") + c.range + "\r\n"));
    EXPECT_EQ(client.data.substr(0, 12), "HTTP/1.1 206");
    EXPECT_EQ(client.Body(), file.Bytes(c.first, c.length)) << c.range;
    EXPECT_FALSE(client.Over()) << c.range;
  }
  EXPECT_EQ(Fetch(Get("/a.bin", "Range: bytes=10000-\r\n")).data.substr(0, 12), "HTTP/1.1 416");
}

TEST_F(SimHttpServerTest, IgnoresARangeOnRequestAndInHttp10) {
  origin.OnConnection(1, {.ignoreRange = true});
  origin.OnConnection(2, {.http10 = true});
  const SimRecorder& ignored = Fetch(Get("/a.bin", "Range: bytes=5-9\r\n"));
  EXPECT_EQ(ignored.data.substr(0, 12), "HTTP/1.1 200");
  EXPECT_EQ(ignored.Body(), file.All());
  const SimRecorder& old = Fetch(Get("/a.bin", "Range: bytes=5-9\r\n"));
  EXPECT_EQ(old.data.substr(0, 12), "HTTP/1.0 200");
  EXPECT_TRUE(old.Over());
}

TEST_F(SimHttpServerTest, SendsTheScriptedContentLength) {
  const struct {
    HttpFault fault;
    const char* has;
    const char* hasNot;
  } cases[] = {
      {{.length = HttpLength::Missing}, "Connection: close\r\n", "Content-Length"},
      {{.length = HttpLength::Huge}, "Content-Length: 99999999999999999999\r\n", "10000"},
      {{.length = HttpLength::Wrong, .wrongLength = -7}, "Content-Length: -7\r\n", "10000"},
  };
  for (const auto& c : cases) {
    origin.Always(c.fault);
    const SimRecorder& client = Fetch(Get("/a.bin"));
    const std::string head = client.data.substr(0, client.data.find("\r\n\r\n") + 4);
    EXPECT_NE(head.find(c.has), std::string::npos) << head;
    EXPECT_EQ(head.find(c.hasNot), std::string::npos) << head;
    EXPECT_EQ(client.Body(), file.All());
  }
}

TEST_F(SimHttpServerTest, DropsInTheHeaderAndInTheBody) {
  origin.OnConnection(1, {.dropInHeader = 10});
  origin.OnConnection(2, {.dropInBody = 1234});
  const SimRecorder& early = Fetch(Get("/a.bin"));
  EXPECT_EQ(early.data, "HTTP/1.1 2");
  EXPECT_TRUE(early.Over());
  const SimRecorder& late = Fetch(Get("/a.bin"));
  EXPECT_EQ(late.Body(), file.Bytes(0, 1234));
  EXPECT_TRUE(late.Over());
}

TEST_F(SimHttpServerTest, LogsRequestsByteForByte) {
  const std::string request = Get("/a.bin", "Range: bytes=1-2\r\nreferer: x\r\n");
  Fetch(request + "\r\n");
  ASSERT_EQ(origin.Requests().size(), 1U);
  const HttpRequest& logged = origin.Requests().front();
  EXPECT_EQ(logged.bytes, request);
  EXPECT_EQ(logged.connection, 1);
  EXPECT_EQ(logged.Header("range"), "bytes=1-2");
  EXPECT_EQ(logged.Header("Referer"), "x");
  EXPECT_EQ(logged.Header("Cookie"), std::nullopt);
  EXPECT_EQ(sim.network().Log().front().received, request + "\r\n");
}

TEST_F(SimHttpServerTest, UnreadLargeFileNeedsNoMemory) {
  origin.File("/large", SimContent::Generated(std::uint64_t{1} << 40));
  SimRecorder& client = clients.emplace_back(sim);
  client.onEvent = [&](char) {
    if (client.data.size() > 1'000'000) client.connection->Close();
  };
  client.Ask(kHost, Get("/large"));
  EXPECT_TRUE(sim.RunUntilIdle());
  EXPECT_LT(client.data.size(), 1'100'000U);
}

}  // namespace
}  // namespace pellora
