// QueueOrder: the order in which queued downloads start, as the user has arranged it.
//
// Every record has a rank, and lower ones start first: the place that a move has given it, else one that follows from
// its slot. So the order is that of the list until something is moved, and a move changes the place of one record only,
// unless there is no room left between its neighbours. A place stays with its record when it is paused and queued
// again.
#pragma once

#include <cstdint>
#include <vector>

namespace pellora {

class Program;

enum class QueueMove : std::uint8_t { First, Up, Down, Last };

class QueueOrder {
 public:
  explicit QueueOrder(Program& program) : program_(program) {}

  std::int64_t Rank(int index) const;
  // True for a record that a move concerns: it is queued, and neither running nor finished.
  bool IsQueued(int index) const;
  // The queued records, the next one first.
  std::vector<std::int16_t> Queued() const;
  // All records by their ranks; empty while nothing was ever moved, and the order is that of the list.
  std::vector<std::int16_t> Arranged() const;
  // 1 for the queued record that is next; 0 for one that is not queued.
  int NumberOf(int index) const;
  // False if nothing changes: the record is not queued, or it is there already.
  bool Move(std::int16_t index, QueueMove move);

 private:
  std::int64_t LowestRank() const;
  void SetPlace(std::int16_t index, std::int64_t place);
  std::vector<std::int16_t> ByRank(std::vector<std::int16_t> records) const;

  Program& program_;
};

}  // namespace pellora
