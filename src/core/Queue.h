// Queue: which record starts next. It only reads and writes the flags of the program's records: the caller creates the
// transfer, refreshes the rows, and passes the time and the settings.
#pragma once

#include <cstdint>
#include <optional>

#include "core/EngineChoice.h"

namespace pellora {

class Program;
struct Settings;

class Queue {
 public:
  explicit Queue(Program& program) : program_(program) {}

  // True while `most` downloads are transferring: further ones are queued.
  bool IsFull(int most) const;

  // The queued record that is next. Where it neither starts nor resumes, it only leaves the queue: it is finished, no
  // engine may fetch it, or it has a transfer already, which with the web engine resumes.
  struct Turn {
    std::int16_t index;
    bool starts;
    bool resumes;
    EngineName engine;
  };
  // The first in QueueOrder, of those that need not wait until a later moment than `now`: the one with the lowest
  // number, whenever it was queued, unless the user has moved some. None if IsFull or nothing is queued.
  std::optional<Turn> Next(int most, double now) const;

  // Once the scheduled moment has passed, queues the scheduled records and moves a daily schedule to its next
  // occurrence. True if a record was queued.
  bool ApplySchedule(Settings& settings, double now);

 private:
  int FirstInLine(double now) const;
  bool QueueScheduled();

  Program& program_;
};

}  // namespace pellora
