// The whole program over long times and many seeds.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Life.h"

namespace pellora {
namespace {

constexpr std::uint64_t kMinute = 60'000;
constexpr std::uint64_t kHour = 60 * kMinute;

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

#define EXPECT_ALL_WELL(life)                                               \
  do {                                                                      \
    const std::vector<std::string> wrong = (life).Check();                  \
    EXPECT_TRUE(wrong.empty()) << (life).Replay() << "\n" << Joined(wrong); \
  } while (false)

// Three sessions of some minutes: one ends by a kill, one by quitting or as the user has it, and in the
// last everything that can finish must.
void LiveOnce(std::uint64_t seed) {
  Life life(seed);
  for (int session = 0; session < 2; ++session) {
    life.Begin();
    life.LiveFor(3 * kMinute);
    if (!life.Running()) continue;
    EXPECT_ALL_WELL(life);
    if (session == 0) {
      life.Kill();
    } else {
      life.Quit();
    }
  }
  life.Begin();
  EXPECT_ALL_WELL(life);
  life.LiveFor(kMinute);
  if (!life.Running()) return;
  EXPECT_TRUE(life.Settle(2 * kHour)) << life.Replay() << ": something waits for ever\n" << life.Listed();
  if (!life.sim().Ended()) EXPECT_ALL_WELL(life);
}

// PELLORA_SEEDS and PELLORA_DAYS shorten the runs where the program is slow, as under the sanitizers.
std::uint64_t NumberOr(const char* variable, std::uint64_t usual) {
  const char* const text = std::getenv(variable);
  return text ? std::strtoull(text, nullptr, 10) : usual;
}

TEST(AThousandSeeds, LeaveNoDownloadWrongAndNoneWaitingForEver) {
  if (const char* const one = std::getenv("PELLORA_SEED")) return LiveOnce(std::strtoull(one, nullptr, 10));
  const std::uint64_t seeds = NumberOr("PELLORA_SEEDS", 1000);
  for (std::uint64_t seed = 1; seed <= seeds && !::testing::Test::HasFailure(); ++seed) LiveOnce(seed);
}

TEST(AWeek, OfRandomUsePassesInOneSession) {
  Life life(SeedOr(77));
  const std::uint64_t days = NumberOr("PELLORA_DAYS", 7);
  int sessions = 0;
  double lived = 0;  // ms
  while (lived < static_cast<double>(days * 24 * kHour)) {
    life.Begin();
    ++sessions;
    for (int hour = 0; hour < 24 && life.Running(); ++hour) {
      const double before = life.sim().Elapsed();
      // Most of the day nobody is there.
      life.LiveFor(5 * kMinute);
      if (!life.Running()) {
        lived += 5 * kMinute;
        break;
      }
      life.sim().RunFor(55 * kMinute);
      if (life.sim().Ended()) break;
      EXPECT_ALL_WELL(life);
      lived += life.sim().Elapsed() - before;
    }
    if (life.Running()) life.Quit();
  }
  EXPECT_GE(sessions, static_cast<int>(days));
  EXPECT_GT(life.Started(), static_cast<int>(150 * days));
}

}  // namespace
}  // namespace pellora
