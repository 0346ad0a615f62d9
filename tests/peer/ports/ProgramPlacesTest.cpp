#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Support.h"
#include "desktop/ProgramPlaces.h"
#include "desktop/XdgFolders.h"

namespace pellora {
namespace {

class Places : public testing::Test {
 protected:
  Places() {
    found.program = "/opt/Pellora";
    found.dataHome = "/home/u/.local/share";
  }

  FoundPlaces found;
  const std::string home = "/home/u/.local/share/pellora";
};

TEST_F(Places, OfACopyThatTheUserCanWriteAreItsOwnFolder) {
  found.writable = true;
  const ProgramPlaces places = PlacesFor(found);
  EXPECT_EQ(places.program, "/opt/Pellora");
  EXPECT_EQ(places.languages, "/opt/Pellora");
  EXPECT_EQ(places.data, "/opt/Pellora");
  EXPECT_TRUE(places.writable);
  EXPECT_FALSE(places.packaged);
}

TEST_F(Places, OfACopyThatTheUserCannotWriteHaveTheListAtHome) {
  for (const bool beside : {false, true}) {
    found.listBeside = beside;
    EXPECT_EQ(PlacesFor(found).data, home);
    EXPECT_EQ(PlacesFor(found).languages, "/opt/Pellora");
  }
}

TEST_F(Places, IncludeAListAtHomeIfThereIsNoneBesideTheProgram) {
  found.writable = true;
  found.listAtHome = true;
  EXPECT_EQ(PlacesFor(found).data, home);
  found.listBeside = true;
  EXPECT_EQ(PlacesFor(found).data, "/opt/Pellora");
}

TEST_F(Places, StayAtHomeForACopyThatHasUsedTheListThere) {
  found.writable = true;
  found.usesHome = true;
  found.listBeside = true;
  EXPECT_EQ(PlacesFor(found).data, "/opt/Pellora");
  found.listAtHome = true;
  EXPECT_EQ(PlacesFor(found).data, home);
}

TEST_F(Places, OfAnInstalledProgramAreAtHomeEvenForRoot) {
  found.program = "/usr/lib/pellora";
  found.installedData = "/usr/share/pellora";
  found.writable = true;
  found.listBeside = true;
  const ProgramPlaces places = PlacesFor(found);
  EXPECT_EQ(places.languages, "/usr/share/pellora/languages");
  EXPECT_EQ(places.data, home);
  EXPECT_TRUE(places.packaged);
  EXPECT_FALSE(places.writable);
}

class FoundOnDisk : public testing::Test {
 protected:
  std::string MakeFolder(const std::string& name) {
    std::filesystem::create_directories(root.Path(name));
    return root.Path(name);
  }

  const Folder root;
  const std::string data = root.Path("data");
};

TEST_F(FoundOnDisk, AnInstalledProgramIsRecognisedUnderAnyPrefix) {
  const std::string program = MakeFolder("any/prefix/lib/pellora");
  EXPECT_FALSE(FindPlaces(program, data).packaged);
  Put(MakeFolder("any/prefix/share/pellora/languages") + "/english.txt", "0=x\n");
  const ProgramPlaces places = FindPlaces(program, data);
  EXPECT_TRUE(places.packaged);
  EXPECT_EQ(places.languages, root.Path("any/prefix/share/pellora/languages"));
  EXPECT_EQ(places.data, data + "/pellora");
}

TEST_F(FoundOnDisk, TheFolderOfTheDataIsCreatedForTheUserAlone) {
  Put(MakeFolder("share/pellora/languages") + "/english.txt", "0=x\n");
  const std::string program = MakeFolder("lib/pellora");
  const mode_t before = umask(0);
  (void)FindPlaces(program, root.Path("local/share"));
  umask(before);
  for (const char* const made : {"local", "local/share", "local/share/pellora"}) {
    struct stat status {};
    ASSERT_EQ(::stat(root.Path(made).c_str(), &status), 0) << made;
    EXPECT_EQ(status.st_mode & 0777U, 0700U) << made;
  }
}

TEST_F(FoundOnDisk, AWritableCopyLeavesTheHomeAlone) {
  (void)FindPlaces(MakeFolder("Pellora"), data);
  EXPECT_FALSE(std::filesystem::exists(data));
}

TEST_F(FoundOnDisk, ACopyWhoseFolderBecomesWritableAgainKeepsTheListThatItHasUsed) {
  const std::string program = MakeFolder("Pellora");
  const std::string other = MakeFolder("other/Pellora");
  for (const std::string& folder : {program, other}) Put(folder + "/Pellora.dat", "old");
  MakeFolder("data/pellora");
  Put(data + "/pellora/Pellora.dat", "new");
  EXPECT_EQ(FindPlaces(program, data).data, program);
  Put(data + "/pellora/Pellora.copies", "/x/Pellora\n" + program + "\n/y\n");
  EXPECT_EQ(FindPlaces(program, data).data, data + "/pellora");
  EXPECT_EQ(FindPlaces(other, data).data, other);
  std::filesystem::remove(data + "/pellora/Pellora.dat");
  EXPECT_EQ(FindPlaces(program, data).data, program);
  EXPECT_EQ(Content(data + "/pellora/Pellora.copies"), "/x/Pellora\n/y\n");
}

TEST_F(FoundOnDisk, AnEmptyListIsNone) {
  const std::string program = MakeFolder("Pellora");
  MakeFolder("data/pellora");
  Put(data + "/pellora/Pellora.dat", "");
  EXPECT_EQ(FindPlaces(program, data).data, program);
  Put(data + "/pellora/Pellora.dat", "x");
  EXPECT_EQ(FindPlaces(program, data).data, data + "/pellora");
}

TEST_F(FoundOnDisk, AProgramStaysAwayWhereThePackageHasRegisteredOne) {
  ProgramPlaces places;
  places.writable = true;
  const std::string shared = MakeFolder("shared");
  EXPECT_TRUE(RegistersItself(places, shared));
  Put(MakeFolder("shared/dbus-1/services") + "/PelloraProject.Pellora.service", "[D-BUS Service]\n");
  EXPECT_FALSE(RegistersItself(places, "/nowhere:" + shared));
  EXPECT_TRUE(RegistersItself(places, "/nowhere"));
  places.writable = false;
  EXPECT_FALSE(RegistersItself(places, "/nowhere"));
}

TEST(XdgFolders, AreThoseOfTheVariableOrTheDefault) {
  using Folders = std::vector<std::string>;
  EXPECT_EQ(XdgFolders("/a:/b/", "/c"), (Folders{"/a", "/b"}));
  EXPECT_EQ(XdgFolders("", "/c:/d"), (Folders{"/c", "/d"}));
  EXPECT_EQ(XdgFolders("relative::/a", "/c"), (Folders{"/a"}));
}

}  // namespace
}  // namespace pellora
