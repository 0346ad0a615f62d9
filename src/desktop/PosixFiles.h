// PosixFiles: files by descriptor and position, unbuffered.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "ports/Files.h"

namespace pellora {

class PosixFile;

class PosixFiles final : public Files {
 public:
  PosixFiles();
  explicit PosixFiles(uid_t user) : user_(user) {}

  std::unique_ptr<File> Open(const std::string& path, FileKind kind) override;
  PartName LookAtPart(const std::string& path) const override;
  std::unique_ptr<File> OpenForReading(const std::string& path) override;
  void Delete(const std::string& path) override;
  void CreateFolder(const std::string& path) override;  // and its missing parents
  bool Exists(const std::string& path) const override;
  bool FolderExists(const std::string& path) const override;
  std::uint64_t LengthOf(const std::string& path) const override;
  std::vector<std::string> FilesIn(const std::string& folder) const override;

  // As Open does for FileKind::Part; null if the file is missing and is not to be created.
  std::unique_ptr<PosixFile> OpenPart(const std::string& path, bool create) const;

 private:
  bool IsOurs(const std::string& path, const struct stat& status) const;
  bool MayBePart(const std::string& path, const struct stat& status) const;
  int OpenByOwnLinks(const std::string& path, mode_t mode) const;
  std::string TargetOfOwnLink(const std::string& link) const;

  uid_t user_;
};

}  // namespace pellora
