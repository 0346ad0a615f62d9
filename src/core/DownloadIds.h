// DownloadIds: the ids by which scripts name downloads.
//
// An id is the moment at which the download was added, as the list file keeps it. Every add has a moment that no other
// has (MakeDateUnique in mainwin/AddDownload.cpp), so that an id belongs to one download for good: it outlives the
// program, and never returns once its download has left the list. Records that share a moment, in lists of versions
// that did not take care, also have the hash of their address in their ids.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

class Program;

std::string IdOf(Program& program, int index);
// The listed record with that id; 0 if there is none.
std::int16_t FindId(Program& program, const std::string& id);

// The same as IdOf, quicker for many: of the listed records at one moment.
class DownloadIds {
 public:
  explicit DownloadIds(Program& program);

  std::string Of(int index) const;

 private:
  Program& program_;
  std::vector<std::uint64_t> moments_;  // sorted
};

}  // namespace pellora
