#include "core/Queue.h"

#include "core/Dates.h"
#include "core/Program.h"
#include "core/QueueOrder.h"

namespace pellora {

bool Queue::IsFull(int most) const { return program_.ActiveCount() >= most; }

// The first one in the order that may leave the queue now; 0 if there is none.
int Queue::FirstInLine(double now) const {
  const QueueOrder order(program_);
  int first = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || record.Queued == 0) continue;
    const WebFigures* const figures = program_.Web(i);
    if (figures != nullptr && now < figures->notBefore) continue;
    if (!program_.HasQueuePlaces()) return i;
    if (first == 0 || order.Rank(i) < order.Rank(first)) first = i;
  }
  return first;
}

std::optional<Queue::Turn> Queue::Next(int most, double now) const {
  if (IsFull(most)) return std::nullopt;
  const int index = FirstInLine(now);
  if (index == 0) return std::nullopt;
  const DownloadRecord& record = program_.Download(index);
  const EngineName engine = ChooseEngine(program_, index).engine;
  const bool startable = !record.Finished && engine != EngineName::None;
  const bool hasTransfer = program_.TransferWindowAt(index) != nullptr;
  return Turn{.index = static_cast<std::int16_t>(index),
              .starts = startable && !hasTransfer,
              .resumes = startable && hasTransfer && program_.Web(index) != nullptr && !record.Active,
              .engine = engine};
}

bool Queue::ApplySchedule(Settings& settings, double now) {
  const bool daily = settings.ScheduleOption != 0;
  if (!(now > (daily ? settings.ScheduleHour : settings.ScheduleDate))) return false;
  const bool any = QueueScheduled();
  if (daily) settings.ScheduleHour = NextOccurrence(settings.ScheduleHour, now);
  return any;
}

bool Queue::QueueScheduled() {
  bool any = false;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    DownloadRecord& record = program_.Download(i);
    if (!record.InUse || record.Active || record.Queued != 0 || record.Scheduled == 0) continue;
    record.Queued = 1;
    record.Scheduled = 0;
    any = true;
  }
  return any;
}

}  // namespace pellora
