#include <gtest/gtest.h>

#include <filesystem>

#include "Support.h"
#include "desktop/XdgAutoStart.h"
#include "ui/SystemHelpers.h"

namespace pellora {
namespace {

std::size_t EntriesIn(const std::string& folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

TEST(SetAutoStart, EnabledTwiceLeavesOneEntry) {
  const Folder config;
  XdgAutoStart autoStart("/opt/My Programs/Pellora", config.Path());
  SetAutoStart(autoStart, true);
  SetAutoStart(autoStart, true);
  EXPECT_EQ(EntriesIn(config.Path("autostart")), 1U);
  const std::string entry = Content(config.Path("autostart/PelloraAutoStart.desktop"));
  EXPECT_NE(entry.find("\nExec=\"/opt/My Programs/Pellora\"\n"), std::string::npos) << entry;
}

TEST(SetAutoStart, DisabledRemovesTheEntryIfThereIsOne) {
  const Folder config;
  Put(config.Path("other.desktop"), "x");
  XdgAutoStart autoStart("/opt/Pellora", config.Path());
  SetAutoStart(autoStart, false);
  EXPECT_EQ(EntriesIn(config.Path()), 1U);
  SetAutoStart(autoStart, true);
  SetAutoStart(autoStart, false);
  EXPECT_EQ(EntriesIn(config.Path("autostart")), 0U);
}

TEST(SetAutoStart, FailsQuietlyInAnUnwritableFolder) {
  const Folder config;
  Put(config.Path("autostart"), "a file where the folder should be");
  XdgAutoStart autoStart("/opt/Pellora", config.Path());
  SetAutoStart(autoStart, true);
  EXPECT_EQ(Content(config.Path("autostart")), "a file where the folder should be");
}

TEST(SetAutoStart, OfAnInstalledProgramNamesItsCommandAlone) {
  const Folder config;
  XdgAutoStart autoStart(kInstalledCommand, config.Path());
  SetAutoStart(autoStart, true);
  const std::string entry = Content(config.Path("autostart/PelloraAutoStart.desktop"));
  EXPECT_NE(entry.find("\nExec=pellora\nTryExec=pellora\n"), std::string::npos) << entry;
}

TEST(TakeOver, HasAnEntryOfAnotherCopyStartThisOne) {
  const Folder config;
  XdgAutoStart other("/home/u/Pellora/Pellora", config.Path());
  XdgAutoStart autoStart(kInstalledCommand, config.Path());
  autoStart.TakeOver();
  EXPECT_FALSE(std::filesystem::exists(config.Path("autostart")));
  SetAutoStart(other, true);
  autoStart.TakeOver();
  const std::string path = config.Path("autostart/PelloraAutoStart.desktop");
  EXPECT_NE(Content(path).find("\nExec=pellora\n"), std::string::npos) << Content(path);
  Put(path, "[Desktop Entry]\nName=Mine\n");
  autoStart.TakeOver();
  EXPECT_EQ(Content(path), "[Desktop Entry]\nName=Mine\n");
}

}  // namespace
}  // namespace pellora
