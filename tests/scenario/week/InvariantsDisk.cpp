// Writes and deletes: the list, the part files and the joined files.
#include <algorithm>

#include "Invariants.h"
#include "core/EngineChoice.h"
#include "core/ListCodec.h"

namespace pellora {

void Invariants::Written(const std::string& path, std::uint64_t offset, std::string_view bytes) {
  if (!on || !app_) return;
  if (path == kListPath) {
    if (offset != 0) Note("a list that is not written from its beginning");
    CheckSaved(bytes);
  } else if (IsPartFile(path)) {
    CheckPartBytes(path, offset, bytes);
  } else {
    CheckOutputBytes(path, offset, bytes);
  }
}

// After a kill right after it, the record would have its progress but not its bytes.
void Invariants::Deleting(const std::string& path) {
  if (on && app_ && web_ && IsWebPart(path)) DeletingPart(path);
  if (on && app_ && needed_.contains(path)) Note("a part file is deleted that the list on the disk needs: " + path);
}

// The saved list reads back as the records in memory.
void Invariants::CheckSaved(std::string_view bytes) {
  ++counts_.saves;
  Program& program = app_->program();
  ListDecoder decoder(bytes);
  if (!decoder.HasMagic() || decoder.DownloadCount() != program.DownloadCount) return Note("a list of another length");
  for (int i = 0; i <= program.DownloadCount; ++i) {
    DownloadRecord record;
    decoder.Next(record);
    DownloadRecord expected = program.Download(i);
    // The list has no passwords of the web engine's downloads.
    if (web_ && IsWebRecord(program, i)) expected.Password = record.Password;
    if (!(record == expected)) Note("record " + std::to_string(i) + " reads back differently");
  }
  if (!decoder.Sound()) Note("a list that reads back as damaged");
  ReadNeeded(bytes);
}

void Invariants::ReadNeeded(std::string_view list) {
  needed_.clear();
  ListDecoder decoder(list);
  for (int i = 0; i <= decoder.DownloadCount(); ++i) {
    DownloadRecord record;
    decoder.Next(record);
    if (!record.InUse || record.Finished) continue;
    for (int k = 1; k <= record.SegmentCount; ++k) {
      if (record.Segment(k).Received() > 0) needed_.insert(record.Segment(k).TempFile);
    }
  }
}

// The segment to which a part file belongs now, or null.
const Invariants::PartOwner* Invariants::OwnerOf(const std::string& path) {
  Program& program = app_->program();
  const auto owns = [&](int index, int number) {
    if (index < 1 || index > program.DownloadCount) return false;
    const DownloadRecord& record = program.Download(index);
    return record.InUse && !record.Finished && number <= record.SegmentCount && record.Segment(number).TempFile == path;
  };
  PartOwner& known = owners_[path];
  if (owns(known.record, known.segment) && known.serial == program.Serial(known.record)) return &known;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    for (int k = 1; k <= program.Download(i).SegmentCount; ++k) {
      if (!owns(i, k)) continue;
      const DownloadRecord& record = program.Download(i);
      const SegmentRecord& segment = record.Segment(k);
      known = {i, k, program.Serial(i), nullptr, std::int64_t{segment.RangeEnd} + 1 - segment.RangeSize};
      if (Honest(record)) known.bytes = origin_.Find(record.FileName);
      return &known;
    }
  }
  return nullptr;
}

// The bytes equal the origin's at that offset. An FTP server sends up to the end of the file, and bytes past the
// segment's range are written too.
void Invariants::CheckPartBytes(const std::string& path, std::uint64_t offset, std::string_view bytes) {
  const PartOwner* const owner = OwnerOf(path);
  if (!owner) {
    // Only the transfer of a record dropped by a server error may still write.
    const bool ghost =
        std::any_of(windows_.begin(), windows_.end(), [](const LiveWindow& live) { return live.host == HostId::Wild; });
    if (!ghost) Note("a write to a part file of no segment: " + path);
    return;
  }
  if (!owner->bytes) return;
  counts_.written += bytes.size();
  const auto begin = static_cast<std::size_t>(owner->base) + static_cast<std::size_t>(offset);
  if (begin + bytes.size() > owner->bytes->size() || owner->bytes->substr(begin, bytes.size()) != bytes) {
    Note("bytes " + std::to_string(begin) + " to " + std::to_string(begin + bytes.size()) +
         " are not the origin's: " + path);
  }
}

void Invariants::CheckOutputBytes(const std::string& path, std::uint64_t offset, std::string_view bytes) {
  if (listMayBeDamaged) return;
  Program& program = app_->program();
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse || record.SavePath != path || record.SegmentCount < 1 || !Honest(record)) continue;
    const std::string_view origin = *origin_.Find(record.FileName);
    counts_.written += bytes.size();
    if (offset + bytes.size() > origin.size() ||
        origin.substr(static_cast<std::size_t>(offset), bytes.size()) != bytes) {
      Note(Name(i) + "joined to something else at " + std::to_string(offset) + ": " + path);
    }
    return;
  }
}

}  // namespace pellora
