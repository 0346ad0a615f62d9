#include "archive/ArchiveReader.h"

#include <algorithm>

namespace pellora {

namespace {

constexpr int kMostFetches = 3;  // besides that of the tail

}  // namespace

ArchiveReader::ArchiveReader(std::int64_t length) : length_(std::max<std::int64_t>(length, 0)) {
  if (length_ == 0) {
    End(ArchiveFault::NoArchive);
  } else {
    wants_ = Range{std::max<std::int64_t>(0, length_ - kTail), length_};
  }
}

void ArchiveReader::Take(std::string bytes) {
  if (!wants_ || static_cast<std::int64_t>(bytes.size()) != wants_->Length()) return;
  const Range taken = *wants_;
  wants_.reset();
  if (!hasTail_) {
    hasTail_ = true;
    tail_ = std::move(bytes);
    tailRange_ = taken;
    FindPlaces();
  } else {
    if (ReadDirectory(std::move(bytes))) return End(ArchiveFault::None);
    places_.pop_front();
  }
  TryPlaces();
}

// A directory lies where its end record says, or, if something precedes the archive, right before that record. An end
// record of no entries proves nothing by its directory: it counts if there is nothing else.
void ArchiveReader::FindPlaces() {
  std::optional<Place> empty;
  for (const ArchiveEnd& end : FindArchiveEnds(tail_, tailRange_.begin)) {
    if (end.split) {
      seen_ = ArchiveFault::Split;
      continue;
    }
    if (end.directorySize > kLargestDirectory || end.entries > kMostEntries) {
      seen_ = ArchiveFault::TooLarge;
      continue;
    }
    if (end.directorySize == 0) {
      if (!empty) empty = Place{{end.begin, end.begin}, end};
      continue;
    }
    const std::int64_t before = end.begin - end.directorySize;
    if (end.directoryOffset < before) {
      places_.push_back({{end.directoryOffset, end.directoryOffset + end.directorySize}, end});
    }
    places_.push_back({{before, end.begin}, end});
  }
  if (empty) places_.push_back(*empty);
}

void ArchiveReader::TryPlaces() {
  while (!places_.empty()) {
    const Place& place = places_.front();
    if (place.range.begin < tailRange_.begin) {
      if (fetches_ < kMostFetches && fetched_ + place.range.Length() <= kLargestDirectory) {
        ++fetches_;
        fetched_ += place.range.Length();
        wants_ = place.range;
        return;
      }
    } else {
      std::string text = tail_.substr(static_cast<std::size_t>(place.range.begin - tailRange_.begin),
                                      static_cast<std::size_t>(place.range.Length()));
      if (ReadDirectory(std::move(text))) return End(ArchiveFault::None);
    }
    places_.pop_front();
  }
  End(seen_);
}

// Of the first place.
bool ArchiveReader::ReadDirectory(std::string text) {
  if (HasTooManyEntries(text)) {
    seen_ = ArchiveFault::TooLarge;
    return false;
  }
  directory_ = ArchiveDirectory::Read(std::move(text), places_.front().range.begin, places_.front().end);
  return directory_.has_value();
}

void ArchiveReader::End(ArchiveFault fault) {
  fault_ = fault;
  wants_.reset();
  places_.clear();
  tail_ = {};
}

}  // namespace pellora
