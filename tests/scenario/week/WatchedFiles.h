// WatchedFiles: the simulated disk as the program of a life sees it. It reports every write and delete to a watcher,
// knows which files are open and how long each is, and fails calls as planned.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Counts.h"
#include "Planted.h"
#include "SimPlatform.h"
#include "ports/Files.h"

namespace pellora {

class DiskWatcher {
 public:
  virtual void Written(const std::string& path, std::uint64_t offset, std::string_view bytes) = 0;
  virtual void Deleting(const std::string& path) = 0;

 protected:
  ~DiskWatcher() = default;
};

constexpr std::string_view kListPath = "/prog/Pellora.dat";
constexpr std::string_view kJournalPath = "/prog/Pellora.fetch";
inline bool IsPartFile(std::string_view path) { return path.ends_with(".tmp"); }

class WatchedFiles final : public Files {
 public:
  WatchedFiles(SimPlatform& sim, Counts& counts, Planted planted);
  ~WatchedFiles() override;

  void Watch(DiskWatcher* watcher) { watcher_ = watcher; }

  // The port.
  std::unique_ptr<File> Open(const std::string& path, FileKind kind) override;
  PartName LookAtPart(const std::string& path) const override;
  std::unique_ptr<File> OpenForReading(const std::string& path) override;
  void Delete(const std::string& path) override;
  void CreateFolder(const std::string& path) override;
  bool Exists(const std::string& path) const override;
  bool FolderExists(const std::string& path) const override;
  std::uint64_t LengthOf(const std::string& path) const override;
  std::vector<std::string> FilesIn(const std::string& folder) const override;

  // Some kind of call fails, once or for some seconds.
  void FailCalls(std::uint64_t salt);
  void FillUp(std::uint64_t salt);
  void NoFaults();
  // The web engine's journal could not be read.
  bool JournalFailed() const { return journalFailed_; }
  // Files whose deletion has failed.
  const std::set<std::string>& NotDeleted() const { return notDeleted_; }
  // The process dies in the middle of the next write, except to the list.
  void TearNextWrite() { tear_ = true; }

  // Straight from the disk, without a call.
  std::uint64_t Size(const std::string& path) const;
  const std::vector<const std::string*>& OpenPaths() const { return open_; }

 private:
  friend class WatchedFile;
  enum class Where { Anywhere, Parts, List, Elsewhere };
  struct Rule {
    std::vector<DiskCall> calls;  // none: all
    Where where = Where::Anywhere;
    std::uint64_t skip = 0;  // calls that succeed first
    bool once = true;
    SimLoop::Micros until = 0;
    const char* name = "";
  };
  struct Delayed {
    std::string path;
    std::uint64_t offset;
    std::string bytes;
  };
  void Enter(DiskCall call, const std::string& path) const;  // Failure if a rule says so
  void Write(File& file, const std::string& path, std::uint64_t offset, std::string_view bytes);
  void NoteLength(const std::string& path);
  void Flush(const std::string* only);

  SimPlatform& sim_;
  Counts& counts_;
  Planted planted_;
  SimRandom random_;
  DiskWatcher* watcher_ = nullptr;
  mutable std::vector<Rule> rules_;
  SimLoop::Micros fullUntil_ = 0;
  bool tear_ = false;
  mutable bool journalFailed_ = false;
  mutable std::set<std::string> notDeleted_;
  std::unordered_map<std::string, std::uint64_t> lengths_;
  std::vector<const std::string*> open_;
  std::deque<Delayed> delayed_;
};

}  // namespace pellora
