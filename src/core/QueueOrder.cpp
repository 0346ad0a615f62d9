#include "core/QueueOrder.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include "core/Program.h"

namespace pellora {

namespace {

// Between the ranks of two slots: room for records that are moved between them.
constexpr std::int64_t kStep = std::int64_t{1} << 32;
// A million records can be moved to the front before a rank would be negative, which no place may be.
constexpr std::int64_t kFirstSlot = std::int64_t{1} << 20;
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

std::ptrdiff_t Target(std::ptrdiff_t at, std::ptrdiff_t last, QueueMove move) {
  switch (move) {
    case QueueMove::First:
      return 0;
    case QueueMove::Up:
      return std::max<std::ptrdiff_t>(at - 1, 0);
    case QueueMove::Down:
      return std::min(at + 1, last);
    case QueueMove::Last:
      return last;
  }
  return at;
}

}  // namespace

std::int64_t QueueOrder::Rank(int index) const {
  return program_.QueuePlace(index).value_or((kFirstSlot + index) * kStep);
}

bool QueueOrder::IsQueued(int index) const {
  const DownloadRecord& record = program_.Download(index);
  return record.InUse && record.Queued != 0 && !record.Active && !record.Finished;
}

std::vector<std::int16_t> QueueOrder::ByRank(std::vector<std::int16_t> records) const {
  if (program_.HasQueuePlaces()) {
    std::stable_sort(records.begin(), records.end(),
                     [this](std::int16_t a, std::int16_t b) { return Rank(a) < Rank(b); });
  }
  return records;
}

std::vector<std::int16_t> QueueOrder::Queued() const {
  std::vector<std::int16_t> queued;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    if (IsQueued(i)) queued.push_back(static_cast<std::int16_t>(i));
  }
  return ByRank(std::move(queued));
}

std::vector<std::int16_t> QueueOrder::Arranged() const {
  std::vector<std::int16_t> all;
  if (!program_.HasQueuePlaces()) return all;
  for (int i = 1; i <= program_.DownloadCount; ++i) all.push_back(static_cast<std::int16_t>(i));
  return ByRank(std::move(all));
}

int QueueOrder::NumberOf(int index) const {
  const std::vector<std::int16_t> line = Queued();
  const auto at = std::find(line.begin(), line.end(), index);
  return at == line.end() ? 0 : static_cast<int>(at - line.begin()) + 1;
}

bool QueueOrder::Move(std::int16_t index, QueueMove move) {
  std::vector<std::int16_t> line = Queued();
  const auto found = std::find(line.begin(), line.end(), index);
  if (found == line.end()) return false;
  const std::ptrdiff_t at = found - line.begin();
  const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(line.size()) - 1;
  const std::ptrdiff_t to = Target(at, last, move);
  if (to == at) return false;
  line.erase(found);
  line.insert(line.begin() + to, index);

  const auto rankAt = [&](std::ptrdiff_t place) { return Rank(line[static_cast<std::size_t>(place)]); };
  const std::int64_t after = to == 0 ? LowestRank() : rankAt(std::min(to + 1, last));
  const std::int64_t before = to == 0 ? after - 2 * kStep : rankAt(to - 1);
  const std::int64_t place = to == last ? std::min(before, kHighest - kStep) + kStep : before + (after - before) / 2;
  if (place > before && place >= 0) {
    SetPlace(index, place);
    return true;
  }
  std::int64_t next = kFirstSlot * kStep;
  for (const std::int16_t record : line) SetPlace(record, next += kStep);
  return true;
}

// Of all that may be queued some time: the first one stays the first.
std::int64_t QueueOrder::LowestRank() const {
  std::int64_t lowest = kHighest;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (record.InUse && !record.Finished) lowest = std::min(lowest, Rank(i));
  }
  return lowest;
}

void QueueOrder::SetPlace(std::int16_t index, std::int64_t place) {
  program_.SetQueuePlace(index, place);
  if (program_.queuePlaceSet) program_.queuePlaceSet(index);
}

}  // namespace pellora
