#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "OutputFoldersContract.h"
#include "Rights.h"
#include "Support.h"
#include "desktop/PosixOutputFolders.h"

namespace pellora {
namespace {

class PosixOutputStage final : public OutputStage {
 public:
  explicit PosixOutputStage(OutputAbilities abilities) : folders_(abilities) {}
  OutputFolders& Folders() override { return folders_; }
  std::string Root() override { return root_.Path(); }
  void Put(const std::string& path, const std::string& content) override { pellora::Put(root_.Path(path), content); }
  void PutLink(const std::string& path, const std::string& target) override {
    ASSERT_EQ(symlink(root_.Path(target).c_str(), root_.Path(path).c_str()), 0);
  }
  void MakeFolder(const std::string& path) override { std::filesystem::create_directories(root_.Path(path)); }
  std::string Get(const std::string& path) override { return Content(root_.Path(path)); }
  std::vector<std::string> Files() override {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.Path())) {
      if (entry.is_symlink() || entry.is_directory()) continue;
      files.push_back(std::filesystem::relative(entry.path(), root_.Path()).string());
    }
    std::sort(files.begin(), files.end());
    return files;
  }
  OutputTraits TraitsOf(const std::string& path) override {
    struct stat status {};
    EXPECT_EQ(lstat(root_.Path(path).c_str(), &status), 0) << path;
    return {static_cast<std::uint16_t>(status.st_mode & 07777U), status.st_mtim.tv_sec};
  }

 private:
  Folder root_;
  PosixOutputFolders folders_;
};

OutputStageMaker Maker(const char* name, OutputAbilities abilities) {
  return {name, [abilities] { return std::make_unique<PosixOutputStage>(abilities); }};
}

constexpr OutputAbilities kDrafts{.unnamed = false};

INSTANTIATE_TEST_SUITE_P(
    Posix, OutputFoldersContract,
    testing::Values(Maker("the best", {}), Maker("with drafts", kDrafts),
                    Maker("without exchange", {.exchange = false}),
                    Maker("by link", {.unnamed = false, .exchange = false, .rename = ExclusiveRename::ByLink}),
                    Maker("with place holders",
                          {.unnamed = false, .exchange = false, .rename = ExclusiveRename::PlaceHolder})));

class PosixOutputFoldersTest : public testing::TestWithParam<bool> {
 protected:
  bool Write(const OutputPath& path, const std::string& content, const OutputTraits& traits = {}) const {
    const std::unique_ptr<OutputFile> file = out->Create(path);
    file->Write(content);
    return file->Publish(path.back(), traits, std::nullopt);
  }
  mode_t Rights(const std::string& path) const { return RightsOf(root.Path("out/" + path)); }
  bool Has(const std::string& path) const { return std::filesystem::exists(root.Path(path)); }

  const Folder root;
  PosixOutputFolders folders{{.unnamed = GetParam()}};
  const std::shared_ptr<OutputFolder> out = folders.Open(root.Path("out"));
};
INSTANTIATE_TEST_SUITE_P(Unnamed, PosixOutputFoldersTest, testing::Bool());

TEST_P(PosixOutputFoldersTest, ModesAreWhatTheUmaskLeavesAndNeverSetId) {
  struct Case {
    std::uint16_t mode;
    mode_t mask;
    mode_t file;
    mode_t folder;
  };
  int number = 0;
  for (const Case& known : {Case{0644, 0022, 0644, 0744}, Case{0777, 0022, 0755, 0755}, Case{0777, 0077, 0700, 0700},
                            Case{06755, 0022, 0755, 0755}, Case{07777, 0000, 0777, 0777}, Case{0444, 0022, 0644, 0744},
                            Case{0001, 0022, 0601, 0701}, Case{0644, 0777, 0600, 0700}, Case{0, 0022, 0644, 0755}}) {
    const Umask with(known.mask);
    const std::string name = std::to_string(++number);
    EXPECT_TRUE(Write({name}, "x", {known.mode, {}}));
    EXPECT_EQ(Rights(name), known.file) << std::oct << known.mode << " " << known.mask;
    out->MakeFolder({name + "d", "inner"});
    out->SetTraits({name + "d"}, {known.mode, {}});
    EXPECT_EQ(Rights(name + "d"), known.folder) << std::oct << known.mode << " " << known.mask;
  }
}

TEST_P(PosixOutputFoldersTest, FolderThatWasThereIsOpenedToNobody) {
  const Umask with(0022);
  const std::string folder = root.Path("out/own");
  ASSERT_EQ(mkdir(folder.c_str(), 0), 0);
  for (const auto& [rights, wanted, left] :
       {std::array<mode_t, 3>{0700, 0777, 0700}, {02770, 0755, 02750}, {0755, 0700, 0700}}) {
    ASSERT_EQ(chmod(folder.c_str(), rights), 0);
    out->MakeFolder({"own"});
    out->SetTraits({"own"}, {static_cast<std::uint16_t>(wanted), {}});
    struct stat status {};
    ASSERT_EQ(stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, left) << std::oct << rights << " " << wanted;
  }
}

TEST_P(PosixOutputFoldersTest, FoldersOnTheWayGetTheRightsThatTheUmaskLeaves) {
  const Umask with(0027);
  EXPECT_TRUE(Write({"a", "b"}, "x"));
  EXPECT_EQ(Rights("a"), 0750U);
}

TEST_P(PosixOutputFoldersTest, UnfinishedFileIsForTheUserAlone) {
  const Umask with(0000);
  const std::unique_ptr<OutputFile> file = out->Create({"a"});
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator(root.Path("out"))) {
    ++found;
    EXPECT_TRUE(entry.path().filename().string().starts_with(".pellora-"));
    EXPECT_EQ(RightsOf(entry.path().string()), 0600U);
  }
  EXPECT_EQ(found, GetParam() ? 0 : 1);
}

TEST_P(PosixOutputFoldersTest, TimesOfAllYearsAreKeptOrLeftOut) {
  for (const std::int64_t time : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{4'000'000'000}, INT64_MAX}) {
    const std::string name = std::to_string(time);
    EXPECT_TRUE(Write({name}, "x", {0644, time}));
    struct stat status {};
    ASSERT_EQ(stat(root.Path("out/" + name).c_str(), &status), 0);
    if (time != INT64_MAX) {
      EXPECT_EQ(status.st_mtim.tv_sec, time);
    }
  }
}

TEST_P(PosixOutputFoldersTest, NamesThatAreNoneAreRefused) {
  for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                  std::string("/etc"), std::string("a\0b", 3)}) {
    EXPECT_THROW(out->Create({name}), Failure) << name;
    EXPECT_THROW(out->Create({name, "x"}), Failure) << name;
    EXPECT_THROW(out->MakeFolder({name}), Failure) << name;
    EXPECT_THROW(out->LookAt({name}), Failure) << name;
    EXPECT_THROW(out->SetTraits({name}, {}), Failure) << name;
    EXPECT_THROW(out->Create({"x"})->Publish(name, {}, std::nullopt), Failure) << name;
  }
  EXPECT_THROW(out->Create({}), Failure);
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("out")));
}

TEST_P(PosixOutputFoldersTest, PipesAndDevicesAreNothingToOpen) {
  ASSERT_EQ(mkfifo(root.Path("out/pipe").c_str(), 0600), 0);
  EXPECT_EQ(out->LookAt({"pipe"}).what, OutputName::Other);
  EXPECT_FALSE(Write({"pipe"}, "x"));
  EXPECT_THROW(out->Create({"pipe", "x"}), Failure);
}

TEST_P(PosixOutputFoldersTest, FolderThatIsRenamedMeanwhileGetsTheFiles) {
  const std::unique_ptr<OutputFile> file = out->Create({"a", "b"});
  file->Write("x");
  ASSERT_EQ(rename(root.Path("out").c_str(), root.Path("moved").c_str()), 0);
  ASSERT_EQ(mkdir(root.Path("out").c_str(), 0700), 0);
  EXPECT_TRUE(file->Publish("b", {}, std::nullopt));
  EXPECT_TRUE(Write({"a", "c"}, "y"));
  EXPECT_EQ(Content(root.Path("moved/a/b")), "x");
  EXPECT_EQ(Content(root.Path("moved/a/c")), "y");
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("out")));
}

TEST_P(PosixOutputFoldersTest, FolderThatIsDeletedMeanwhileIsAFailure) {
  const std::unique_ptr<OutputFile> file = out->Create({"a"});
  std::filesystem::remove_all(root.Path("out"));
  EXPECT_THROW(file->Publish("a", {}, std::nullopt), Failure);
  EXPECT_THROW(out->Create({"b"}), Failure);
  EXPECT_THROW(out->MakeFolder({"b"}), Failure);
}

// Another process exchanges a folder on the way with a link again and again.
TEST_P(PosixOutputFoldersTest, LinksThatComeAndGoLeadNowhere) {
  std::filesystem::create_directories(root.Path("elsewhere"));
  std::filesystem::create_directories(root.Path("out/d"));
  ASSERT_EQ(symlink(root.Path("elsewhere").c_str(), root.Path("out/link").c_str()), 0);
  std::atomic<bool> done = false;
  std::atomic<int> exchanged = 0;
  std::thread attacker([&] {
    while (!done) {
      const std::string from = root.Path("out/d");
      const std::string to = root.Path("out/link");
      if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) ++exchanged;
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  });
  int written = 0;
  int refused = 0;
  for (int i = 0; i < 20'000 && (i < 500 || written < 20 || refused < 20); ++i) {
    try {
      const std::string name = std::to_string(i);
      if (Write({"d", "deep", name}, "x") && Write({"d", name}, "x")) ++written;
      out->SetTraits({"d"}, {0700, 1});
    } catch (const Failure&) {
      ++refused;
    }
  }
  done = true;
  attacker.join();
  EXPECT_GT(exchanged, 100);
  EXPECT_GE(written, 20);
  EXPECT_GE(refused, 20);
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("elsewhere")));
}

// Another program saves files under the name that is to be replaced, again and again, and holds on to each: what
// vanishes was looked at before.
TEST_P(PosixOutputFoldersTest, OnlyTheFileThatWasSeenIsReplaced) {
  const std::string target = root.Path("out/a");
  const std::string draft = root.Path("draft");
  std::atomic<bool> done = false;
  int lost = 0;
  std::thread other([&] {
    int former = -1;
    while (!done) {
      const int saved = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      if (saved < 0) return;
      struct stat status {};
      if (former >= 0 && fstat(former, &status) == 0 && status.st_nlink == 0) ++lost;
      if (former >= 0) close(former);
      former = saved;
      if (rename(draft.c_str(), target.c_str()) != 0) return;
    }
    if (former >= 0) close(former);
  });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  int replaced = 0;
  int refused = 0;
  while (std::chrono::steady_clock::now() < deadline && (replaced < 50 || refused < 50)) {
    const OutputFound found = out->LookAt({"a"});
    if (found.what != OutputName::File) continue;
    const bool published = out->Create({"a"})->Publish("a", {}, found.identity);
    ++(published ? replaced : refused);
  }
  done = true;
  other.join();
  EXPECT_GE(replaced, 20);
  EXPECT_GE(refused, 20);
  EXPECT_LE(lost, replaced);
}

TEST_P(PosixOutputFoldersTest, NoDescriptorStaysOpen) {
  const auto open = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  Put(root.Path("out/file"), "x");
  const auto before = open();
  for (int i = 0; i < 20; ++i) {
    Write({"a", "b", "c"}, "x");
    out->LookAt({"a", "b", "c"});
    out->LookAt({"no", "such"});
    out->MakeFolder({"a", std::to_string(i)});
    out->SetTraits({"a"}, {0755, 1});
    EXPECT_THROW(out->Create({"file", "b"}), Failure);
    folders.Open(root.Path("another"));
  }
  EXPECT_EQ(open(), before);
}

}  // namespace
}  // namespace pellora
