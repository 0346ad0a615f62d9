#include "transfer/SpeedBrake.h"

#include "core/Program.h"
#include "core/SpeedLimits.h"
#include "ports/Clock.h"

namespace pellora {

namespace {

constexpr std::int32_t kLongestHold = 900;  // ms: with a retry, below a second
constexpr std::size_t kFirstBlock = std::size_t{64} << 10;
constexpr std::size_t kLeastBlock = std::size_t{1} << 10;
constexpr std::size_t kPortions = 4;  // in a block, since a socket is read at most every other step

}  // namespace

SpeedBrake::SpeedBrake(Program& program) : program_(program), retries_(program.platform, SpeedLimits::kStep) {
  retries_.OnTimer = [this] { Retry(); };
}

void SpeedBrake::Begin(int index) { share_ = program_.speed->ShareOf(index); }

void SpeedBrake::Open(Winsock& socket) const {
  if (program_.speed->AnyLimit()) socket.ReadAtMost(kFirstBlock);
}

void SpeedBrake::Read(int i, Winsock& socket, std::size_t bytes) {
  Segment& segment = segments_.at(static_cast<std::size_t>(i));
  if (socket.State() == SocketState::Closed) return;
  if (!program_.speed->AnyLimit()) {
    if (segment.lane) socket.ReadAtMost(0);
    return Forget(i);
  }
  if (!segment.lane) segment.lane = program_.speed->NewLane(*share_);
  segment.socket = &socket;
  const bool mayGoOn = segment.lane->Spend(bytes);
  if (mayGoOn) return socket.ReadAtMost(kPortions * segment.lane->Portion());
  segment.heldAt = program_.platform.clock.TickCount();
  socket.Hold(true);
  retries_.SetEnabled(true);
}

void SpeedBrake::Forget(int i) { segments_.at(static_cast<std::size_t>(i)) = {}; }

void SpeedBrake::ForgetAll() { segments_ = {}; }

void SpeedBrake::Retry() {
  const std::uint32_t now = program_.platform.clock.TickCount();
  bool anyHeld = false;
  for (Segment& segment : segments_) {
    if (segment.socket == nullptr || !segment.socket->Held()) continue;
    const bool mayGoOn = segment.lane->MayGoOn();
    segment.socket->ReadAtMost(mayGoOn ? kPortions * segment.lane->Portion() : kLeastBlock);
    if (mayGoOn || TicksSince(now, segment.heldAt) > kLongestHold) segment.socket->Hold(false);
    anyHeld = anyHeld || segment.socket->Held();
  }
  retries_.SetEnabled(anyHeld);
}

}  // namespace pellora
