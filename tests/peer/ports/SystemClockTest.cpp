#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "desktop/SystemClock.h"

namespace pellora {
namespace {

// Sets the time zone of this process, and the former one at the end.
class Zone {
 public:
  Zone() {
    if (const char* const value = std::getenv("TZ")) former_ = value;
  }
  ~Zone() {
    if (former_) {
      Set(former_->c_str());
    } else {
      unsetenv("TZ");
    }
  }
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;
  static void Set(const char* value) { setenv("TZ", value, 1); }

 private:
  std::optional<std::string> former_;
};

TEST(SystemClock, FollowsATimeZoneThatChangesWithinASecond) {
  Zone zone;
  const SystemClock clock;
  Zone::Set("UTC0");
  usleep(1'100'000);
  const double before = clock.Now();
  Zone::Set("EAST-6");
  usleep(1'100'000);
  const double hours = (clock.Now() - before) * 24;
  EXPECT_GT(hours, 5.99);
  EXPECT_LT(hours, 6.01);
}

}  // namespace
}  // namespace pellora
