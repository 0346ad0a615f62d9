// ArchiveWindows: the windows for looking inside archives, and what is added from them; the same without windows for
// scripts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/RemoteArchives.h"
#include "core/ArchiveLook.h"
#include "core/Selection.h"
#include "mainwin/AddDownload.h"

namespace pellora {

class LookInside;
class Program;

// What a script asks for. What is empty is not given.
struct ArchiveOrder {
  std::string url;
  std::string user{};
  std::string password{};
  // Of files that are to be unpacked:
  std::vector<std::string> patterns{};
  std::string folder{};           // absolute
  std::string existing{};         // "keep", "replace" or "number"
  std::string archivePassword{};  // for encrypted entries
  bool quiet = false;             // no window opens
  // Who waits for a list, as CallerGone names it.
  std::string caller{};
};

struct ListedEntry {
  std::string name;  // with "/" at the end of a folder's
  std::int64_t size = 0;
  std::int64_t packed = 0;
  double modified = 0;  // date and time of the archive's maker, in days like DateAdded; 0: not known
  std::string fault;    // why it cannot be unpacked, or "encrypted"; in English, no sentence; empty: it can be
  std::optional<std::int64_t> utc{};  // the same time in seconds since 1970, if the archive has it
};

struct ListedArchive {
  std::vector<ListedEntry> entries;
  std::string reason;  // why there are none, in one sentence
};

class ArchiveWindows {
 public:
  // Both outlive it.
  ArchiveWindows(Program& program, RemoteArchives& archives) : program_(program), archives_(archives) {}

  void Open(const ArchiveLook& look);
  void UnloadAll();

  // For scripts, without asking. `answered` comes in a later event, or never if the program ends first.
  void List(const ArchiveOrder& order, std::function<void(ListedArchive archive)> answered);
  void Get(const ArchiveOrder& order, std::function<void(AddOutcome outcome)> answered);
  // Nothing is read any more for the lists that this caller has ordered.
  void CallerGone(const std::string& caller);

 private:
  struct Inquiry {
    std::string caller;
    std::unique_ptr<ArchiveInquiry> reading;
  };
  void Extract(const ArchiveLook& look, Selection selection, std::string password);
  void Download(const ArchiveLook& look);
  // Returns why it is not read; else `done` gets the contents or the reason.
  std::string Read(const ArchiveOrder& order, std::function<void(const ArchiveReading& reading)> done);
  AddOutcome Add(const ArchiveOrder& order, const ArchiveReading& reading);

  Program& program_;
  RemoteArchives& archives_;
  std::vector<std::weak_ptr<LookInside>> windows_;
  std::map<int, Inquiry> inquiries_;  // of scripts
  int lastInquiry_ = 0;
};

}  // namespace pellora
