// SimDownloadFiles: the port of the same name on the simulated disk, where each of its calls is counted and can fail.
//
// A kill keeps everything written. SimDisk::PowerCut keeps for sure what was flushed: bytes, the name of a created file
// with its first flush, other names with the flush of their folder. A failed flush loses what it was for, although the
// next one succeeds. Locks are those of one run: they end with the program.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "SimDisk.h"
#include "ports/DownloadFiles.h"

namespace pellora {

class SimDownloadFiles final : public DownloadFiles {
 public:
  explicit SimDownloadFiles(SimDisk& disk) : disk_(disk) {}

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
  std::uint64_t DiskOf(const std::string& folder) const override;
  std::uint64_t LongestFileIn(const std::string& folder) const override;
  bool FillsGaps(const std::string& folder) const override;

  // For the test; none of these is a port call.
  // By default the room is what SimDisk::SetCapacity leaves. What is set here is only reported.
  void SetRoom(std::uint64_t bytes) { room_ = bytes; }
  // `folder` and what is in it count as another disk; its room is still that of the one.
  void PutOnAnotherDisk(const std::string& folder) { otherDisk_ = folder; }
  void SetRoomOfOtherDisk(std::uint64_t bytes) { otherRoom_ = bytes; }
  // SimDisk::SetLongestFile, which this reports, makes longer files fail as well.
  void SetFillsGaps(bool fills) { fillsGaps_ = fills; }
  std::uint64_t GapBytes() const { return *gapBytes_; }  // zeros that writes beyond an end would have cost
  std::size_t Locked() const { return locks_->size(); }  // files that the program has locked

 private:
  friend class SimDownloadFile;
  using Locks = std::set<const SimFileData*>;

  static FileState StateOf(const SimFileData& data);
  void RenameWithinFolder(const std::string& part, const std::string& path);
  void DemandFolder(const std::string& path) const;
  bool IsOnOtherDisk(const std::string& folder) const;

  SimDisk& disk_;
  std::shared_ptr<Locks> locks_ = std::make_shared<Locks>();
  std::shared_ptr<std::uint64_t> gapBytes_ = std::make_shared<std::uint64_t>(0);
  std::optional<std::uint64_t> room_;
  std::optional<std::string> otherDisk_;
  std::optional<std::uint64_t> otherRoom_;
  bool fillsGaps_ = false;
};

}  // namespace pellora
