#include <gtest/gtest.h>

#include <deque>
#include <set>
#include <string>

#include "SimFetchRecorder.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

// What four requests, two of them at once, get from a server that behaves like that.
std::string OutcomeOf(const std::string& name) {
  SimPlatform sim({.seed = 5});
  SimHttpServer origin(sim.network(), "origin.example", 443);
  const SimContent file = SimContent::Generated(3'000'000);
  origin.File("/a.bin", file);
  origin.Traits("/a.bin").validators = {{.etag = "\"1\""}};
  EXPECT_EQ(origin.Misbehave(name), !name.empty()) << name;
  std::deque<SimFetchRecorder> clients;
  const std::string url = "https://origin.example/a.bin";
  std::string outcome;
  const auto fetch = [&](std::int64_t from, std::int64_t to, bool conditional) {
    FetchRequest request = SimFetchRecorder::Ranged(url, from, to);
    if (conditional) request.headers = {{"If-Range", "\"1\""}};
    clients.emplace_back(sim, request);
  };
  fetch(0, -1, false);
  fetch(2'000'000, 2'999'999, false);
  fetch(1'000'000, 1'999'999, true);
  sim.RunFor(120'000);
  fetch(1'000'000, 1'000'999, false);
  sim.RunFor(120'000);
  for (const SimFetchRecorder& one : clients) {
    outcome += std::to_string(one.answer.status) + " ";
    for (const FetchHeader& header : one.answer.headers) outcome += header.name + " ";
    outcome += one.Header("Content-Range") + " " + std::to_string(one.data.size()) + " " +
               (one.end ? std::to_string(static_cast<int>(*one.end)) : "-") + " after " +
               std::to_string(one.times.empty() ? 0 : static_cast<int>(one.times.back()) / 5000) + "\n";
  }
  std::uint64_t bytes = 0;
  for (const SimConnectionLog& connection : sim.network().Log()) bytes += connection.delivered;
  return outcome + std::to_string(sim.network().Log().size()) + " connections, " + std::to_string(bytes) + " bytes\n";
}

TEST(SimHttpMisbehaviour, EachIsSeenAndDiffersFromTheOthers) {
  const std::vector<std::string> names = SimHttpServer::Misbehaviours();
  EXPECT_GT(names.size(), 50U);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  const std::string usual = OutcomeOf("");
  for (const std::string& name : names) EXPECT_NE(OutcomeOf(name), usual) << name;
}

TEST(SimHttpMisbehaviour, UnknownNamesAndTheEndOfOne) {
  SimPlatform sim;
  SimHttpServer origin(sim.network(), "origin.example");
  origin.File("/a.bin", "bytes");
  EXPECT_FALSE(origin.Misbehave("is kind"));
  EXPECT_TRUE(origin.Misbehave("404"));
  EXPECT_TRUE(origin.Misbehave("chunked"));
  SimFetchRecorder one(sim, SimFetchRecorder::Plain("http://origin.example/a.bin"));
  sim.RunFor(10'000);
  EXPECT_EQ(one.data, "bytes");
  EXPECT_EQ(one.Header("Transfer-Encoding"), "chunked");
  origin.NoFaults();
  SimFetchRecorder two(sim, SimFetchRecorder::Plain("http://origin.example/a.bin"));
  sim.RunFor(10'000);
  EXPECT_EQ(two.Header("Content-Length"), "5");
}

}  // namespace
}  // namespace pellora
