// Who may read the files of PosixFiles, and which links and files it accepts.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "Rights.h"
#include "Support.h"
#include "desktop/PosixFiles.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class PosixFilesSafety : public testing::Test {
 protected:
  PosixFilesSafety() { Put(target, "kept"); }

  void Link(const std::string& to, const std::string& name) {
    ASSERT_EQ(symlink(to.c_str(), folder.Path(name).c_str()), 0);
  }
  void ChangeOwner(const std::string& name) {
    ASSERT_EQ(lchown(folder.Path(name).c_str(), kAnotherUser, kAnotherUser), 0);
  }
  std::string RefusalOf(const std::string& path, FileKind kind) {
    try {
      files.Open(path, kind)->WriteAt(0, "overwritten");
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Number(), FailureNumber::ForeignFile) << path;
      return failure.what();
    }
    ADD_FAILURE() << path << " was opened";
    return {};
  }

  Folder folder;
  PosixFiles files;
  const std::string target = folder.Path("target");
};

TEST_F(PosixFilesSafety, ListAndPartsAreForTheUserAloneUnderAnyUmask) {
  for (const mode_t mask : {0000, 0022, 0077, 0777}) {
    const Umask with(mask);
    for (const FileKind kind : {FileKind::List, FileKind::Part}) {
      const std::string path = folder.Path("file");
      files.Open(path, kind)->WriteAt(0, "x");
      EXPECT_EQ(RightsOf(path), 0600U) << std::oct << mask;
      unlink(path.c_str());
    }
  }
}

TEST_F(PosixFilesSafety, OutputFollowsTheUmask) {
  for (const mode_t mask : {0000, 0022, 0027, 0077}) {
    const Umask with(mask);
    files.Open(folder.Path("output"), FileKind::Output)->WriteAt(0, "x");
    EXPECT_EQ(RightsOf(folder.Path("output")), 0666U & ~mask) << std::oct << mask;
    unlink(folder.Path("output").c_str());
  }
}

TEST_F(PosixFilesSafety, ExistingOutputKeepsItsPermissions) {
  ASSERT_EQ(chmod(target.c_str(), 0640), 0);
  files.Open(target, FileKind::Output);
  EXPECT_EQ(RightsOf(target), 0640U);
}

TEST_F(PosixFilesSafety, ListAndPartsReadableByOthersAreMadePrivate) {
  for (const FileKind kind : {FileKind::List, FileKind::Part}) {
    ASSERT_EQ(chmod(target.c_str(), 0666), 0);
    EXPECT_EQ(Content(target), "kept");
    files.Open(target, kind);
    EXPECT_EQ(RightsOf(target), 0600U);
    EXPECT_EQ(Content(target), "kept");
  }
}

TEST_F(PosixFilesSafety, ListAndPartsAreNeverBrieflyReadableByOthers) {
  const Umask with(0);
  const std::string path = folder.Path("file");
  std::atomic<bool> done = false;
  std::atomic<int> seen = 0;
  std::atomic<int> wide = 0;
  std::thread watcher([&] {
    while (!done) {
      struct stat status {};
      if (stat(path.c_str(), &status) != 0) continue;
      ++seen;
      if ((status.st_mode & 0077) != 0) ++wide;
    }
  });
  for (int round = 0; round < 20000 && (round < 2000 || seen == 0); ++round) {
    files.Open(path, round % 2 == 0 ? FileKind::List : FileKind::Part);
    unlink(path.c_str());
  }
  done = true;
  watcher.join();
  EXPECT_GT(seen, 0);
  EXPECT_EQ(wide, 0);
}

TEST_F(PosixFilesSafety, PartIsOpenedOnlyIfItIsTheUsersAlone) {
  Link(target, "link");
  Link(folder.Path("made"), "dangling");
  ASSERT_EQ(link(target.c_str(), folder.Path("second").c_str()), 0);
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  for (const char* const name : {"link", "dangling", "second", "target", "pipe", "folder"}) {
    EXPECT_EQ(files.LookAtPart(folder.Path(name)), PartName::Foreign) << name;
    EXPECT_NE(RefusalOf(folder.Path(name), FileKind::Part).find(folder.Path(name)), std::string::npos);
  }
  EXPECT_EQ(Content(target), "kept");
  EXPECT_FALSE(std::filesystem::exists(folder.Path("made")));
  unlink(folder.Path("second").c_str());
  EXPECT_EQ(files.LookAtPart(target), PartName::Own);
  EXPECT_EQ(files.LookAtPart(folder.Path("none")), PartName::Free);
  EXPECT_EQ(files.LookAtPart(folder.Path("no/such/folder")), PartName::Free);
  files.Open(target, FileKind::Part);
}

// Only root can change owners; for other users, root is another user, with files that exist on every system.
TEST_F(PosixFilesSafety, PartOfAnotherUserIsRefusedAndKeepsItsPermissions) {
  std::string theirs = "/etc/passwd";
  if (geteuid() == 0) {
    theirs = target;
    ChangeOwner("target");
  }
  const mode_t before = RightsOf(theirs);
  EXPECT_EQ(files.LookAtPart(theirs), PartName::Foreign);
  RefusalOf(theirs, FileKind::Part);
  EXPECT_EQ(RightsOf(theirs), before);
  EXPECT_EQ(Content(target), "kept");
}

// A file system without users: files created by this process belong to another user at once.
TEST_F(PosixFilesSafety, PartsWorkOnADiskThatReportsAnotherOwner) {
  PosixFiles mapped(geteuid() + 1);
  mapped.Open(folder.Path("part"), FileKind::Part)->WriteAt(0, "x");
  EXPECT_EQ(mapped.LookAtPart(folder.Path("part")), PartName::Own);
  mapped.Open(folder.Path("part"), FileKind::Part)->WriteAt(1, "y");
  EXPECT_EQ(Content(folder.Path("part")), "xy");
  EXPECT_EQ(mapped.FilesIn(folder.Path()), (std::vector<std::string>{"part", "target"}));  // no probe files are left
}

TEST_F(PosixFilesSafety, LinksOfTheUserAreFollowedToOutputAndList) {
  Link("made", "dangling");
  Link("dangling", "chain");
  Link(target, "link");
  for (const FileKind kind : {FileKind::Output, FileKind::List}) {
    files.Open(folder.Path("chain"), kind)->WriteAt(0, "x");
    EXPECT_EQ(Content(folder.Path("made")), "x");
    unlink(folder.Path("made").c_str());
    files.Open(folder.Path("link"), kind)->WriteAt(0, "K");
    EXPECT_EQ(Content(target), "Kept");
  }
}

TEST_F(PosixFilesSafety, LinksOfAnotherUserAreRefusedEvenAtTheEndOfAChain) {
  std::string theirs = "/etc/mtab";
  if (geteuid() == 0) {
    theirs = folder.Path("theirs");
    Link(folder.Path("made"), "theirs");
    ChangeOwner("theirs");
  }
  Link(theirs, "chain");
  for (const std::string& path : {theirs, folder.Path("chain")}) {
    RefusalOf(path, FileKind::Output);
    RefusalOf(path, FileKind::List);
  }
  EXPECT_FALSE(std::filesystem::exists(folder.Path("made")));
}

TEST_F(PosixFilesSafety, CircularLinksFail) {
  Link("b", "a");
  Link("a", "b");
  EXPECT_THROW(files.Open(folder.Path("a"), FileKind::Output), Failure);
}

// Another process keeps replacing the file by a link and back.
TEST_F(PosixFilesSafety, PartIsNeverWrittenThroughALinkThatReplacesIt) {
  const std::string path = folder.Path("part");
  std::atomic<bool> done = false;
  std::atomic<int> planted = 0;
  std::thread planter([&] {
    while (!done) {
      planted += symlink(target.c_str(), path.c_str()) == 0 ? 1 : 0;
      unlink(path.c_str());
    }
  });
  for (int round = 0; round < 3000 || planted < 100; ++round) {
    Skip([&] { files.Open(path, FileKind::Part)->WriteAt(0, "overwritten"); });
  }
  done = true;
  planter.join();
  EXPECT_EQ(Content(target), "kept");
}

}  // namespace
}  // namespace pellora
