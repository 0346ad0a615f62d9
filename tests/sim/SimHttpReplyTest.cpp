#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "SimFetchRecorder.h"
#include "SimHttpServer.h"
#include "SimHttpText.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "http://origin.example/a.bin";

class SimHttpReplyTest : public testing::Test {
 protected:
  SimHttpReplyTest() { origin.File("/a.bin", file); }

  SimFetchRecorder& Fetched(FetchRequest request) {
    SimFetchRecorder& one = clients.emplace_back(sim, std::move(request));
    sim.RunUntil([&] { return one.end.has_value(); }, 600'000);
    return one;
  }
  SimFetchRecorder& Fetched(const std::string& url) { return Fetched(SimFetchRecorder::Plain(url)); }
  SimFetchRecorder& Ranged(std::int64_t from, std::int64_t to, const std::vector<FetchHeader>& headers = {}) {
    FetchRequest request = SimFetchRecorder::Ranged(kUrl, from, to);
    request.headers = headers;
    return Fetched(request);
  }

  SimContent file = SimContent::Generated(200'000);
  SimPlatform sim;
  SimHttpServer origin{sim.network(), "origin.example"};
  std::deque<SimFetchRecorder> clients;
};

TEST_F(SimHttpReplyTest, SendsChunksAndTrailers) {
  origin.Always({.chunked = true, .trailers = "X-Sum: 1\r\n"});
  const SimFetchRecorder& whole = Fetched(kUrl);
  EXPECT_EQ(whole.end, FetchEnd::Whole);
  EXPECT_EQ(whole.data, file.All());
  EXPECT_EQ(whole.Header("Content-Length"), "");
  EXPECT_EQ(whole.Header("X-Sum"), "");
  const SimFetchRecorder& part = Ranged(1000, 1999);
  EXPECT_EQ(part.answer.status, 206);
  EXPECT_EQ(part.data, file.Bytes(1000, 1000));
  EXPECT_EQ(sim.network().Log().size(), 1U);
  origin.File("/a.bin", "");
  EXPECT_EQ(Fetched(kUrl).data, "");
  EXPECT_EQ(clients.back().end, FetchEnd::Whole);
}

TEST_F(SimHttpReplyTest, CutsBodiesAtAnyReplyOfAConnection) {
  Ranged(0, 9);
  for (const bool chunked : {false, true}) {
    origin.Always({.chunked = chunked, .cutBody = 60'000});
    const SimFetchRecorder& one = Fetched(kUrl);
    EXPECT_EQ(one.end, FetchEnd::Lost);
    EXPECT_EQ(one.data, file.Bytes(0, 60'000));
  }
  origin.Always({.length = HttpLength::Missing, .cutBody = 60'000});
  EXPECT_EQ(Fetched(kUrl).end, FetchEnd::Whole);  // nothing tells that this is not all
  EXPECT_EQ(clients.back().data.size(), 60'000U);
}

TEST_F(SimHttpReplyTest, SendsMoreThanItSaid) {
  origin.Always({.tail = "more"});
  EXPECT_EQ(Ranged(0, 99).data, file.Bytes(0, 100));
  EXPECT_EQ(clients.back().end, FetchEnd::Whole);
  origin.Always({});
  EXPECT_EQ(Ranged(5, 9).data, file.Bytes(5, 5));
}

TEST_F(SimHttpReplyTest, StallsInTheMiddleAndGoesOn) {
  origin.Always({.stallAt = 1000, .stall = 30'000});
  const SimFetchRecorder& late = Fetched(kUrl);
  EXPECT_EQ(late.data, file.All());
  EXPECT_GT(late.times.back() - late.times.front(), 29'900);
  origin.Always({.stallAt = 1000});
  const SimFetchRecorder& never = Fetched(kUrl);
  EXPECT_FALSE(never.end);
  EXPECT_EQ(never.data, file.Bytes(0, 1000));
}

TEST_F(SimHttpReplyTest, ChangesTheFileInMidTransfer) {
  const SimContent other = SimContent::Generated(200'000, 9);
  origin.Always({.swapAt = 100'000, .swap = other});
  EXPECT_EQ(Fetched(kUrl).data, file.Bytes(0, 100'000) + other.Bytes(100'000, 100'000));
  EXPECT_EQ(Ranged(99'998, 100'001).data, file.Bytes(99'998, 2) + other.Bytes(100'000, 2));
  EXPECT_EQ(Ranged(150'000, 150'009).data, other.Bytes(150'000, 10));
}

TEST_F(SimHttpReplyTest, LiesAboutRanges) {
  const struct {
    HttpFault fault;
    const char* contentRange;
    std::uint64_t from;
  } cases[] = {
      {{.rangeShift = 7}, "bytes 107-199/200000", 107},
      {{.total = "*"}, "bytes 100-199/*", 100},
      {{.total = "5"}, "bytes 100-199/5", 100},
      {{.contentRange = "bytes 0-99/200000"}, "bytes 0-99/200000", 100},
      {{.noContentRange = true}, "", 100},
      {{.multipart = true}, "", 100},
  };
  for (const auto& c : cases) {
    origin.Always(c.fault);
    const SimFetchRecorder& one = Ranged(100, 199);
    EXPECT_EQ(one.answer.status, 206);
    EXPECT_EQ(one.Header("Content-Range"), c.contentRange);
    EXPECT_EQ(one.data, file.Bytes(c.from, 200 - c.from));
  }
  EXPECT_EQ(clients.back().Header("Content-Type"), "multipart/byteranges; boundary=part");
}

TEST_F(SimHttpReplyTest, HoldsIfRangeAgainstStrongValidators) {
  origin.Traits("/a.bin").validators = {{.etag = "\"one\"", .modified = 784'111'777}};
  const auto status = [&](const std::string& condition) {
    return Ranged(5, 9, {{"If-Range", condition}}).answer.status;
  };
  EXPECT_EQ(status("\"one\""), 206);
  EXPECT_EQ(status("\"two\""), 200);
  EXPECT_EQ(status("Sun, 06 Nov 1994 08:49:37 GMT"), 206);
  EXPECT_EQ(status("Sun, 06 Nov 1994 08:49:38 GMT"), 200);
  EXPECT_EQ(clients.back().data, file.All());
  origin.Traits("/a.bin").validators = {{.etag = "W/\"one\""}};
  EXPECT_EQ(status("W/\"one\""), 200);
  origin.Traits("/a.bin").validators = {{.etag = "\"one\""}};
  origin.Always({.dropIfRange = true});
  EXPECT_EQ(status("\"one\""), 200);
  EXPECT_EQ(Ranged(5, 9).answer.status, 206);
}

TEST_F(SimHttpReplyTest, WritesRetryAfterAsSecondsAndAsADate) {
  origin.OnRequest(1, {.status = 503, .retryAfter = "7"});
  origin.OnRequest(2, {.status = 429, .retryIn = 30});
  EXPECT_EQ(Fetched(kUrl).Header("Retry-After"), "7");
  EXPECT_EQ(clients.back().answer.status, 503);
  EXPECT_EQ(Fetched(kUrl).answer.status, 429);
  EXPECT_EQ(clients.back().Header("Date").substr(0, 16), "Tue, 09 Dec 2025");
  EXPECT_NE(clients.back().Header("Retry-After"), clients.back().Header("Date"));
  EXPECT_EQ(Fetched(kUrl).answer.status, 200);
}

TEST_F(SimHttpReplyTest, SendsOddHeads) {
  origin.Always({.early = "HTTP/1.1 103 Early\r\nETag: x\r\n\r\n", .secondLength = "200000", .encoding = "gzip"});
  const SimFetchRecorder& one = Fetched(kUrl);
  EXPECT_EQ(one.Header("ETag"), "");
  EXPECT_EQ(one.Header("Content-Encoding"), "gzip");
  EXPECT_EQ(std::count_if(one.answer.headers.begin(), one.answer.headers.end(),
                          [](const FetchHeader& header) { return header.name == "Content-Length"; }),
            2);
  EXPECT_EQ(one.data, file.All());
  origin.Always({.transferEncoding = "gzip"});
  EXPECT_EQ(Fetched(kUrl).Header("Transfer-Encoding"), "gzip");
}

TEST(SimHttpText, WritesDates) {
  EXPECT_EQ(SimHttpDate(784'111'777), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(SimHttpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
  EXPECT_EQ(SimHttpDate(4'107'542'399), "Sun, 28 Feb 2100 23:59:59 GMT");
}

TEST(SimHttpText, WritesBase64) {
  const std::pair<const char*, const char*> cases[] = {{"", ""},        {"f", "Zg=="},          {"fo", "Zm8="},
                                                       {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe", "//4="}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(SimBase64(bytes), text);
}

}  // namespace
}  // namespace pellora
