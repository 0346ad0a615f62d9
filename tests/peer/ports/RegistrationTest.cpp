#include <gtest/gtest.h>

#include "Support.h"
#include "desktop/Registration.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

const std::string kService = "dbus-1/services/PelloraProject.Pellora.service";
const std::string kEntry = "applications/org.pelloraproject.pellora.desktop";

TEST(ActivationFileText, ContainsTheBusNameAndTheQuotedProgram) {
  EXPECT_EQ(ActivationFileText("/opt/My Programs/Pellora"),
            "[D-BUS Service]\nName=PelloraProject.Pellora\nExec=\"/opt/My Programs/Pellora\"\n");
}

TEST(ActivationFileText, EscapesShellSyntax) {
  EXPECT_NE(ActivationFileText("/a\"b`c$d\\e/Pellora").find(R"(Exec="/a\\"b\\`c\\$d\\\\e/Pellora")"),
            std::string::npos);
}

TEST(ActivationFileText, RefusesAPathWithALineBreak) {
  EXPECT_THROW((void)ActivationFileText("/a\nb/Pellora"), Failure);
  EXPECT_THROW((void)ApplicationEntryText("/a\rb/Pellora"), Failure);
}

TEST(ApplicationEntryText, StartsAProgramWithAPercentSignThroughAShell) {
  EXPECT_NE(ApplicationEntryText("/50%/Pellora").find(R"(
Exec=/bin/sh -c "exec \\"\\$0\\"" "/50%%/Pellora"
)"),
            std::string::npos);
  EXPECT_NE(ApplicationEntryText("/a b/Pellora").find("\nExec=\"/a b/Pellora\"\n"), std::string::npos);
}

TEST(RegisterProgram, RegistersAgainAtEveryStart) {
  const Folder data;
  RegisterProgram("/one/Pellora", data.Path());
  EXPECT_EQ(Content(data.Path(kService)), ActivationFileText("/one/Pellora"));
  EXPECT_EQ(Content(data.Path(kEntry)), ApplicationEntryText("/one/Pellora"));
  for (const char* const size : {"48x48", "128x128"}) {
    const std::string icon = data.Path(std::string("icons/hicolor/") + size + "/apps/org.pelloraproject.pellora.png");
    EXPECT_TRUE(Content(icon).starts_with("\x89PNG")) << size;
  }

  std::filesystem::remove(data.Path(kEntry));
  RegisterProgram("/two/Pellora", data.Path());
  EXPECT_EQ(Content(data.Path(kService)), ActivationFileText("/two/Pellora"));
  EXPECT_EQ(Content(data.Path(kEntry)), ApplicationEntryText("/two/Pellora"));
}

TEST(RegisterProgram, LeavesCorrectFilesAlone) {
  const Folder data;
  RegisterProgram("/one/Pellora", data.Path());
  const auto before = std::filesystem::last_write_time(data.Path(kService));
  RegisterProgram("/one/Pellora", data.Path());
  EXPECT_EQ(std::filesystem::last_write_time(data.Path(kService)), before);
}

TEST(RegisterProgram, ContinuesIfOneFileCannotBeWritten) {
  const Folder data;
  Put(data.Path("dbus-1"), "a file where a folder should be");
  RegisterProgram("/one/Pellora", data.Path());
  EXPECT_EQ(Content(data.Path(kEntry)), ApplicationEntryText("/one/Pellora"));
}

std::size_t FilesBelow(const std::string& folder) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) count += entry.is_regular_file();
  return count;
}

TEST(RegisterProgram, RemovesTheFilesOfEarlierNames) {
  const Folder data;
  RegisterProgram("/one/Pellora", data.Path());
  std::filesystem::rename(data.Path(kEntry), data.Path("applications/pellora.desktop"));
  std::filesystem::rename(data.Path("icons/hicolor/48x48/apps/org.pelloraproject.pellora.png"),
                          data.Path("icons/hicolor/48x48/apps/pellora.png"));
  RegisterProgram("/one/Pellora", data.Path());
  EXPECT_FALSE(std::filesystem::exists(data.Path("applications/pellora.desktop")));
  EXPECT_FALSE(std::filesystem::exists(data.Path("icons/hicolor/48x48/apps/pellora.png")));
  EXPECT_EQ(FilesBelow(data.Path()), 4U);
}

TEST(UnregisterPrograms, RemovesWhatAnyCopyHasWritten) {
  const Folder data;
  RegisterProgram("/one \"$\"/Pellora", data.Path());
  EXPECT_EQ(FilesBelow(data.Path()), 4U);
  UnregisterPrograms(data.Path());
  EXPECT_EQ(FilesBelow(data.Path()), 0U);
}

TEST(UnregisterPrograms, LeavesFilesOfAnotherFormAlone) {
  const Folder data;
  RegisterProgram("/one/Pellora", data.Path());
  Put(data.Path(kService), "[D-BUS Service]\nName=PelloraProject.Pellora\nExec=/home/u/my-wrapper\n");
  Put(data.Path(kEntry), "[Desktop Entry]\nType=Application\nName=My Pellora\nExec=x\n");
  Put(data.Path("icons/hicolor/48x48/apps/org.pelloraproject.pellora.png"), "mine");
  UnregisterPrograms(data.Path());
  EXPECT_EQ(FilesBelow(data.Path()), 3U);
}

}  // namespace
}  // namespace pellora
