// PosixDownloadFiles: part files of downloads by exclusive creation and locks, and names by renames that replace
// nothing.
#pragma once

#include "desktop/ExclusiveRename.h"
#include "desktop/PosixFiles.h"
#include "ports/DownloadFiles.h"

namespace pellora {

// What a file system cannot do, by the number that statfs reports for it.
struct DiskLimits {
  std::uint64_t longestFile;
  bool fillsGaps;
};
DiskLimits LimitsOf(std::int64_t fileSystem);

class PosixDownloadFiles final : public DownloadFiles {
 public:
  // `best`: pretends for tests that the disk can do no better.
  explicit PosixDownloadFiles(ExclusiveRename best = ExclusiveRename::InOneStep) : best_(best) {}

  std::unique_ptr<DownloadFile> Create(const std::string& path) override;
  std::unique_ptr<DownloadFile> Adopt(const std::string& path, const FileIdentity& identity) override;
  std::unique_ptr<DownloadFile> OpenJournal(const std::string& path) override;
  void Replace(const std::string& path, std::string_view bytes) override;
  std::optional<FileState> StateOf(const std::string& path) const override;
  std::vector<std::exception_ptr> FlushTogether(const std::vector<DownloadFile*>& files,
                                                const std::vector<std::string>& folders) override;
  bool Publish(const std::string& part, const std::string& path) override;
  bool PublishOver(const std::string& part, const std::string& path, const FileState& replaced) override;
  void FlushFolder(const std::string& folder) override;
  std::uint64_t RoomIn(const std::string& folder) const override;
  std::uint64_t DiskOf(const std::string& folder) const override;
  std::uint64_t LongestFileIn(const std::string& folder) const override;
  bool FillsGaps(const std::string& folder) const override;

 private:
  PosixFiles files_;
  ExclusiveRename best_;
};

}  // namespace pellora
