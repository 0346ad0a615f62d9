// EntryUnpacking: one entry of an archive, from the part file with the archive's bytes into a file of the chosen
// folder.
//
// Step by step, for Background works: each step reads or writes about 1 MiB at most, or waits 100 ms for the unpacker,
// or gives the complete file its name, after flushing it if nobody has. Sizes, CRC-32, method and name are checked
// against the archive's directory. Until everything is right the file has no name; destroyed early, nothing of the
// entry is left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "core/IntervalSet.h"
#include "core/Selection.h"
#include "ports/DownloadFiles.h"
#include "ports/OutputFolders.h"
#include "ports/Unpacker.h"

namespace pellora {

// What a file or folder made of the entry is to have.
OutputTraits TraitsOf(const SelectedEntry& entry);

// AE-2 has an authentication code instead of the CRC-32, and the unpacker checks it.
bool HasSum(const PackedEntry& entry);

enum class EntryEnd : std::uint8_t {
  None,           // not yet: Step must be called again
  Unpacked,       // it has its name
  LeftOut,        // something has its name, and is to be kept
  NeedsMore,      // the local header shows that its data reaches further: Needs says what is to be fetched
  Damaged,        // other bytes than the directory promises, or bytes that cannot be decoded
  WrongPassword,  // of an encrypted entry: the password is missing or wrong, or the entry is damaged
  Other,          // its place has another entry's local header: the archive has changed, or its directory lies
  NameRefused,    // the folder can have no file of its name: Reason
  DiskFailed,     // Reason says why
  NoUnpacker,     // the process that unpacks could not be started, or was killed: Reason
};

// What an extraction has made so far. Which names are one and the same depends on the disk, so the files themselves are
// known by their identity.
class UnpackedFiles {
 public:
  void Add(const FileIdentity& identity) { made_.emplace(identity.device, identity.inode); }
  bool Has(const FileIdentity& identity) const { return made_.contains({identity.device, identity.inode}); }
  // The number that is tried next for a name that is taken.
  int& NextNumber(const OutputPath& path) { return numbers_.try_emplace(path, 2).first->second; }

 private:
  std::set<std::pair<std::uint64_t, std::uint64_t>> made_;
  std::map<OutputPath, int> numbers_;
};

class EntryUnpacking {
 public:
  // `part` has the bytes of `entry.range` at least, at their offsets in the archive. `unpacker` must outlive this.
  // `files` is shared by all entries of an extraction: files that it made itself are never replaced, and no reason to
  // leave an entry out. What was made before a restart is added with LookAt(entry.path).identity.
  EntryUnpacking(Unpacker& unpacker, std::shared_ptr<OutputFolder> folder, std::shared_ptr<DownloadFile> part,
                 SelectedEntry entry, std::string password, Existing existing, std::shared_ptr<UnpackedFiles> files);

  // Its file has all of its bytes: the next Step gives it its name. Many that are complete are sooner named if they are
  // flushed together before (OutputFolder::FlushTogether).
  bool IsComplete() const { return stage_ == Stage::Naming && end_ == EntryEnd::None; }
  CompleteFile File() const { return {file_.get(), TraitsOf(entry_)}; }  // of one that is

  // Throws no Failure. A name is on the disk only after OutputFolder::FlushNames. Once it has returned anything but
  // None it is over, and returns the same again.
  EntryEnd Step();

  // Of NeedsMore: what is missing, right after `entry.range`. With it, and the range longer by it, begin anew.
  Range Needs() const { return needs_; }
  // Of NameRefused, DiskFailed and NoUnpacker, for the user; else empty.
  std::string Reason() const { return reason_; }
  // Of Unpacked: the path below the folder, as it was published, with "/".
  std::string Name() const;
  bool HasPassword() const { return !entry_.packed.password.empty(); }
  // Bytes unpacked so far.
  std::int64_t Plain() const { return plain_; }

 private:
  enum class Stage : std::uint8_t { Header, Data, Naming };

  EntryEnd Next();
  EntryEnd MakeFolder();
  EntryEnd ReadHeader();
  EntryEnd Demand(std::int64_t end);
  EntryEnd Begin();
  EntryEnd CopyData();
  EntryEnd DecodeData();
  EntryEnd Accept(std::string_view plain);
  EntryEnd CheckSum();
  EntryEnd GiveName();
  EntryEnd DamagedEnd() const;
  bool IsKept(const OutputFound& found) const;
  std::string ReadPart(std::int64_t at, std::int64_t length);
  static std::string Joined(const OutputPath& path);

  Unpacker& unpacker_;
  const std::shared_ptr<OutputFolder> folder_;
  const std::shared_ptr<DownloadFile> part_;
  SelectedEntry entry_;
  const Existing existing_;
  const std::shared_ptr<UnpackedFiles> files_;

  Stage stage_ = Stage::Header;
  EntryEnd end_ = EntryEnd::None;
  Range needs_;
  std::string reason_;
  Range data_;                            // packed bytes that were not read yet
  std::string read_;                      // packed bytes that the unpacker has not taken,
  std::size_t taken_ = 0;                 // from here on
  std::unique_ptr<Unpacking> unpacking_;  // null for what is only copied
  std::unique_ptr<OutputFile> file_;
  std::int64_t plain_ = 0;
  std::uint32_t crc_ = 0;
  int number_ = 1;  // of the name that is tried
  int tries_ = 0;
  OutputPath published_;
};

}  // namespace pellora
