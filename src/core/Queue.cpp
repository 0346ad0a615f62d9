#include "core/Queue.h"

#include "core/Dates.h"
#include "core/Program.h"

namespace pellora {

bool Queue::IsFull(int most) const { return program_.ActiveCount() >= most; }

std::optional<Queue::Turn> Queue::Next(int most, double now) const {
  if (IsFull(most)) return std::nullopt;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || record.Queued == 0) continue;
    const WebFigures* const figures = program_.Web(i);
    if (figures != nullptr && now < figures->notBefore) continue;
    const EngineName engine = ChooseEngine(program_, i).engine;
    const bool startable = !record.Finished && engine != EngineName::None;
    const bool hasTransfer = program_.TransferWindowAt(i) != nullptr;
    return Turn{.index = static_cast<std::int16_t>(i),
                .starts = startable && !hasTransfer,
                .resumes = startable && hasTransfer && figures != nullptr && !record.Active,
                .engine = engine};
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
