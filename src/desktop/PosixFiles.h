// PosixFiles: files by descriptor and position, without a buffer of the program's own.
#pragma once

#include "ports/Files.h"

namespace pellora {

class PosixFiles final : public Files {
 public:
  std::unique_ptr<File> Open(const std::string& path) override;
  std::unique_ptr<File> OpenForReading(const std::string& path) override;
  void Delete(const std::string& path) override;
  void CreateFolder(const std::string& path) override;  // with the folders above it
  bool Exists(const std::string& path) const override;
  std::uint64_t LengthOf(const std::string& path) const override;
  std::vector<std::string> FilesIn(const std::string& folder) const override;
};

}  // namespace pellora
