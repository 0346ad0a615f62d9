// What hostile servers say in the heads of replies.
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

}  // namespace
}  // namespace pellora
