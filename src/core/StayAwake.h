// StayAwake: while bytes of downloads arrive, the desktop is asked not to suspend the computer. If it is suspended all
// the same, what has arrived is noted before: the battery may not last.
#pragma once

#include <cstdint>
#include <functional>

#include "async/Task.h"

namespace pellora {

class Program;

class StayAwake {
 public:
  explicit StayAwake(Program& program) : program_(program) {}

  // At every tick. Once no byte has come for five seconds, or the setting is off, the computer may suspend again.
  void Watch();
  // The program ends.
  void End();

 private:
  bool BytesFlow();
  // Calls `done` once the journal and the list say what is there.
  static Task<> SaveProgress(Program* program, std::function<void()> done);

  Program& program_;
  std::uint64_t total_ = 0;     // session bytes at the last tick
  std::uint32_t lastFlow_ = 0;  // tick count; of the last tick at which there were more
  bool held_ = false;
};

}  // namespace pellora
