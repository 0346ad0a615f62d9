// What a SimHttpServer's paths have beside their bytes, and how it limits and restarts itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>

#include "SimFetchRecorder.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://origin.example/a.bin";

class SimHttpSiteTest : public testing::Test {
 protected:
  SimHttpSiteTest() { origin.File("/a.bin", file); }

  SimFetchRecorder& Fetched(const std::string& url, const std::vector<FetchHeader>& headers = {}) {
    FetchRequest request = SimFetchRecorder::Plain(url);
    request.headers = headers;
    SimFetchRecorder& one = clients.emplace_back(sim, std::move(request));
    sim.RunUntil([&] { return one.end.has_value(); }, 600'000);
    return one;
  }
  int Status(const std::vector<FetchHeader>& headers = {}) { return Fetched(kUrl, headers).answer.status; }
  // That many at once.
  std::string EndsOf(int requests) {
    clients.clear();
    for (int i = 0; i < requests; ++i) clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
    sim.RunFor(120'000);
    std::string ends;
    for (const SimFetchRecorder& one : clients) {
      ends += std::to_string(one.answer.status) +
              (one.end == FetchEnd::Whole       ? "w"
               : one.end == FetchEnd::Lost      ? "l"
               : one.end == FetchEnd::NoConnect ? "n"
                                                : "?") +
              " ";
    }
    return ends;
  }

  SimContent file = SimContent::Generated(300'000);
  SimPlatform sim;
  SimHttpServer origin{sim.network(), "origin.example", 443};
  std::deque<SimFetchRecorder> clients;
};

TEST_F(SimHttpSiteTest, SendsValidatorsNamesAndCookies) {
  HttpTraits& traits = origin.Traits("/a.bin");
  traits.validators = {{.etag = "W/\"1\"", .modified = 784'111'777}};
  traits.disposition = "attachment; filename=b.bin";
  traits.setCookies = {"a=1", "b=2; Path=/"};
  const SimFetchRecorder& one = Fetched(kUrl);
  EXPECT_EQ(one.Header("ETag"), "W/\"1\"");
  EXPECT_EQ(one.Header("Last-Modified"), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(one.Header("Date").size(), 29U);
  EXPECT_EQ(one.Header("Content-Disposition"), "attachment; filename=b.bin");
  EXPECT_EQ(one.Header("Set-Cookie"), "a=1");
}

TEST_F(SimHttpSiteTest, NodesDifferInTheirValidators) {
  origin.Traits("/a.bin").validators = {{.etag = "\"1\""}, {.etag = "\"2\""}};
  sim.fetcher().SetMostKept(0);
  for (const char* const etag : {"\"1\"", "\"2\"", "\"1\""}) EXPECT_EQ(Fetched(kUrl).Header("ETag"), etag);
}

TEST_F(SimHttpSiteTest, AnswersConditions) {
  origin.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  EXPECT_EQ(Status({{"If-None-Match", "\"1\""}}), 304);
  EXPECT_EQ(Status({{"If-None-Match", "\"2\""}}), 200);
  EXPECT_EQ(Status({{"If-Match", "\"2\""}}), 412);
  EXPECT_EQ(Status({{"If-Match", "\"1\""}}), 200);
}

TEST_F(SimHttpSiteTest, DemandsCookiesAndLogins) {
  origin.Traits("/a.bin").cookie = "id=7";
  EXPECT_EQ(Status(), 403);
  EXPECT_EQ(Status({{"Cookie", "x=1; id=77"}}), 403);
  EXPECT_EQ(Status({{"Cookie", "x=1; id=7"}}), 200);
  origin.Traits("/a.bin").withoutCookie = 200;
  FetchRequest ranged = SimFetchRecorder::Ranged(kUrl, 0);
  SimFetchRecorder page(sim, ranged);
  sim.RunFor(10'000);
  EXPECT_EQ(page.answer.status, 200);
  EXPECT_EQ(page.Header("Content-Type"), "text/html");
  origin.Traits("/a.bin") = {.login = "ann:pw"};
  EXPECT_EQ(Status(), 401);
  EXPECT_EQ(clients.back().Header("WWW-Authenticate"), "Basic realm=\"origin\"");
  EXPECT_EQ(Status({{"Authorization", "Basic YW5uOnB3"}}), 200);
}

TEST_F(SimHttpSiteTest, ServesALinkAsOftenAsItMayBeUsed) {
  origin.Traits("/a.bin").uses = 2;
  EXPECT_EQ(Status(), 200);
  EXPECT_EQ(Status(), 200);
  EXPECT_EQ(Status(), 403);
}

TEST_F(SimHttpSiteTest, ChangesAFileBetweenRequests) {
  const SimContent other = SimContent::Generated(500);
  origin.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  origin.ChangeAfter(2, "/a.bin", other, {{.etag = "\"2\""}});
  EXPECT_EQ(Fetched(kUrl).data, file.All());
  EXPECT_EQ(Fetched(kUrl).Header("ETag"), "\"1\"");
  EXPECT_EQ(Fetched(kUrl).data, other.All());
  EXPECT_EQ(clients.back().Header("ETag"), "\"2\"");
}

TEST_F(SimHttpSiteTest, RedirectsWithCookiesToAnyLocation) {
  for (const char* const location : {"b.bin", "/b.bin", "http://origin.example/b.bin", "//other.example/", kUrl}) {
    origin.Redirect("/a.bin", location, 307);
    origin.Traits("/a.bin").setCookies = {"id=7"};
    const SimFetchRecorder& one = Fetched(kUrl);
    EXPECT_EQ(one.answer.status, 307);
    EXPECT_EQ(one.Header("Location"), location);
    EXPECT_EQ(one.Header("Set-Cookie"), "id=7");
  }
}

TEST_F(SimHttpSiteTest, LimitsConnectionsAndReplies) {
  sim.fetcher().SetMostKept(0);
  origin.Always({.wire = {.bytesPerSecond = 1'000'000}});
  origin.SetLimit({.most = 2});
  EXPECT_EQ(EndsOf(4), "200w 200w 0n 0n ");
  EXPECT_EQ(EndsOf(2), "200w 200w ");
  origin.SetLimit({.most = 2, .over = HttpOver::Reset});
  std::string ends = EndsOf(4);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), 'w'), 2);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), 'l'), 2);
  origin.SetLimit({.most = 1, .over = HttpOver::TooManyRequests, .retryAfter = "9"});
  ends = EndsOf(3);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), 'w'), 3);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), '9'), 2) << ends;  // of 429
  EXPECT_TRUE(
      std::any_of(clients.begin(), clients.end(), [](const auto& one) { return one.Header("Retry-After") == "9"; }));
  origin.SetLimit({.most = 1, .over = HttpOver::Busy});
  ends = EndsOf(3);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), '5'), 2) << ends;  // of 503
  EXPECT_EQ(EndsOf(1), "200w ");
  EXPECT_EQ(origin.Open(), 0);
}

TEST_F(SimHttpSiteTest, RestartsAndIsBackAfterATime) {
  origin.Always({.wire = {.bytesPerSecond = 100'000}});
  SimFetchRecorder& one = clients.emplace_back(sim, SimFetchRecorder::Plain(kUrl));
  sim.RunFor(1000);
  EXPECT_EQ(origin.Open(), 1);
  origin.Restart(3000);
  sim.RunFor(500);
  EXPECT_EQ(one.end, FetchEnd::Lost);
  EXPECT_FALSE(one.data.empty());
  EXPECT_EQ(Fetched(kUrl).end, FetchEnd::NoConnect);
  sim.RunFor(3000);
  EXPECT_EQ(Fetched(kUrl).data, file.All());
}

TEST_F(SimHttpSiteTest, ChoosesFaultsByRequest) {
  origin.OnRequest(2, {.status = 500});
  origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    if (request.number != 3) return std::nullopt;
    return HttpFault{.status = 418};
  });
  EXPECT_EQ(Status(), 200);
  EXPECT_EQ(Status(), 500);
  EXPECT_EQ(Status(), 418);
  EXPECT_EQ(Status(), 200);
}

TEST_F(SimHttpSiteTest, SaysTheLengthWhereARangeIsBeyondTheEnd) {
  SimFetchRecorder plain(sim, SimFetchRecorder::Ranged(kUrl, 300'000));
  sim.RunFor(10'000);
  EXPECT_EQ(plain.answer.status, 416);
  EXPECT_EQ(plain.Header("Content-Range"), "");
  origin.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  SimFetchRecorder one(sim, SimFetchRecorder::Ranged(kUrl, 300'000));
  sim.RunFor(10'000);
  EXPECT_EQ(one.answer.status, 416);
  EXPECT_EQ(one.Header("Content-Range"), "bytes */300000");
}

TEST_F(SimHttpSiteTest, TunnelsAsAProxy) {
  origin.tunnels = true;
  sim.network().Serve("proxy.example", 3128, origin);
  FetchRequest request = SimFetchRecorder::Plain("https://hidden.example/a.bin");
  request.proxy = "http://proxy.example:3128";
  SimFetchRecorder one(sim, request);
  sim.RunFor(10'000);
  EXPECT_EQ(one.data, file.All());
  EXPECT_EQ(origin.Requests().at(0).target, "hidden.example:443");
  EXPECT_EQ(origin.Requests().at(1).Header("Host"), "hidden.example");
  origin.Always({.status = 407});
  sim.fetcher().CloseKept();
  SimFetchRecorder refused(sim, request);
  sim.RunFor(10'000);
  EXPECT_EQ(refused.end, FetchEnd::ProxyLogin);
}

}  // namespace
}  // namespace pellora
