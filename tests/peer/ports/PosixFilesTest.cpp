#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "Support.h"
#include "desktop/PosixFiles.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class PosixFilesTest : public testing::Test {
 protected:
  Folder folder;
  PosixFiles files;

  // The text of the Failure that `operation` must throw.
  template <class Operation>
  std::string FailureOf(Operation&& operation) {
    try {
      operation();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Number(), FailureNumber::File);
      return failure.what();
    }
    ADD_FAILURE() << "it did not fail";
    return {};
  }
};

TEST_F(PosixFilesTest, WritesByPositionAndReadsBack) {
  const auto file = files.Open(folder.Path("part"), FileKind::Output);
  file->WriteAt(5, "world");
  file->WriteAt(0, "hello");
  EXPECT_EQ(file->Length(), 10u);
  std::array<char, 32> buffer{};
  EXPECT_EQ(file->ReadAt(3, buffer), 7u);
  EXPECT_EQ(std::string(buffer.data(), 7), "loworld");
  EXPECT_EQ(file->ReadAt(10, buffer), 0u);
}

TEST_F(PosixFilesTest, WrittenBytesAreReadableAtOnce) {
  const auto file = files.Open(folder.Path("part"), FileKind::Output);
  file->WriteAt(0, "unbuffered");
  EXPECT_EQ(Content(folder.Path("part")), "unbuffered");
}

TEST_F(PosixFilesTest, OpenNeverTruncatesAFile) {
  Put(folder.Path("part"), "kept");
  files.Open(folder.Path("part"), FileKind::Output);
  EXPECT_EQ(Content(folder.Path("part")), "kept");
}

TEST_F(PosixFilesTest, ReserveKeepsLengthAndContent) {
  const auto file = files.Open(folder.Path("part"), FileKind::Output);
  file->WriteAt(0, "abc");
  file->Reserve(1 << 20);
  file->Reserve(0);
  EXPECT_EQ(file->Length(), 3u);
  EXPECT_EQ(Content(folder.Path("part")), "abc");
}

TEST_F(PosixFilesTest, ReserveAllocatesSpaceIfTheDiskCan) {
  constexpr int kSize = 3 << 20;
  const int other = open(folder.Path("other").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const bool can = fallocate(other, FALLOC_FL_KEEP_SIZE, 0, kSize) == 0;
  close(other);
  files.Open(folder.Path("part"), FileKind::Output)->Reserve(kSize);
  struct stat status {};
  ASSERT_EQ(stat(folder.Path("part").c_str(), &status), 0);
  EXPECT_EQ(status.st_blocks * 512 >= kSize, can);
}

TEST_F(PosixFilesTest, ReserveSucceedsIfTheDiskReportsNoFreeSpace) {
  files.Open("/proc/self/comm", FileKind::Output)->Reserve(1000);  // can neither reserve nor report a size
}

TEST_F(PosixFilesTest, ReserveFailsBeyondTheFreeSpace) {
  const auto file = files.Open(folder.Path("part"), FileKind::Output);
  EXPECT_NE(FailureOf([&] { file->Reserve(std::uint64_t{1} << 62); }), "");
  EXPECT_EQ(file->Length(), 0u);
}

TEST_F(PosixFilesTest, CopiesARangeUpToTheEndOfTheSource) {
  Put(folder.Path("part"), "0123456789");
  const auto part = files.OpenForReading(folder.Path("part"));
  const auto output = files.Open(folder.Path("output"), FileKind::Output);
  output->WriteAt(0, "keeps its head and its tail");
  EXPECT_EQ(output->CopyFrom(*part, 2, 6, 3), 3u);
  EXPECT_EQ(Content(folder.Path("output")), "keeps 234 head and its tail");
  EXPECT_EQ(output->CopyFrom(*part, 8, 0, 100), 2u);
  EXPECT_EQ(Content(folder.Path("output")), "89eps 234 head and its tail");
  EXPECT_EQ(output->CopyFrom(*part, 10, 0, 100), 0u);
}

TEST_F(PosixFilesTest, CopiesALargeRangeCompletely) {
  std::string bytes(3 * 1048576 + 5, ' ');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 / 3);
  Put(folder.Path("part"), bytes);
  const auto part = files.Open(folder.Path("part"), FileKind::Output);
  const auto output = files.Open(folder.Path("output"), FileKind::Output);
  output->Reserve(bytes.size());
  EXPECT_EQ(output->CopyFrom(*part, 1, 3, bytes.size()), bytes.size() - 1);
  EXPECT_EQ(Content(folder.Path("output")), std::string(3, '\0') + bytes.substr(1));
}

TEST_F(PosixFilesTest, CopyReturnsZeroInsteadOfFailing) {
  Put(folder.Path("part"), "0123456789");
  const auto part = files.Open(folder.Path("part"), FileKind::Output);
  const auto readOnly = files.OpenForReading(folder.Path("part"));
  EXPECT_EQ(part->CopyFrom(*files.Open(folder.Path("part"), FileKind::Output), 0, 5, 8), 0u);  // the ranges overlap
  EXPECT_EQ(readOnly->CopyFrom(*files.Open(folder.Path("other"), FileKind::Output), 0, 0, 5), 0u);
  Put(folder.Path("other"), "other");
  EXPECT_EQ(readOnly->CopyFrom(*files.Open(folder.Path("other"), FileKind::Output), 0, 0, 5), 0u);
  EXPECT_EQ(Content(folder.Path("part")), "0123456789");
}

TEST_F(PosixFilesTest, FailuresNameThePathAndTheReason) {
  const std::string path = folder.Path("missing/part");
  EXPECT_EQ(FailureOf([&] { files.Open(path, FileKind::Output); }), path + ": No such file or directory");
  EXPECT_EQ(FailureOf([&] { files.OpenForReading(path); }), path + ": No such file or directory");
  EXPECT_EQ(FailureOf([&] { files.Delete(path); }), path + ": No such file or directory");
  EXPECT_EQ(FailureOf([&] { files.LengthOf(path); }), path + ": No such file or directory");
}

TEST_F(PosixFilesTest, RefusesNonRegularFilesEvenThroughALink) {
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string link = folder.Path("link");
  ASSERT_EQ(symlink("/dev/null", link.c_str()), 0);
  for (const std::string& path : {folder.Path(), pipe, link, std::string("/dev/null")}) {
    EXPECT_NE(FailureOf([&] { files.Open(path, FileKind::Output); }), "") << path;
    EXPECT_NE(FailureOf([&] { files.OpenForReading(path); }), "") << path;
    EXPECT_NE(FailureOf([&] { files.LengthOf(path); }), "") << path;
  }
}

TEST_F(PosixFilesTest, RefusesAPathWithANul) {
  Put(folder.Path("part"), "kept");
  const std::string path = folder.Path("part") + std::string("\0.tmp", 5);
  EXPECT_NE(FailureOf([&] { files.Delete(path); }), "");
  EXPECT_FALSE(files.Exists(path));
  EXPECT_TRUE(files.Exists(folder.Path("part")));
}

TEST_F(PosixFilesTest, TreatsNamesAsBytes) {
  const std::string path = folder.Path("caf\xe9 \xff");
  files.Open(path, FileKind::Output)->WriteAt(0, "1");
  EXPECT_EQ(files.FilesIn(folder.Path()), std::vector<std::string>{"caf\xe9 \xff"});
}

TEST_F(PosixFilesTest, CreatesFoldersWithParentsEvenIfTheyExist) {
  const std::string path = folder.Path("a/b/c");
  files.CreateFolder(path);
  files.CreateFolder(path);
  files.CreateFolder(path + "/");
  EXPECT_TRUE(files.Exists(path));
  EXPECT_TRUE(files.FolderExists(path + "/"));
  EXPECT_FALSE(files.FolderExists(path + "/d"));
  EXPECT_FALSE(files.FolderExists("/dev/null"));
  EXPECT_FALSE(files.FolderExists(path + std::string("\0", 1)));
  Put(folder.Path("file"), "");
  EXPECT_FALSE(files.FolderExists(folder.Path("file")));
  EXPECT_NE(FailureOf([&] { files.CreateFolder(folder.Path("file")); }), "");
}

TEST_F(PosixFilesTest, ListsRegularFilesSortedByBytes) {
  for (const char* name : {"b", "a", "B", "10", "9"}) Put(folder.Path(name), "");
  files.CreateFolder(folder.Path("folder"));
  EXPECT_EQ(files.FilesIn(folder.Path()), (std::vector<std::string>{"10", "9", "B", "a", "b"}));
  EXPECT_TRUE(files.FilesIn(folder.Path("none")).empty());
}

TEST_F(PosixFilesTest, RefusesAnOffsetOutsideAnyFile) {
  const auto file = files.Open(folder.Path("part"), FileKind::Output);
  EXPECT_NE(FailureOf([&] { file->WriteAt(~std::uint64_t{0}, "x"); }), "");
  EXPECT_EQ(file->Length(), 0u);
}

}  // namespace
}  // namespace pellora
