#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <filesystem>

#include "Support.h"
#include "ZipBytes.h"
#include "desktop/LibarchiveUnzip.h"

namespace pellora {
namespace {

namespace fs = std::filesystem;

class LibarchiveUnzipTest : public ::testing::Test {
 protected:
  LibarchiveUnzipTest() { fs::create_directory(folder); }

  int Unpack(const std::string& bytes, const std::string& into = {}, std::int64_t most = LibarchiveUnzip::kMaxBytes) {
    Put(archive, bytes);
    messages.clear();
    return LibarchiveUnzip(most).Unpack(archive, into.empty() ? folder : into,
                                        [this](std::string_view text) { messages += text; });
  }
  int Unpack(const std::vector<ZipMember>& members) { return Unpack(ZipBytes(members)); }
  // Everything below the test's folder but the archive, as relative paths.
  std::vector<std::string> Found() {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root.Path())) {
      const std::string path = entry.path().string().substr(root.Path().size() + 1);
      if (path != "a.zip" && path != "to") found.push_back(path);
    }
    std::sort(found.begin(), found.end());
    return found;
  }
  using Names = std::vector<std::string>;

  Folder root;
  std::string archive = root.Path() + "/a.zip";
  std::string folder = root.Path() + "/to";
  std::string messages;
};

TEST_F(LibarchiveUnzipTest, RestoresDirectoriesFilesAndTimes) {
  EXPECT_EQ(Unpack({{"docs/", "", 040755}, {"docs/a.txt", "one"}, {"deep/er/b.txt", "two"}, {"run", "x", 0100755}}),
            kUnzipDone);
  EXPECT_EQ(Found(), (Names{"to/deep", "to/deep/er", "to/deep/er/b.txt", "to/docs", "to/docs/a.txt", "to/run"}));
  EXPECT_EQ(Content(folder + "/docs/a.txt"), "one");
  EXPECT_NE(fs::status(folder + "/run").permissions() & fs::perms::owner_exec, fs::perms::none);
  struct stat status {};
  ASSERT_EQ(stat((folder + "/docs/a.txt").c_str(), &status), 0);
  tm day{};
  localtime_r(&status.st_mtime, &day);
  EXPECT_EQ(day.tm_year, 125);
  EXPECT_EQ(day.tm_hour, 12);
  EXPECT_EQ(messages.substr(0, 17), "inflating: docs/\n");
}

TEST_F(LibarchiveUnzipTest, KeepsNonAsciiNamesInAnyLocale) {
  const std::string name = "gr\xc3\xbc\xc3\x9f.txt";
  const std::string former = setlocale(LC_ALL, nullptr);
  for (const char* locale : {"C", "C.UTF-8"}) {
    ASSERT_NE(setlocale(LC_ALL, locale), nullptr);
    for (const std::uint16_t flags : {0x0800, 0}) {  // marked as UTF-8, and not marked
      EXPECT_EQ(Unpack({{name, "x", 0100644, flags}}), kUnzipDone) << locale << flags;
      EXPECT_EQ(Found(), (Names{"to/" + name})) << locale << flags;
    }
  }
  setlocale(LC_ALL, former.c_str());
}

TEST_F(LibarchiveUnzipTest, ReplacesExistingFilesWithoutAsking) {
  Put(folder + "/a.txt", "a much longer file that was there before");
  EXPECT_EQ(Unpack({{"a.txt", "new"}}), kUnzipDone);
  EXPECT_EQ(Content(folder + "/a.txt"), "new");
}

TEST_F(LibarchiveUnzipTest, MakesUnpackedFilesReadableByTheirOwner) {
  EXPECT_EQ(Unpack({{"a.txt", "x", 0100000}, {"s", "y", 0104755}}), kUnzipDone);
  EXPECT_NE(fs::status(folder + "/a.txt").permissions() & fs::perms::owner_read, fs::perms::none);
  EXPECT_EQ(fs::status(folder + "/s").permissions() & fs::perms::set_uid, fs::perms::none);
}

TEST_F(LibarchiveUnzipTest, SkipsNamesThatLeaveTheFolderAndUnpacksTheRest) {
  const std::string absolute = root.Path() + "/absolute";
  for (const std::string& name : {std::string("../up"), std::string("a/../../up"), std::string(".."),
                                  std::string("a/.."), absolute, std::string("//double"), std::string("")}) {
    fs::remove_all(folder);
    fs::create_directory(folder);
    EXPECT_EQ(Unpack({{name, "evil"}, {"good", "g"}}), kUnzipMembersLeftOut) << name;
    EXPECT_EQ(Found(), (Names{"to/good"})) << name;
  }
}

TEST_F(LibarchiveUnzipTest, KeepsNamesWithBackslashesInsideTheFolder) {
  (void)Unpack({{"..\\up", "x"}, {"c:\\dos", "x"}});
  EXPECT_FALSE(fs::exists(root.Path() + "/up"));
  for (const std::string& name : Found()) EXPECT_EQ(name.substr(0, 3), "to/");
}

TEST_F(LibarchiveUnzipTest, CreatesNeitherLinksNorDevices) {
  EXPECT_EQ(Unpack({{"link", "/etc", 0120777}, {"link/x", "evil"}, {"pipe", "", 0010644}, {"disk", "", 0060644}}),
            kUnzipMembersLeftOut);
  EXPECT_EQ(Content(folder + "/link/x"), "evil");
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const fs::file_type type = entry.symlink_status().type();
    EXPECT_TRUE(type == fs::file_type::regular || type == fs::file_type::directory) << entry.path();
  }
}

TEST_F(LibarchiveUnzipTest, FollowsNoLinkInsideTheFolder) {
  fs::create_directory(root.Path() + "/outside");
  Put(root.Path() + "/outside/keep", "kept");
  fs::create_directory_symlink(root.Path() + "/outside", folder + "/way");
  fs::create_symlink(root.Path() + "/outside/keep", folder + "/file");
  EXPECT_EQ(Unpack({{"way/x", "evil"}, {"way/keep", "evil"}, {"file", "new"}}), kUnzipMembersLeftOut);
  EXPECT_EQ(Content(root.Path() + "/outside/keep"), "kept");
  EXPECT_FALSE(fs::exists(root.Path() + "/outside/x"));
  EXPECT_EQ(Content(folder + "/file"), "new");
  EXPECT_FALSE(fs::is_symlink(folder + "/file"));
}

TEST_F(LibarchiveUnzipTest, UnpacksIntoALinkedFolder) {
  fs::create_directory_symlink(folder, root.Path() + "/linked");
  EXPECT_EQ(Unpack(ZipBytes({{"d/a", "x"}}), root.Path() + "/linked"), kUnzipDone);
  EXPECT_TRUE(fs::is_symlink(root.Path() + "/linked"));
  EXPECT_EQ(Content(folder + "/d/a"), "x");
}

TEST_F(LibarchiveUnzipTest, SurvivesNamesOfThousandsOfBytes) {
  // 70,000 does not fit into the field, so the archive is damaged after the name. 65,535 fits.
  EXPECT_NE(Unpack({{std::string(70'000, 'n'), "x"}, {"good", "g"}}), kUnzipDone);
  for (const std::string& name : Found()) EXPECT_LE(name.size(), 300U);
  EXPECT_EQ(Unpack({{std::string(65'535, 'n'), "x"}, {"good", "g"}}), kUnzipMembersLeftOut);
  EXPECT_EQ(Content(folder + "/good"), "g");
  std::string deep;
  while (deep.size() < 60'000) deep += "dir/";
  EXPECT_EQ(Unpack({{deep + "x", "x"}, {"good", "h"}}), kUnzipMembersLeftOut);
  EXPECT_EQ(Content(folder + "/good"), "h");
  EXPECT_EQ(Unpack({{std::string(256, 'n'), "x"}, {"good", "g"}}), kUnzipMembersLeftOut);
}

TEST_F(LibarchiveUnzipTest, SkipsAndReportsEncryptedMembers) {
  Put(folder + "/secret", "was there");
  EXPECT_EQ(Unpack({{"secret", std::string(40, 's'), 0100644, 1}, {"good", "g"}}), kUnzipNeedsPassword);
  EXPECT_EQ(Content(folder + "/secret"), "was there");
  EXPECT_EQ(Content(folder + "/good"), "g");
}

TEST_F(LibarchiveUnzipTest, LeavesNoDamagedFile) {
  EXPECT_EQ(Unpack({{"bad", std::string(100'000, 'b'), 0100644, 0, true}, {"good", "g"}}), kUnzipDamaged);
  EXPECT_EQ(Found(), (Names{"to/good"}));
}

TEST_F(LibarchiveUnzipTest, RejectsAnArchiveTruncatedAnywhere) {
  const std::string whole = ZipBytes({{"a.txt", "contents of a"}, {"b/", "", 040755}, {"b/c", "contents of c"}});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(Unpack(whole.substr(0, length)), kUnzipNoArchive) << length;
    ASSERT_EQ(Found(), Names{}) << length;
  }
  EXPECT_EQ(Unpack(whole), kUnzipDone);
}

TEST_F(LibarchiveUnzipTest, SurvivesAnArchiveWithAnyByteChanged) {
  const std::string whole = ZipBytes({{"a.txt", "contents of a"}, {"b/", "", 040755}, {"b/c", "contents of c"}});
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const char change : {'\x01', '\x80', '\xff'}) {
      std::string changed = whole;
      changed[at] = static_cast<char>(changed[at] ^ change);
      (void)Unpack(changed);
      for (const std::string& name : Found()) ASSERT_EQ(name.substr(0, 3), "to/") << at;
    }
  }
}

TEST_F(LibarchiveUnzipTest, RejectsOtherFiles) {
  EXPECT_EQ(Unpack(""), kUnzipNoArchive);
  EXPECT_EQ(Unpack(std::string(5000, '\0')), kUnzipNoArchive);
  EXPECT_EQ(Unpack("<html>not found</html>"), kUnzipNoArchive);
  const auto unpack = [this](const std::string& path) {
    return LibarchiveUnzip().Unpack(path, folder, [](std::string_view) {});
  };
  EXPECT_EQ(unpack(root.Path() + "/missing.zip"), kUnzipNoArchive);
  EXPECT_EQ(unpack(folder), kUnzipNoArchive);
  ASSERT_EQ(mkfifo((root.Path() + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(unpack(root.Path() + "/pipe"), kUnzipNoArchive);
}

TEST_F(LibarchiveUnzipTest, RejectsAnEmptyArchive) {
  EXPECT_EQ(Unpack(std::vector<ZipMember>{}), kUnzipNoArchive);
  std::string commented = ZipBytes({});
  commented[20] = 2;
  EXPECT_EQ(Unpack(commented + "ok"), kUnzipNoArchive);
  EXPECT_EQ(Found(), Names{});
}

TEST_F(LibarchiveUnzipTest, StopsAtItsByteLimit) {
  const std::vector<ZipMember> members = {{"a", std::string(600, 'a')}, {"b", std::string(600, 'b')}, {"c", "c"}};
  EXPECT_EQ(Unpack(ZipBytes(members), folder, 1000), kUnzipDiskFull);
  EXPECT_EQ(Found(), (Names{"to/a"}));
}

TEST_F(LibarchiveUnzipTest, FailsWithoutAFolder) {
  EXPECT_EQ(Unpack(ZipBytes({{"a", "x"}}), root.Path() + "/missing"), kUnzipDiskFull);
}

TEST_F(LibarchiveUnzipTest, SkipsAFileWhoseNameIsANonEmptyFolder) {
  fs::create_directories(folder + "/a/b");
  EXPECT_EQ(Unpack({{"a", "x"}, {"good", "g"}}), kUnzipMembersLeftOut);
  EXPECT_EQ(Content(folder + "/good"), "g");
}

}  // namespace
}  // namespace pellora
