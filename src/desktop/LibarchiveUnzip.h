// LibarchiveUnzip: the unzip layer's library, on libarchive's reader of ZIP archives and its writer to the
// disk, with the secure flags of the latter.
//
// An archive is taken as its directory at the end names it: one that lost its end is no archive. At most
// kMostBytes are unpacked, so that a small archive cannot fill the disk.
#pragma once

#include <cstdint>

#include "ports/Unzip.h"

namespace pellora {

class LibarchiveUnzip final : public Unzip {
 public:
  static constexpr std::int64_t kMostBytes = std::int64_t{1} << 30;

  explicit LibarchiveUnzip(std::int64_t most = kMostBytes) : most_(most) {}
  int Unpack(const std::string& archivePath, const std::string& folder,
             const std::function<void(std::string_view)>& print) override;

 private:
  std::int64_t most_;
};

}  // namespace pellora
