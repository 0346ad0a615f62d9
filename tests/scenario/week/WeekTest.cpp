// The whole program over long times and with many seeds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Life.h"

namespace pellora {
namespace {

constexpr std::uint64_t kMinute = 60'000;
constexpr std::uint64_t kHour = 60 * kMinute;
constexpr int kShares = 8;

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// PELLORA_SEEDS and PELLORA_DAYS shorten slow runs, as under the sanitizers.
std::uint64_t NumberOr(const char* variable, std::uint64_t usual) {
  const char* const text = std::getenv(variable);
  return text ? std::strtoull(text, nullptr, 10) : usual;
}

// One life in twenty is run twice, and must be the same.
void RunSeed(std::uint64_t seed, const LifeOptions& options) {
  Life life(seed, options);
  const std::vector<std::string> wrong = life.Run();
  EXPECT_TRUE(wrong.empty()) << "PELLORA_SEED=" << seed << " or " << life.Replay() << "\n" << Joined(wrong);
  if (seed % 20 != 0) return;
  Life again(seed, options);
  (void)again.Run();
  EXPECT_EQ(again.TraceHash(), life.TraceHash()) << "seed " << seed << " gave two different lives";
}

// Each has a share of the seeds, so that several lives can run at a time.
class Lives : public ::testing::TestWithParam<int> {};

void RunShare(int share, std::uint64_t usual, const LifeOptions& options) {
  if (const char* const one = std::getenv("PELLORA_SEED")) {
    if (share == 0) RunSeed(std::strtoull(one, nullptr, 10), options);
    return;
  }
  const std::uint64_t seeds = NumberOr("PELLORA_SEEDS", usual);
  for (std::uint64_t seed = 1 + static_cast<std::uint64_t>(share); seed <= seeds && !::testing::Test::HasFailure();
       seed += kShares) {
    RunSeed(seed, options);
  }
}

TEST_P(Lives, KeepAllInvariantsAndLeaveNothingWaitingForever) { RunShare(GetParam(), 5000, {}); }

// Each costs as much as ten of the others.
TEST_P(Lives, KeepThemWithTheWebEngine) {
  LifeOptions options;
  options.web = true;
  RunShare(GetParam(), 120, options);
}

INSTANTIATE_TEST_SUITE_P(Share, Lives, ::testing::Range(0, kShares));

TEST(LifeOfAWeek, KeepsAllInvariantsUnderRandomUse) {
  Life life(SeedOr(77));
  const std::uint64_t days = NumberOr("PELLORA_DAYS", 7);
  int sessions = 0;
  double lived = 0;  // ms
  while (lived < static_cast<double>(days * 24 * kHour) && !::testing::Test::HasFailure()) {
    life.Begin();
    ++sessions;
    for (int hour = 0; hour < 24 && life.Running(); ++hour) {
      const double before = life.sim().Elapsed();
      // The user is away for most of the day.
      life.LiveFor(5 * kMinute);
      if (!life.Running()) {
        lived += 5 * kMinute;
        break;
      }
      life.sim().RunFor(55 * kMinute);
      if (life.sim().Ended()) break;
      const std::vector<std::string> wrong = life.Check();
      EXPECT_TRUE(wrong.empty()) << Joined(wrong);
      lived += life.sim().Elapsed() - before;
    }
    EXPECT_TRUE(life.Wrong().empty()) << Joined(life.Wrong());
    if (life.Running()) life.Quit();
  }
  EXPECT_GE(sessions, static_cast<int>(days));
  EXPECT_GT(life.Started(), static_cast<int>(150 * days));
}

}  // namespace
}  // namespace pellora
