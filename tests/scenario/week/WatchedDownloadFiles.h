// WatchedDownloadFiles: part files and journal as the program of a life sees them. It reports renames to a watcher, and
// fails calls as planned.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Counts.h"
#include "Planted.h"
#include "SimPlatform.h"
#include "WatchedFiles.h"
#include "ports/DownloadFiles.h"

namespace pellora {

inline bool IsWebPart(std::string_view path) { return path.ends_with(".part"); }

class RenameWatcher {
 public:
  // Between the two the file gets its name.
  virtual void Publishing(const std::string& part, const std::string& path) = 0;
  virtual void Published(const std::string& path) = 0;

 protected:
  ~RenameWatcher() = default;
};

class WatchedDownloadFiles final : public DownloadFiles {
 public:
  WatchedDownloadFiles(SimPlatform& sim, Counts& counts, Planted planted)
      : sim_(sim), counts_(counts), planted_(planted) {}

  void Watch(RenameWatcher* watcher) { watcher_ = watcher; }

  // The port.
  std::unique_ptr<DownloadFile> Create(const std::string& path) override;
  std::unique_ptr<DownloadFile> Adopt(const std::string& path, const FileIdentity& identity) override;
  std::unique_ptr<DownloadFile> OpenJournal(const std::string& path) override;
  void Replace(const std::string& path, std::string_view bytes) override;
  std::optional<FileState> StateOf(const std::string& path) const override;
  bool Publish(const std::string& part, const std::string& path) override;
  bool PublishOver(const std::string& part, const std::string& path, const FileState& replaced) override;
  void FlushFolder(const std::string& folder) override;
  std::uint64_t RoomIn(const std::string& folder) const override;
  std::uint64_t DiskOf(const std::string& folder) const override { return sim_.downloadFiles().DiskOf(folder); }
  std::uint64_t LongestFileIn(const std::string& folder) const override;
  bool FillsGaps(const std::string& folder) const override;

  // Some kind of call fails, once or for some seconds.
  void FailCalls(std::uint64_t salt);
  void NoFaults() { rules_.clear(); }
  // A call on the journal has failed, so that it may know too little.
  bool JournalFailed() const { return journalFailed_; }
  // Part files that no line of the journal names yet: a kill leaves them without a download.
  const std::set<std::string>& Unnamed() const { return unnamed_; }
  // Files that a failed look has kept from being deleted.
  const std::set<std::string>& Unseen() const { return unseen_; }

 private:
  friend class WatchedDownloadFile;
  struct Rule {
    std::vector<DiskCall> calls;  // none: all
    bool journal = false;
    std::uint64_t skip = 0;  // calls that succeed first
    bool once = true;
    SimLoop::Micros until = 0;
    const char* name = "";
  };
  void Enter(DiskCall call, const std::string& path) const;  // Failure if a rule says so
  void FlushedJournal(const std::string& lines);
  std::unique_ptr<DownloadFile> Watched(std::string path, std::unique_ptr<DownloadFile> file);

  SimPlatform& sim_;
  Counts& counts_;
  Planted planted_;
  RenameWatcher* watcher_ = nullptr;
  mutable std::vector<Rule> rules_;
  mutable bool journalFailed_ = false;
  std::set<std::string> unnamed_;
  mutable std::set<std::string> unseen_;
  std::string lateLine_;  // for Planted::LateJournal
};

}  // namespace pellora
