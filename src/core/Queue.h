// Queue: which record starts next. It reads and writes the flags of the program's records and nothing else: whoever
// asks it creates the transfer, refreshes the rows, and tells it the time and the settings.
#pragma once

#include <cstdint>
#include <optional>

namespace pellora {

class Program;
struct Settings;

class Queue {
 public:
  explicit Queue(Program& program) : program_(program) {}

  // As many downloads transfer as may: what would start now is queued.
  bool IsFull(int most) const;

  // The queued record that is next.
  struct Turn {
    std::int16_t index;
    bool starts;  // False: it has a transfer already, or was finished meanwhile, and only leaves the queue
  };
  // The lowest number, whenever it was queued. Nothing while the queue is full or empty.
  std::optional<Turn> Next(int most) const;

  // Queues what is scheduled once the schedule's moment has passed at `now`, and moves the moment of a daily schedule
  // to its next occurrence. True if a record was queued.
  bool ApplySchedule(Settings& settings, double now);

 private:
  bool QueueScheduled();

  Program& program_;
};

}  // namespace pellora
