// What hostile servers say in the heads of replies, and what those without validators may do unseen.
#include <gtest/gtest.h>

#include "WebRig.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";

class WebHostile : public testing::Test, public WebRig {
 protected:
  WebHostile() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
  }
  const SimContent content = SimContent::Generated(8'000'000, 7);
  SimHttpServer origin;
};

// Moments for which there is no date.
TEST_F(WebHostile, ARetryAfterBeyondTheCalendarStopsTheDownloadAtOnce) {
  for (const char* const seconds : {"300000000000", "9223372036854775807", "9223372036854775"}) {
    origin.Always({.status = 503, .retryAfter = seconds});
    const std::size_t before = origin.Requests().size();
    const std::int16_t index = Start(kUrl);
    ASSERT_TRUE(RunUntilStopped(index)) << seconds;
    EXPECT_EQ(origin.Requests().size(), before + 1) << seconds;
    EXPECT_NE(Web(index).reason.find("asks for no further request before "), std::string::npos) << Web(index).reason;
  }
}

class WebUnproven : public testing::Test, public WebRig {
 protected:
  WebUnproven() : origin(sim.network(), "o.example", 443) {
    origin.File("/a.bin", content);
    origin.Always({.wire = {.bytesPerSecond = 300'000}});
    Start(kUrl);
  }
  const SimContent content = SimContent::Generated(6'000'000, 1);
  SimHttpServer origin;
};

TEST_F(WebUnproven, AServerThatComesBackWithOtherBytesIsAskedAbout) {
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  const SimContent other = SimContent::Generated(6'000'000, 2);
  origin.File("/a.bin", other);
  origin.Restart(5000);
  ASSERT_TRUE(RunUntilAsked());
  Answer(true);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", other));
}

TEST_F(WebUnproven, AServerThatComesBackWithTheSameBytesGoesOn) {
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  origin.Restart(5000);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_FALSE(Asks());
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
}

TEST_F(WebUnproven, AServerThatCutsEachSampleStopsTheDownloadInTheEnd) {
  ASSERT_TRUE(RunUntilReceived(2'000'000));
  origin.Restart(5000);
  origin.Always({.cutBody = 30'000});
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_NE(Web().reason, "");
}

}  // namespace
}  // namespace pellora
