// SimDisk: an in-memory disk with faults. Contents are sparse pages, so that tens of megabytes are cheap.
//
// Port calls are counted from 1 (a close does not count). The disk can fill up, fail chosen calls with a Failure, lose
// a file, and be cut: from the cut on every call throws SimKilled, as if the process had been killed there; what was
// written before is kept. TakeState then moves the disk into a new run.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "SimContent.h"
#include "SimFileData.h"
#include "SimLoop.h"
#include "ports/Files.h"

namespace pellora {

enum class DiskCall {
  Open,
  LookAtPart,
  OpenForReading,
  Delete,
  CreateFolder,
  Exists,
  LengthOf,
  FilesIn,
  Write,
  Read,
  Length,
  Reserve,
  Copy,  // into the file with this path
  // Those of DownloadFiles. Publish and PublishOver are a Rename.
  Create,
  Adopt,
  OpenJournal,
  Replace,
  StateOf,
  Rename,
  FlushFolder,
  RoomIn,
  DiskOf,
  LongestFileIn,
  FillsGaps,
  Flush,
  SetLength,
  State
};

struct SimLink {
  std::string target;
  bool ofAnotherUser = false;  // belongs to another user
};

// A name that changed, and whose folder was not flushed since.
struct SimNameChange {
  std::string path;
  std::shared_ptr<SimFileData> before;  // null: there was no such file
  std::shared_ptr<SimFileData> after;   // null: it was deleted
  std::string from;                     // its former path if it was renamed
};

// Everything on the disk. Only the last part of a path can be a link.
struct SimDiskState {
  std::map<std::string, std::shared_ptr<SimFileData>> files;
  std::map<std::string, SimLink> links;
  std::set<std::string> folders;
  std::deque<SimNameChange> unflushedNames;  // the last ones, in order
  std::uint64_t lastInode = 0;
};

class SimDisk final : public Files {
 public:
  explicit SimDisk(SimLoop& loop) : loop_(loop) {}

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

  // For the test; none of these is a port call.
  void MakeFolder(const std::string& path);  // with its parents
  void Put(const std::string& path, const SimContent& content);
  // Many disks give the number of a deleted file again at once.
  void PutNumbered(const std::string& path, const SimContent& content, std::uint64_t inode);
  void PutLink(const std::string& path, const std::string& target, bool ofAnotherUser = false);
  void PutSecondName(const std::string& path, const std::string& of);
  void GiveToAnother(const std::string& path);
  void SetOpenToOthers(const std::string& path, bool open);
  void LockByAnother(const std::string& path);
  // Gives all files other inode numbers, as some disks do when they are mounted again.
  void Renumber();
  bool HasLink(const std::string& path) const { return state_.links.contains(Resolve(path)); }
  bool HasForeign(const std::string& path) const { return PartNameOf(Resolve(path)) == PartName::Foreign; }
  bool IsOpenToOthers(const std::string& path) const;  // False for a file that is not there
  std::string Get(const std::string& path) const;
  bool Has(const std::string& path) const;
  // Whether a power cut has cost the file bytes, and nobody has written it since.
  bool WasCutByPower(const std::string& path) const;
  std::uint64_t Size(const std::string& path) const;  // 0 for a missing file
  bool Holds(const std::string& path, const SimContent& content) const;
  // Whether the file has these bytes of `content`, at the same place.
  bool Holds(const std::string& path, const SimContent& content, std::uint64_t offset, std::uint64_t length) const;
  void Lose(const std::string& path);
  std::vector<std::string> Paths() const;  // of all files, sorted
  std::uint64_t BytesWritten() const { return written_; }
  const std::set<std::string>& Made() const { return made_; }    // every file that the program created
  const std::set<std::string>& Given() const { return given_; }  // folders that the test made
  bool WasLost(const std::string& path) const { return lost_.contains(path); }
  std::uint64_t Used() const { return used_; }  // of the capacity
  // A line for each call since KeepLog: "disk write /a 0 98", with offset and size, or 0 where a call has none.
  void KeepLog() { log_.emplace(); }
  const std::vector<std::string>& Log() const { return log_.value(); }

  // Faults.
  using Predicate = std::function<bool(DiskCall call, const std::string& path)>;
  std::uint64_t Calls() const { return calls_; }
  void SetCapacity(std::uint64_t bytes) { capacity_ = bytes; }
  void SetLongestFile(std::uint64_t bytes) { longestFile_ = bytes; }
  void FailCall(std::uint64_t number) { failOnce_.insert(number); }
  void FailFrom(std::uint64_t number) { failFrom_ = number; }
  // Fails the n-th call from now (counted from 1) for which `matches` is true, or all from that one on.
  void FailWhere(Predicate matches, std::uint64_t n = 1, bool fromThenOn = false);
  void NoFaults();
  // The process is killed at that call: before it does anything, or, torn, in the middle of a write.
  void CutAt(std::uint64_t number, bool torn = false);
  void CutNow();
  // The whole machine is cut: the process is killed, and what was not flushed may be old, zero or gone, as the seed
  // says. Created, deleted and renamed files may be as they were before, the last changes first.
  void PowerCut(std::uint64_t seed);
  // The disk as the killed process, or the power cut, left it.
  SimDiskState TakeState();
  void SetState(SimDiskState state);

 private:
  friend class SimFile;
  friend class SimDownloadFile;
  friend class SimDownloadFiles;
  friend class SimOutputFile;
  friend class SimOutputFolder;
  friend class SimOutputFolders;
  struct Rule {
    Predicate matches;
    std::uint64_t left;
    bool fromThenOn;
  };
  // Counts one call; throws if it is to fail. True: a write is to be torn, or nothing seems to exist.
  bool Enter(DiskCall call, const std::string& path, std::uint64_t offset = 0, std::uint64_t size = 0) const;
  void Write(SimFileData& data, const std::string& path, std::uint64_t offset, std::string_view bytes);
  void Reserve(SimFileData& data, const std::string& path, std::uint64_t size);
  void SetLength(SimFileData& data, const std::string& path, std::uint64_t length);
  std::shared_ptr<SimFileData> NewFile(const std::string& resolved);
  std::shared_ptr<SimFileData> NewData();
  void Touch(SimFileData& data) const;
  std::unique_ptr<File> Opened(const std::string& path, std::shared_ptr<SimFileData> data);
  void Remove(const std::string& path);
  void Rename(const std::string& from, const std::string& to);
  void Changed(SimNameChange change);
  std::shared_ptr<SimFileData> Find(const std::string& resolved) const;
  std::string Resolve(const std::string& path) const;
  std::optional<std::string> Found(const std::string& path) const;
  std::string Follow(const std::string& path) const;  // resolved, and through all links
  std::string FollowOwn(const std::string& path) const;
  PartName PartNameOf(const std::string& resolved) const;
  void DemandParent(const std::string& resolved, const std::string& path) const;

  SimLoop& loop_;
  SimDiskState state_;
  std::uint64_t used_ = 0;
  std::uint64_t capacity_ = UINT64_MAX;
  std::uint64_t longestFile_ = INT64_MAX;
  std::uint64_t written_ = 0;
  std::set<std::string> made_;
  std::set<std::string> given_;
  std::set<std::string> lost_;
  mutable std::uint64_t calls_ = 0;
  mutable std::optional<std::vector<std::string>> log_;
  std::set<std::uint64_t> failOnce_;
  std::uint64_t failFrom_ = UINT64_MAX;
  mutable std::vector<Rule> rules_;
  std::uint64_t cutAt_ = UINT64_MAX;
  bool torn_ = false;
  mutable bool cut_ = false;
};

}  // namespace pellora
