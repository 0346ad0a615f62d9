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

}  // namespace
}  // namespace pellora
