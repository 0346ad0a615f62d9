#include "core/StayAwake.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "async/TaskLoop.h"
#include "core/ListFile.h"
#include "core/Numbers.h"
#include "core/Program.h"
#include "core/Transfer.h"
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
    desktop->onSleep = [program = &program_](std::function<void()> done) {
      program->platform.tasks.Spawn(SaveProgress(program, std::move(done)));
    };
    held_ = Skip([&] { desktop->Hold(TextOf(program_, WebText::AwakeBecause)); });
  }
}

void StayAwake::End() {
  if (!std::exchange(held_, false)) return;
  program_.platform.inhibit->Release();
  program_.platform.inhibit->onSleep = {};
}

Task<> StayAwake::SaveProgress(Program* program, std::function<void()> done) {
  std::vector<std::shared_ptr<Transfer>> transfers;
  for (int i = 1; i <= program->DownloadCount; ++i) {
    const std::shared_ptr<Transfer> transfer = program->TransferWindowAt(i);
    if (!transfer || !program->Download(i).Active) continue;
    Skip([&] { transfer->SaveProgress(); });
    transfers.push_back(transfer);
  }
  Skip([&] { SaveList(*program); });
  std::function<bool()> saved = [transfers = std::move(transfers)] {
    return std::all_of(transfers.begin(), transfers.end(), [](const auto& one) { return one->IsProgressSaved(); });
  };
  co_await program->platform.tasks.Until(std::move(saved));
  done();
}

}  // namespace pellora
