// StayAwake: while bytes of downloads arrive, the desktop is asked not to suspend the computer.
#pragma once

#include <cstdint>

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

  Program& program_;
  std::uint64_t total_ = 0;     // session bytes at the last tick
  std::uint32_t lastFlow_ = 0;  // tick count; of the last tick at which there were more
  bool held_ = false;
};

}  // namespace pellora
