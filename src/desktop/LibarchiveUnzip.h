// LibarchiveUnzip: unpacks ZIP archives with libarchive's reader and its writer to disk, with the latter's secure
// flags.
//
// The central directory decides what is in an archive; a file without one is not an archive. At maxBytes kMaxBytes are
// unpacked, so that a small archive cannot fill the disk.
#pragma once

#include <cstdint>

#include "ports/Unzip.h"

namespace pellora {

class LibarchiveUnzip final : public Unzip {
 public:
  static constexpr std::int64_t kMaxBytes = std::int64_t{1} << 30;

  explicit LibarchiveUnzip(std::int64_t maxBytes = kMaxBytes) : maxBytes_(maxBytes) {}
  int Unpack(const std::string& archivePath, const std::string& folder,
             const std::function<void(std::string_view)>& print) override;

 private:
  std::int64_t maxBytes_;
};

}  // namespace pellora
