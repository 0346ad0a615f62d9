// Entries of archives that archivers have made, unpacked by the process into a real folder.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "Support.h"
#include "archive/ArchiveReader.h"
#include "archive/EntryLayout.h"
#include "archive/EntryNames.h"
#include "archive/EntryUnpacking.h"
#include "desktop/PosixDownloadFiles.h"
#include "desktop/PosixOutputFolders.h"
#include "desktop/UnpackerProcess.h"

namespace pellora {
namespace {

constexpr const char* kPassword = "pass word";

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

class RealEntries : public testing::Test {
 protected:
  RealEntries() {
    std::filesystem::create_directories(folder.Path("in/docs"));
    std::string random;
    for (unsigned i = 0, value = 1; i < 300'000; ++i)
      random += static_cast<char>((value = value * 1103515245U + 12345U) >> 16U);
    files = {{"empty", ""},
             {"docs/text.txt",
              [] {
                std::string text;
                for (int i = 0; i < 5000; ++i) text += "line " + std::to_string(i) + "\n";
                return text;
              }()},
             {"large.bin", random + std::string(3'000'000, 'x')},
             {"record.bin", "PK\7\10" + std::string(12, '\0') + "and more"}};
    for (const auto& [name, content] : files) Put(folder.Path("in/" + name), content);
    EXPECT_EQ(chmod(folder.Path("in/large.bin").c_str(), 04755), 0);
  }

  // In the folder of the files.
  void Make(const std::string& command) {
    ASSERT_EQ(std::system(("cd '" + folder.Path("in") + "' && (" + command + ") >../log 2>&1").c_str()), 0)
        << command << ": " << Content(folder.Path("log"));
  }

  static SelectedEntry Selected(const ArchiveDirectory& directory, const EntryLayout& layout, std::size_t index) {
    const ArchiveEntry read = directory.Entry(index);
    SelectedEntry entry;
    entry.path = EntryPath(EntryName(read, CodePage::Dos437), directory.BackslashSeparates(read)).value();
    entry.rawName = read.rawName;
    entry.range = layout.RangeOf(index);
    entry.reach = layout.LargestRangeOf(index).end;
    entry.packed = {read.method,
                    read.flags,
                    read.dosTime,
                    read.dosDate,
                    read.crc,
                    static_cast<std::uint64_t>(read.packed),
                    static_cast<std::uint64_t>(read.size),
                    std::string(read.aes),
                    {}};
    entry.modified = read.modified;
    entry.mode = read.mode;
    entry.isFolder = read.kind == EntryKind::Folder;
    return entry;
  }
  EntryEnd Unpack(const SelectedEntry& entry, const std::string& archive, const std::string& password = kPassword) {
    const std::string path = folder.Path(archive);
    EXPECT_EQ(chmod(path.c_str(), 0600), 0);
    std::shared_ptr<DownloadFile> part = downloads.OpenJournal(path);
    EntryUnpacking unpacking(unpacker, out, part, entry, password, Existing::Replace, unpacked);
    for (int steps = 0; steps < 10'000; ++steps) {
      const EntryEnd end = unpacking.Step();
      if (end == EntryEnd::NeedsMore) {
        SelectedEntry longer = entry;
        longer.range.end = unpacking.Needs().end;
        return Unpack(longer, archive, password);
      }
      reason = unpacking.Reason();
      if (end != EntryEnd::None) return end;
    }
    return EntryEnd::None;
  }
  ArchiveDirectory Read(const std::string& archive) {
    const std::string bytes = Content(folder.Path(archive));
    ArchiveReader reader(static_cast<std::int64_t>(bytes.size()));
    while (const std::optional<Range> wants = reader.Wants()) {
      reader.Take(bytes.substr(static_cast<std::size_t>(wants->begin), static_cast<std::size_t>(wants->Length())));
    }
    return reader.Directory().value();
  }
  // All that is in it, compared with the files.
  void CheckArchive(const std::string& archive) {
    const ArchiveDirectory directory = Read(archive);
    const EntryLayout layout(directory);
    std::size_t found = 0;
    for (std::size_t i = 0; i < directory.Count(); ++i) {
      ASSERT_TRUE(layout.IsSound(i)) << archive;
      const SelectedEntry entry = Selected(directory, layout, i);
      EXPECT_EQ(Unpack(entry, archive), EntryEnd::Unpacked) << archive << " " << entry.rawName << " " << reason;
      if (entry.isFolder) continue;
      const auto file = files.find(entry.rawName);
      ASSERT_NE(file, files.end()) << archive << " " << entry.rawName;
      const std::string path = folder.Path("out/" + entry.rawName);
      EXPECT_TRUE(Content(path) == file->second) << archive << " " << entry.rawName;
      struct stat status {};
      ASSERT_EQ(stat(path.c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 07000U, 0U) << archive << " " << entry.rawName;
      ++found;
    }
    EXPECT_EQ(found, files.size()) << archive;
  }

  const std::ptrdiff_t descriptors = OpenDescriptors();
  const Folder folder;
  std::map<std::string, std::string> files;
  UnpackerProcess unpacker{PELLORA_UNPACK};
  PosixDownloadFiles downloads;
  PosixOutputFolders folders;
  std::shared_ptr<OutputFolder> out = folders.Open(folder.Path("out"));
  std::shared_ptr<UnpackedFiles> unpacked;
  std::string reason;
  void TearDown() override {
    out.reset();
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
};

TEST_F(RealEntries, AreUnpackedToTheByte) {
  struct Archiver {
    const char* archive;
    const char* command;
  };
  for (const Archiver& archiver : {
           Archiver{"deflate.zip", "zip -qr ../deflate.zip ."},
           {"stored.zip", "zip -qr0 ../stored.zip ."},
           {"bzip2.zip", "zip -qr -Z bzip2 ../bzip2.zip ."},
           {"pipe.zip", "zip -qr - . > ../pipe.zip"},
           {"comment.zip", "zip -qr ../comment.zip . && echo 'PK a comment' | zip -qz ../comment.zip"},
           {"encrypted.zip", "zip -qr -P 'pass word' ../encrypted.zip ."},
           {"descriptors.zip", "zip -qr -fd -P 'pass word' ../descriptors.zip ."},
           {"lzma.zip", "7zz a -tzip -mm=LZMA ../lzma.zip ."},
           {"ppmd.zip", "7zz a -tzip -mm=PPMd ../ppmd.zip ."},
           {"xz.zip", "7zz a -tzip -mm=xz ../xz.zip ."},
           {"aes.zip", "7zz a -tzip -mem=AES256 '-ppass word' ../aes.zip ."},
           {"bsdtar.zip", "bsdtar -a -cf ../bsdtar.zip *"},
           {"bsdtar-pipe.zip", "bsdtar --format zip -cf - * > ../bsdtar-pipe.zip"},
           {"python.zip", "python3 -m zipfile -c ../python.zip *"},
       }) {
    unpacked = std::make_shared<UnpackedFiles>();
    Make(archiver.command);
    CheckArchive(archiver.archive);
    std::filesystem::remove_all(folder.Path("out"));
    out = folders.Open(folder.Path("out"));
  }
}

TEST_F(RealEntries, WithAWrongPasswordLeaveNothing) {
  Make("zip -qj -P 'pass word' ../e.zip large.bin && 7zz a -tzip -mem=AES256 '-ppass word' ../a.zip large.bin");
  unpacked = std::make_shared<UnpackedFiles>();
  for (const char* const archive : {"e.zip", "a.zip"}) {
    const ArchiveDirectory directory = Read(archive);
    const SelectedEntry entry = Selected(directory, EntryLayout(directory), 0);
    for (const char* const wrong : {"", "x", "pass word ", "\xFF"}) {
      EXPECT_EQ(Unpack(entry, archive, wrong), EntryEnd::WrongPassword) << archive << " " << wrong;
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("out")));
}

// 1 GiB of zeros in 5 MiB, of which the directory promises 1000 bytes.
TEST_F(RealEntries, BombsStopAtTheSizeThatWasPromised) {
  Make("truncate -s 1G zeros && zip -qj1 ../bomb.zip zeros && rm zeros");
  unpacked = std::make_shared<UnpackedFiles>();
  const ArchiveDirectory directory = Read("bomb.zip");
  SelectedEntry entry = Selected(directory, EntryLayout(directory), 0);
  EXPECT_EQ(entry.packed.size, std::uint64_t{1} << 30);
  entry.packed.size = 1000;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Unpack(entry, "bomb.zip"), EntryEnd::Damaged);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("out")));
}

TEST_F(RealEntries, DamagedBytesNeverGetAName) {
  Make(
      "zip -qj ../d.zip large.bin && 7zz a -tzip -mm=LZMA ../l.zip large.bin && 7zz a -tzip -mm=PPMd ../p.zip "
      "large.bin");
  unpacked = std::make_shared<UnpackedFiles>();
  for (const char* const archive : {"d.zip", "l.zip", "p.zip"}) {
    const ArchiveDirectory directory = Read(archive);
    const SelectedEntry entry = Selected(directory, EntryLayout(directory), 0);
    const std::string whole = Content(folder.Path(archive));
    for (std::size_t at = 100; at < 300'000; at += 60'000) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
      Put(folder.Path(archive), damaged);
      EXPECT_EQ(Unpack(entry, archive), EntryEnd::Damaged) << archive << " " << at;
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("out")));
}

}  // namespace
}  // namespace pellora
