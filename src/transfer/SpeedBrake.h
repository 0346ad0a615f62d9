// SpeedBrake: keeps a limit of speed by reading the sockets of segments later.
//
// How many bytes a socket has is known only once they are read: they are a debt, and nothing more is read until it is
// paid. The first block of a connection is always read at once, and each socket once a second, since silence would be
// taken for a stall. So a segment is never slower than 1 KiB/s.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "async/Timer.h"
#include "async/Winsock.h"
#include "core/Engine.h"
#include "core/SpeedBudget.h"

namespace pellora {

class Program;

class SpeedBrake {
 public:
  explicit SpeedBrake(Program& program);

  // That of the record at `index`.
  void Begin(int index);
  // Its first block is read at once, but is not a long one.
  void Open(Winsock& socket) const;
  // Segment `i` has read so many bytes of the file from the socket, which must live as long as this.
  void Read(int i, Winsock& socket, std::size_t bytes);
  void Forget(int i);  // it reads no more
  void ForgetAll();

 private:
  struct Segment {
    std::shared_ptr<SpeedLane> lane;
    Winsock* socket = nullptr;  // that was read last
    std::uint32_t heldAt = 0;   // tick
  };

  void Retry();

  Program& program_;
  std::shared_ptr<SpeedShare> share_;
  std::array<Segment, kMaxLanes> segments_;
  Timer retries_;
};

}  // namespace pellora
