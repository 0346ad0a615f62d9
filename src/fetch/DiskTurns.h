// DiskTurns: what all downloads wait for the disk with: flushes of part files and of the journal, names of complete
// files. A disk serves many flushes at once in little more time than one. So all that was given until a turn begins is
// done in that turn, whatever it is, and all of it is flushed together: with many small files the program waits for the
// disk most of the time.
//
// A step has its place among the other works of Background: it is done there, or before. So what it depends on must be
// done when it is given, unless it is given with Place::Kept.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ports/Background.h"
#include "ports/DownloadFiles.h"
#include "ports/Platform.h"

namespace pellora {

// Used by turns alone from Give until `done`.
class DiskStep {
 public:
  DiskStep() = default;
  virtual ~DiskStep() = default;
  DiskStep(const DiskStep&) = delete;
  DiskStep& operator=(const DiskStep&) = delete;

  // What comes before the flush. Sets what is to be flushed.
  virtual void Begin(DownloadFiles& files) = 0;
  // What comes after it, also where something has failed.
  virtual void End(DownloadFiles& files) = 0;

  std::shared_ptr<DownloadFile> file;  // to be flushed
  std::string folder;                  // the same; empty: none
  std::exception_ptr failure;          // the first Failure of Begin, flush and End
};

class DiskTurns {
 public:
  enum class Place : std::uint8_t {
    OrBefore,
    Kept,  // and nothing that is given later is done before it
  };

  explicit DiskTurns(const Platform& platform);

  // `done` comes in a later event, in the order of the calls, with the step's failure or that which kept it from
  // beginning.
  void Give(std::shared_ptr<DiskStep> step, Background::Done done, Place place = Place::OrBefore);

 private:
  struct Given;

  Background& background_;
  const std::shared_ptr<Given> given_;
};

// A part file whose bytes are to be on the disk.
class FlushStep final : public DiskStep {
 public:
  FlushStep(std::shared_ptr<DownloadFile> opened, std::string path, const FileIdentity& identity, std::uint64_t length,
            bool exactly);
  void Begin(DownloadFiles& files) override;
  void End(DownloadFiles& files) override;
  // The path leads to this file, and it is long enough. Longer ones are cut if `exactly`.
  bool IsThere() const { return isThere_; }

 private:
  const std::string path_;
  const FileIdentity identity_;
  const std::uint64_t length_;
  const bool exactly_;
  bool isThere_ = false;
};

// A folder whose new names are to be on the disk, and whose deleted ones are to stay deleted after a power cut.
class FolderStep final : public DiskStep {
 public:
  explicit FolderStep(std::string changed) { folder = std::move(changed); }
  void Begin(DownloadFiles&) override {}
  void End(DownloadFiles&) override {}
};

// A complete file that is to get its name, on the disk too.
class NameStep final : public DiskStep {
 public:
  NameStep(std::string part, std::string path, std::optional<FileState> replaced);
  void Begin(DownloadFiles& files) override;
  void End(DownloadFiles& files) override;
  bool HasName() const { return hasName_; }  // else, without a failure, something else has it

 private:
  const std::string part_;
  const std::string path_;
  const std::optional<FileState> replaced_;  // the file that it may replace
  bool hasName_ = false;
};

}  // namespace pellora
