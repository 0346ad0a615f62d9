#include <gtest/gtest.h>

#include <memory>

#include "SimPlatform.h"
#include "ui/Controls.h"
#include "ui/SystemHelpers.h"

namespace pellora {
namespace {

class Pictures : public Window {
 public:
  explicit Pictures(Platform& platform) : Window(platform, "Pictures", "") {}
  Picture pic16{this, "pic16"};
  Picture pic32{this, "pic32"};
};

TEST(SetAutoStart, FailsQuietly) {
  SimAutoStart autoStart;
  autoStart.failWrites = true;
  SetAutoStart(autoStart, true);
  EXPECT_EQ(autoStart.writes, 1);
}

TEST(FileTypePicture, DependsOnTheExtensionAfterTheLastDot) {
  EXPECT_EQ(FileTypePicture("a.zip"), "file:zip");
  EXPECT_EQ(FileTypePicture("/home/u/a.b.ZIP"), "file:ZIP");
  EXPECT_EQ(FileTypePicture("/home/u.d/readme"), "file:");
  EXPECT_EQ(FileTypePicture(""), "file:");
  EXPECT_EQ(FileTypePicture("docs/"), "folder");
}

TEST(LoadFileIcons, ShowsTheTypeOfTheNameAfterTheLastSlashInBothSizes) {
  SimPlatform sim;
  const auto window = std::make_shared<Pictures>(sim.platform());
  LoadFileIcons("docs/img/a.png", window->pic16, window->pic32);
  EXPECT_EQ(window->pic16.Image(), "file:png");
  EXPECT_EQ(window->pic32.Image(), "file:png");
}

TEST(LoadFileIcons, WritesNothingAndWorksWithoutTheTempFolder) {
  SimPlatform sim;
  const auto window = std::make_shared<Pictures>(sim.platform());
  LoadFileIcons("a.zip", window->pic16, window->pic32);
  EXPECT_EQ(sim.disk().Calls(), 0U);
}

}  // namespace
}  // namespace pellora
