#include "core/StayAwake.h"

#include <utility>

#include "core/Numbers.h"
#include "core/Program.h"
#include "core/WebTexts.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Inhibit.h"

namespace pellora {

namespace {
constexpr std::int32_t kHeldFor = 5000;  // ms after the last byte
}

// The version check counts its bytes too, but is no download.
bool StayAwake::BytesFlow() {
  const std::uint64_t total = program_.SessionTotal();
  const bool more = std::exchange(total_, total) != total;
  return more && program_.ActiveCount() > 0;
}

void StayAwake::Watch() {
  Inhibit* const desktop = program_.platform.inhibit;
  if (desktop == nullptr) return;
  const std::uint32_t now = program_.platform.clock.TickCount();
  const bool flows = BytesFlow();
  if (flows) lastFlow_ = now;
  if (!program_.settings.StayAwake || (held_ && TicksSince(now, lastFlow_) >= kHeldFor)) {
    End();
  } else if (flows && !held_) {
    held_ = Skip([&] { desktop->Hold(TextOf(program_, WebText::AwakeBecause)); });
  }
}

void StayAwake::End() {
  if (std::exchange(held_, false)) program_.platform.inhibit->Release();
}

}  // namespace pellora
