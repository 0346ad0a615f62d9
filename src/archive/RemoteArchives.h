// RemoteArchives: reads the directory of an archive that a server has, by a few ranged requests, without fetching
// anything else of it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "archive/ArchiveDirectory.h"
#include "core/FileFacts.h"
#include "core/WebAdd.h"

namespace pellora {

struct ArchiveContents {
  std::string name;  // of its file
  FileFacts facts;   // every range that is fetched later must be of the same version
  ArchiveDirectory directory;
};

struct ArchiveReading {
  std::shared_ptr<const ArchiveContents> contents;  // null if there is a problem
  std::string problem;                              // one sentence for the user
};

// Destroyed, it asks no further, and `done` does not come.
class ArchiveInquiry {
 public:
  virtual ~ArchiveInquiry() = default;
};

class RemoteArchives {
 public:
  virtual ~RemoteArchives() = default;
  // `add` has login and hand-over. `progress` gets one sentence for each request; `done` comes once, in a later event.
  // Null if the web engine does not take the address.
  virtual std::unique_ptr<ArchiveInquiry> Read(const std::string& url, const WebAdd& add,
                                               std::function<void(const std::string& state)> progress,
                                               std::function<void(const ArchiveReading& reading)> done) = 0;
};

}  // namespace pellora
