#include <gtest/gtest.h>

#include <memory>

#include "TestPlatform.h"
#include "ports/AutoStart.h"
#include "ports/Failure.h"
#include "ui/Controls.h"
#include "ui/SystemHelpers.h"

namespace pellora {
namespace {

// A list of programs that cannot be written.
class LockedAutoStart final : public AutoStart {
 public:
  void SetEntry(bool present) override {
    asked = present;
    throw Failure(FailureNumber::File, "locked");
  }
  bool asked = false;
};

class Pictures : public Window {
 public:
  explicit Pictures(Platform& platform) : Window(platform, "Pictures", "") {}
  Picture pic16{this, "pic16"};
  Picture pic32{this, "pic32"};
};

TEST(SetAutoStart, FailsQuietly) {
  LockedAutoStart autoStart;
  SetAutoStart(autoStart, true);
  EXPECT_TRUE(autoStart.asked);
}

TEST(FileTypePicture, DependsOnTheExtensionAfterTheLastDot) {
  EXPECT_EQ(FileTypePicture("a.zip"), "file:zip");
  EXPECT_EQ(FileTypePicture("/home/u/a.b.ZIP"), "file:ZIP");
  EXPECT_EQ(FileTypePicture("/home/u.d/readme"), "file:");
  EXPECT_EQ(FileTypePicture(""), "file:");
  EXPECT_EQ(FileTypePicture("docs/"), "folder");
}

TEST(LoadFileIcons, ShowsTheTypeOfTheNameAfterTheLastSlashInBothSizes) {
  TestPlatform ports;
  const auto window = std::make_shared<Pictures>(ports.platform);
  LoadFileIcons("docs/img/a.png", window->pic16, window->pic32);
  EXPECT_EQ(window->pic16.Image(), "file:png");
  EXPECT_EQ(window->pic32.Image(), "file:png");
}

TEST(LoadFileIcons, WritesNothingAndWorksWithoutTheTempFolder) {
  TestPlatform ports;
  const auto window = std::make_shared<Pictures>(ports.platform);
  LoadFileIcons("a.zip", window->pic16, window->pic32);
  EXPECT_TRUE(ports.files.contents.empty());
}

}  // namespace
}  // namespace pellora
