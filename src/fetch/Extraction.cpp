#include "fetch/Extraction.h"

#include <algorithm>
#include <utility>

#include "archive/EntryLayout.h"

namespace pellora {

namespace {

std::vector<Range> RangesOf(const Selection& selection) {
  std::vector<Range> ranges;
  for (const SelectedEntry& entry : selection.entries) {
    ranges.push_back(entry.isFolder ? Range{entry.range.begin, entry.range.begin} : entry.range);
  }
  return ranges;
}

std::int64_t Number(std::size_t number) { return static_cast<std::int64_t>(number); }

}  // namespace

std::int64_t BytesToFetch(const Selection& selection) {
  const std::vector<Range> requests = RequestsFor(RangesOf(selection));
  return IntervalSet(requests).Bytes();
}

std::int64_t BytesUnpacked(const Selection& selection) {
  std::uint64_t bytes = 0;
  for (const SelectedEntry& entry : selection.entries) bytes += entry.packed.size;
  return static_cast<std::int64_t>(std::min<std::uint64_t>(bytes, INT64_MAX / 4));
}

Extraction::Extraction(std::shared_ptr<const Selection> selection, IntervalSet unpacked)
    : selection_(std::move(selection)),
      unpacked_(std::move(unpacked)),
      size_(BytesToFetch(*selection_)),
      ranges_(RangesOf(*selection_)) {
  for (std::size_t i = 0; i < ranges_.size(); ++i) {
    const bool wasUnpacked = !selection_->entries[i].isFolder && ranges_[i].Length() == 0;
    if (wasUnpacked) unpacked_.Add({Number(i), Number(i) + 1});
  }
  FindNeeded();
}

void Extraction::FindNeeded() {
  std::vector<Range> open;
  folders_.clear();
  for (std::size_t i = 0; i < ranges_.size(); ++i) {
    if (unpacked_.Holds(Number(i))) continue;
    if (selection_->entries[i].isFolder) {
      folders_.insert(i);
    } else {
      open.push_back(ranges_[i]);
    }
  }
  needed_ = IntervalSet(RequestsFor(open));
}

SelectedEntry Extraction::Entry(std::size_t number) const {
  SelectedEntry entry = selection_->entries.at(number);
  if (!entry.isFolder) entry.range = ranges_.at(number);
  return entry;
}

void Extraction::BeginAgain() {
  again_.clear();
  fetchedAgain_.clear();
  locked_.clear();
  damaged_.clear();
  for (const std::size_t number : undecrypted_) misfits_.erase(number);
  undecrypted_.clear();
  nameless_.clear();
  changed_ = false;
  FindNeeded();
}

void Extraction::SetHeld(const IntervalSet& written) {
  ready_.clear();
  lengthened_ = false;
  for (const Range& range : written.Ranges()) Arrived(written, range);
}

void Extraction::Arrived(const IntervalSet& written, Range range) {
  const auto first = std::upper_bound(ranges_.begin(), ranges_.end(), range.begin,
                                      [](std::int64_t begin, const Range& entry) { return begin < entry.end; });
  for (auto at = first; at != ranges_.end() && at->begin < range.end; ++at) {
    const auto number = static_cast<std::size_t>(at - ranges_.begin());
    if (at->Length() == 0 || IsAside(number) || unpacked_.Holds(Number(number))) continue;
    if (written.HoldsAll(*at)) ready_.insert(number);
  }
}

bool Extraction::IsAside(std::size_t number) const {
  return again_.contains(number) || locked_.contains(number) || damaged_.contains(number) ||
         undecrypted_.contains(number) || nameless_.contains(number);
}

IntervalSet Extraction::HeldOrUnwanted(const IntervalSet& written) const {
  std::vector<Range> held;
  std::int64_t at = 0;
  for (const Range& needed : needed_.Ranges()) {
    for (const Range& missing : written.Missing(needed)) {
      held.push_back({at, missing.begin});
      at = missing.end;
    }
  }
  held.push_back({at, selection_->facts.total});
  return IntervalSet(held);
}

std::optional<std::size_t> Extraction::Next() const {
  return ready_.empty() ? std::nullopt : std::optional(*ready_.begin());
}

bool Extraction::HasAllFiles() const {
  for (std::size_t i = 0; i < ranges_.size(); ++i) {
    if (!selection_->entries[i].isFolder && !unpacked_.Holds(Number(i))) return false;
  }
  return true;
}

void Extraction::IsUnpacked(std::size_t number) {
  ready_.erase(number);
  folders_.erase(number);
  unpacked_.Add({Number(number), Number(number) + 1});
}

bool Extraction::NeedsMore(std::size_t number, Range more) {
  Range& range = ranges_.at(number);
  if (more.begin != range.end || more.Length() <= 0 || more.end > selection_->entries.at(number).reach) return false;
  range.end = more.end;
  needed_.Add(more);
  size_ += more.Length();
  ready_.erase(number);
  lengthened_ = true;
  return true;
}

void Extraction::IsDamaged(std::size_t number, bool isOther) {
  ready_.erase(number);
  if (!fetchedAgain_.contains(number)) {
    again_.insert(number);
    return;
  }
  damaged_.insert(number);
  changed_ |= isOther;
}

void Extraction::LacksPassword(std::size_t number, bool isGiven, bool someUnpacked) {
  constexpr int kMostMisfits = 2;
  ready_.erase(number);
  const int misfits = isGiven ? ++misfits_[number] : 0;
  if (misfits < kMostMisfits && !someUnpacked) {
    locked_.insert(number);
  } else if (fetchedAgain_.contains(number)) {
    undecrypted_.insert(number);
  } else {
    again_.insert(number);
  }
}

void Extraction::CannotBeNamed(std::size_t number, const std::string& reason) {
  ready_.erase(number);
  nameless_[number] = reason;
}

Extraction::Again Extraction::TakeAgain() {
  Again ranges;
  for (const std::size_t number : again_) {
    (misfits_.contains(number) ? ranges.locked : ranges.damaged).push_back(ranges_.at(number));
  }
  fetchedAgain_.merge(again_);
  again_.clear();
  return ranges;
}

}  // namespace pellora
