#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/magic.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "Rights.h"
#include "Support.h"
#include "desktop/PosixDownloadFiles.h"
#include "ports/Failure.h"

namespace pellora {

void PrintTo(ExclusiveRename way, std::ostream* out) {
  *out << (way == ExclusiveRename::InOneStep ? "in one step"
           : way == ExclusiveRename::ByLink  ? "by link"
                                             : "place holder");
}

namespace {

bool Exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool AnotherProcessAdopts(const std::string& path, const FileIdentity& identity) {
  const pid_t child = fork();
  if (child == 0) {
    PosixDownloadFiles files;
    _exit(files.Adopt(path, identity) ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// From now on, in this process.
void LetFlushesFail(int error) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_fsync, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) _exit(2);
}

// In another process, whose flushes fail with that error.
bool IsFolderFlushed(const std::string& folder, int error) {
  const pid_t child = fork();
  if (child == 0) {
    LetFlushesFail(error);
    PosixDownloadFiles files;
    _exit(Skip([&] { files.FlushFolder(folder); }) ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2);
  return WEXITSTATUS(status) == 0;
}

class DownloadFilesTest : public testing::Test {
 protected:
  template <class Operation>
  static FailureNumber FailureOf(Operation&& operation) {
    try {
      operation();
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()), "");
      return failure.Number();
    }
    ADD_FAILURE() << "it did not fail";
    return FailureNumber::InvalidCall;
  }
  void PutPart(const std::string& content) { files.Create(part)->WriteAt(0, content); }

  Folder folder;
  PosixDownloadFiles files;
  const std::string part = folder.Path("file.iso.part");
  const std::string target = folder.Path("file.iso");
};

TEST_F(DownloadFilesTest, CreatesAFileForTheUserAloneUnderAnyUmask) {
  for (const mode_t mask : {0000, 0022, 0077, 0777}) {
    const Umask with(mask);
    const auto file = files.Create(part);
    ASSERT_TRUE(file);
    file->WriteAt(0, "x");
    EXPECT_EQ(RightsOf(part), 0600U) << std::oct << mask;
    unlink(part.c_str());
  }
}

TEST_F(DownloadFilesTest, CreatesNothingAtANameThatSomethingHas) {
  Put(folder.Path("file"), "kept");
  ASSERT_EQ(symlink(folder.Path("made").c_str(), folder.Path("dangling").c_str()), 0);
  ASSERT_EQ(symlink(folder.Path("file").c_str(), folder.Path("link").c_str()), 0);
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  for (const char* const name : {"file", "dangling", "link", "folder", "pipe"}) {
    EXPECT_EQ(files.Create(folder.Path(name)), nullptr) << name;
  }
  EXPECT_EQ(Content(folder.Path("file")), "kept");
  EXPECT_FALSE(Exists(folder.Path("made")));
}

TEST_F(DownloadFilesTest, CreateFailsWithoutItsFolder) {
  EXPECT_EQ(FailureOf([&] { files.Create(folder.Path("no/such/part")); }), FailureNumber::File);
  EXPECT_EQ(FailureOf([&] { files.Create(""); }), FailureNumber::File);
  EXPECT_EQ(FailureOf([&] { files.Create(part + std::string(1, '\0') + "x"); }), FailureNumber::File);
}

TEST_F(DownloadFilesTest, WritesBeyondTheEndAndBeyondFourGibibytes) {
  constexpr std::uint64_t kFar = (std::uint64_t{4} << 30) + 5;
  const auto file = files.Create(part);
  file->WriteAt(kFar, "end");
  EXPECT_EQ(file->Length(), kFar + 3);
  EXPECT_EQ(file->State().length, kFar + 3);
  std::array<char, 8> read{};
  EXPECT_EQ(file->ReadAt(kFar, read), 3U);
  EXPECT_EQ(std::string(read.data(), 3), "end");
  file->Flush();
}

TEST_F(DownloadFilesTest, SetLengthCutsAndExtendsWithZeros) {
  const auto file = files.Create(part);
  file->WriteAt(0, "content");
  file->SetLength(3);
  file->SetLength(5);
  EXPECT_EQ(Content(part), std::string("con\0\0", 5));
}

TEST_F(DownloadFilesTest, ReserveLeavesLengthAndIdentity) {
  const auto file = files.Create(part);
  const FileIdentity identity = file->State().identity;
  file->Reserve(std::uint64_t{1} << 20);
  EXPECT_EQ(file->Length(), 0U);
  EXPECT_EQ(file->State().identity, identity);
  EXPECT_EQ(files.StateOf(part)->identity, identity);
}

TEST_F(DownloadFilesTest, AWriteBeyondTheLimitFails) {
  const auto file = files.Create(part);
  rlimit former{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{4096, former.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  const FailureNumber number = FailureOf([&] { file->WriteAt(8192, "x"); });
  const FailureNumber grown = FailureOf([&] { file->SetLength(8192); });
  setrlimit(RLIMIT_FSIZE, &former);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(number, FailureNumber::File);
  EXPECT_EQ(grown, FailureNumber::File);
}

TEST_F(DownloadFilesTest, AdoptsItsOwnPartByIdentityOnly) {
  PutPart("half");
  const FileIdentity identity = files.StateOf(part)->identity;
  EXPECT_NE(files.Adopt(part, {identity.device + 1, identity.inode}), nullptr);
  const auto file = files.Adopt(part, identity);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->Length(), 4U);
  file->WriteAt(4, " done");
  EXPECT_EQ(Content(part), "half done");
  EXPECT_EQ(files.Adopt(part, {identity.device, identity.inode + 1}), nullptr);
  EXPECT_EQ(files.Adopt(folder.Path("none"), identity), nullptr);
  EXPECT_FALSE(Exists(folder.Path("none")));
}

TEST_F(DownloadFilesTest, AdoptsNoLinkNoSecondNameAndNoOtherUsersFile) {
  PutPart("half");
  const FileIdentity identity = files.StateOf(part)->identity;
  ASSERT_EQ(symlink(part.c_str(), folder.Path("link").c_str()), 0);
  EXPECT_EQ(files.Adopt(folder.Path("link"), identity), nullptr);
  ASSERT_EQ(link(part.c_str(), folder.Path("second").c_str()), 0);
  EXPECT_EQ(files.Adopt(part, identity), nullptr);
  unlink(folder.Path("second").c_str());
  EXPECT_NE(files.Adopt(part, identity), nullptr);
  if (geteuid() == 0) {  // only root can change owners
    ASSERT_EQ(chown(part.c_str(), kAnotherUser, kAnotherUser), 0);
    EXPECT_EQ(files.Adopt(part, identity), nullptr);
  }
}

TEST_F(DownloadFilesTest, AFileThatIsNotAdoptedKeepsItsRights) {
  PutPart("the user's own");
  ASSERT_EQ(chmod(part.c_str(), 0644), 0);
  const FileIdentity identity = files.StateOf(part)->identity;
  EXPECT_EQ(files.Adopt(part, {identity.device, identity.inode + 1}), nullptr);
  EXPECT_EQ(RightsOf(part), 0644U);
}

TEST_F(DownloadFilesTest, AnOpenPartIsLockedUntilItIsClosed) {
  auto file = files.Create(part);
  const FileIdentity identity = file->State().identity;
  EXPECT_EQ(files.Adopt(part, identity), nullptr);
  file.reset();
  EXPECT_TRUE(AnotherProcessAdopts(part, identity));
  file = files.Adopt(part, identity);
  ASSERT_TRUE(file);
  EXPECT_FALSE(AnotherProcessAdopts(part, identity));
}

TEST_F(DownloadFilesTest, JournalIsCreatedPrivateAndNeverEmptied) {
  const std::string journal = folder.Path("journal");
  files.OpenJournal(journal)->WriteAt(0, "line\n");
  EXPECT_EQ(RightsOf(journal), 0600U);
  ASSERT_EQ(chmod(journal.c_str(), 0644), 0);
  EXPECT_EQ(files.OpenJournal(journal)->Length(), 5U);
  EXPECT_EQ(RightsOf(journal), 0600U);
  ASSERT_EQ(symlink(journal.c_str(), folder.Path("link").c_str()), 0);
  EXPECT_EQ(FailureOf([&] { files.OpenJournal(folder.Path("link")); }), FailureNumber::ForeignFile);
}

TEST_F(DownloadFilesTest, ReplaceExchangesTheWholeContentAndStaysPrivate) {
  const std::string journal = folder.Path("journal");
  files.Replace(journal, "first");
  EXPECT_EQ(RightsOf(journal), 0600U);
  const FileIdentity first = files.StateOf(journal)->identity;
  files.Replace(journal, "2");
  EXPECT_EQ(Content(journal), "2");
  EXPECT_NE(files.StateOf(journal)->identity, first);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
}

// A journal that the user has closed for writing is opened for appending afterwards.
TEST_F(DownloadFilesTest, ReplaceGivesTheUserBackHisRightsAndOthersNone) {
  const std::string journal = folder.Path("journal");
  for (const mode_t rights : {0444, 0644, 0666}) {
    files.Replace(journal, "first");
    ASSERT_EQ(chmod(journal.c_str(), rights), 0);
    files.Replace(journal, "second");
    EXPECT_EQ(RightsOf(journal), 0600U) << std::oct << rights;
  }
}

TEST_F(DownloadFilesTest, ReplaceRefusesWhatIsNotTheUsersAlone) {
  Put(target, "kept");
  ASSERT_EQ(symlink(target.c_str(), folder.Path("link").c_str()), 0);
  EXPECT_EQ(FailureOf([&] { files.Replace(folder.Path("link"), "x"); }), FailureNumber::ForeignFile);
  EXPECT_EQ(Content(target), "kept");
  EXPECT_EQ(FailureOf([&] { files.Replace("/proc/no/journal", "x"); }), FailureNumber::File);
}

TEST_F(DownloadFilesTest, StateIsOfRegularFilesOnly) {
  Put(target, "12345");
  const auto state = files.StateOf(target);
  ASSERT_TRUE(state);
  EXPECT_EQ(state->length, 5U);
  EXPECT_EQ(state, files.StateOf(target));
  const timespec times[2] = {{1000000000, 7}, {1000000000, 7}};
  ASSERT_EQ(utimensat(AT_FDCWD, target.c_str(), times, 0), 0);
  EXPECT_EQ(files.StateOf(target)->modified, 1000000000000000007);
  ASSERT_EQ(symlink(target.c_str(), folder.Path("link").c_str()), 0);
  EXPECT_FALSE(files.StateOf(folder.Path("link")));
  EXPECT_FALSE(files.StateOf(folder.Path()));
  EXPECT_FALSE(files.StateOf(folder.Path("none")));
  EXPECT_FALSE(files.StateOf(folder.Path("file.iso/none")));
}

class DownloadFilesPublish : public DownloadFilesTest, public testing::WithParamInterface<ExclusiveRename> {
 protected:
  PosixDownloadFiles files{GetParam()};
};

TEST_P(DownloadFilesPublish, RenamesWithTheRightsThatTheUmaskLeaves) {
  for (const mode_t mask : {0000, 0022, 0027, 0077}) {
    const Umask with(mask);
    PutPart("whole");
    ASSERT_TRUE(files.Publish(part, target));
    EXPECT_EQ(Content(target), "whole");
    EXPECT_EQ(RightsOf(target), 0666U & ~mask) << std::oct << mask;
    EXPECT_FALSE(Exists(part));
    unlink(target.c_str());
  }
}

TEST_P(DownloadFilesPublish, NeverReplacesWhatHasTheName) {
  PutPart("whole");
  const auto before = files.StateOf(part);
  Put(target, "kept");
  EXPECT_FALSE(files.Publish(part, target));
  EXPECT_EQ(Content(target), "kept");
  ASSERT_EQ(symlink(folder.Path("made").c_str(), folder.Path("dangling").c_str()), 0);
  EXPECT_FALSE(files.Publish(part, folder.Path("dangling")));
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  EXPECT_FALSE(files.Publish(part, folder.Path("folder")));
  EXPECT_EQ(files.StateOf(part), before);
  EXPECT_EQ(RightsOf(part), 0600U);
}

TEST_P(DownloadFilesPublish, FailsWithoutThePartAndLeavesNothing) {
  EXPECT_EQ(FailureOf([&] { files.Publish(part, target); }), FailureNumber::File);
  EXPECT_FALSE(Exists(target));
  ASSERT_EQ(symlink("/etc/passwd", part.c_str()), 0);
  EXPECT_EQ(FailureOf([&] { files.Publish(part, target); }), FailureNumber::File);
  EXPECT_FALSE(Exists(target));
}

INSTANTIATE_TEST_SUITE_P(Ways, DownloadFilesPublish,
                         testing::Values(ExclusiveRename::InOneStep, ExclusiveRename::ByLink,
                                         ExclusiveRename::PlaceHolder));

TEST_F(DownloadFilesTest, FlushesManyTogether) {
  std::vector<std::unique_ptr<DownloadFile>> made;
  std::vector<DownloadFile*> open;
  for (int i = 0; i < 40; ++i) {
    made.push_back(files.Create(folder.Path("file" + std::to_string(i))));
    made.back()->WriteAt(0, "bytes");
    open.push_back(made.back().get());
  }
  const std::vector<std::exception_ptr> failures = files.FlushTogether(open, {folder.Path()});
  ASSERT_EQ(failures.size(), 41U);
  for (const std::exception_ptr& failure : failures) EXPECT_FALSE(failure);
  EXPECT_TRUE(files.FlushTogether({}, {}).empty());
}

TEST_F(DownloadFilesTest, FolderIsNotFlushedIfItsDiskFailsOrIsFull) {
  for (const int error : {EIO, ENOSPC, EDQUOT}) {
    EXPECT_FALSE(IsFolderFlushed(folder.Path(), error)) << std::strerror(error);
  }
}

// Nothing more can be done for them.
TEST_F(DownloadFilesTest, FolderThatCannotBeFlushedCountsAsFlushed) {
  for (const int error : {EINVAL, EROFS, ENOSYS, EACCES}) {
    EXPECT_TRUE(IsFolderFlushed(folder.Path(), error)) << std::strerror(error);
  }
  EXPECT_TRUE(Skip([&] { files.FlushFolder(folder.Path("none")); }));
}

TEST_F(DownloadFilesTest, ReplacesOnlyTheFileThatWasConfirmed) {
  PutPart("new");
  Put(target, "old");
  const FileState confirmed = *files.StateOf(target);
  FileState other = confirmed;
  ++other.modified;
  EXPECT_FALSE(files.PublishOver(part, target, other));
  Put(target, "older");
  EXPECT_FALSE(files.PublishOver(part, target, confirmed));
  EXPECT_EQ(Content(target), "older");
  EXPECT_TRUE(files.PublishOver(part, target, *files.StateOf(target)));
  EXPECT_EQ(Content(target), "new");
  EXPECT_FALSE(Exists(part));
  PutPart("again");
  unlink(target.c_str());
  EXPECT_FALSE(files.PublishOver(part, target, confirmed));
  EXPECT_FALSE(Exists(target));
}

TEST_F(DownloadFilesTest, RoomShrinksByWhatIsReserved) {
  constexpr std::uint64_t kSize = std::uint64_t{64} << 20;
  const std::uint64_t before = files.RoomIn(folder.Path());
  const auto file = files.Create(part);
  file->Reserve(kSize);
  struct stat status {};
  ASSERT_EQ(stat(part.c_str(), &status), 0);
  if (status.st_blocks * 512 >= static_cast<std::int64_t>(kSize)) {
    EXPECT_LE(files.RoomIn(folder.Path()), before - kSize / 2);
  }
  EXPECT_GT(before, 0U);
  EXPECT_EQ(FailureOf([&] { (void)files.RoomIn(folder.Path("none")); }), FailureNumber::File);
}

TEST_F(DownloadFilesTest, FileSystemsWithoutASizeHaveRoom) {
  EXPECT_EQ(files.RoomIn("/proc"), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(DownloadFilesTest, FatDisksHaveShortFilesAndFillGaps) {
  constexpr std::uint64_t kFourGibibytes = std::uint64_t{4} << 30;
  EXPECT_EQ(LimitsOf(MSDOS_SUPER_MAGIC).longestFile, kFourGibibytes - 1);
  EXPECT_TRUE(LimitsOf(MSDOS_SUPER_MAGIC).fillsGaps);
  EXPECT_GT(LimitsOf(EXFAT_SUPER_MAGIC).longestFile, kFourGibibytes);
  EXPECT_TRUE(LimitsOf(EXFAT_SUPER_MAGIC).fillsGaps);
  EXPECT_GT(files.LongestFileIn(folder.Path()), kFourGibibytes);
  EXPECT_EQ(files.DiskOf(folder.Path()), files.DiskOf(folder.Path() + "/."));
  EXPECT_NE(files.DiskOf(folder.Path()), files.DiskOf("/proc"));
  EXPECT_FALSE(files.FillsGaps(folder.Path()));
  EXPECT_EQ(FailureOf([&] { (void)files.FillsGaps(folder.Path("none")); }), FailureNumber::File);
}

}  // namespace
}  // namespace pellora
