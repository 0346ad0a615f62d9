#include "core/Queue.h"

#include "core/Dates.h"
#include "core/Program.h"

namespace pellora {

bool Queue::IsFull(int most) const { return program_.ActiveCount() >= most; }

std::optional<Queue::Turn> Queue::Next(int most) const {
  if (IsFull(most)) return std::nullopt;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || record.Queued == 0) continue;
    return Turn{static_cast<std::int16_t>(i), !program_.TransferWindowAt(i) && !record.Finished};
  }
  return std::nullopt;
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
