#include "SimPlatform.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "SimFaults.h"

namespace pellora {

namespace {

constexpr std::uint64_t kBackgroundSeed = 0x62676B;  // differs from the others derived from the seed

}  // namespace

std::uint64_t SeedOr(std::uint64_t usual) {
  const char* const text = std::getenv("PELLORA_SEED");
  if (!text) return usual;
  const std::string_view digits(text);
  std::uint64_t seed = usual;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), seed);
  return result.ec == std::errc() ? seed : usual;
}

SimPlatform::SimPlatform(SimOptions options)
    : seed_(options.seed),
      random_(options.seed),
      loop_(gate_, random_, options.startTick, options.startSerial),
      network_(loop_),
      disk_(loop_),
      dialogs_(loop_),
      shell_(disk_),
      machine_(loop_),
      media_(loop_),
      background_(loop_, options.seed + kBackgroundSeed),
      fetcher_(loop_, network_, disk_),
      downloadFiles_(disk_),
      secrets_(loop_),
      outputs_(disk_),
      tasks_(std::make_unique<TaskLoop>(gate_, loop_)),
      platform_(new Platform{gate_,
                             loop_,
                             *tasks_,
                             loop_,
                             network_,
                             disk_,
                             settings_,
                             clipboard_,
                             dialogs_,
                             shell_,
                             machine_,
                             locale_,
                             tray_,
                             windows_,
                             media_,
                             background_,
                             &autoStart_,
                             &browserMenu_,
                             nullptr,
                             options.web ? &fetcher_ : nullptr,
                             options.web ? &downloadFiles_ : nullptr}) {
  platform_->inhibit = &inhibit_;
  platform_->notices = &notices_;
  if (options.web) {
    platform_->secrets = &secrets_;
    platform_->digests = &digests_;
    platform_->unpacker = &unpacker_;
    platform_->outputs = &outputs_;
  }
  disk_.SetState(std::move(options.disk));
  for (const char* folder : {"/prog", "/home/u/Documents", "/tmp"}) disk_.MakeFolder(folder);
}

SimPlatform::~SimPlatform() {
  DropProgram();
  if (SimTorturer::present) SimTorturer::present->OnMachineDestroyed();
}

void SimPlatform::DropProgram() {
  const auto look = std::exchange(examine, {});
  if (SimTorturer::present && look && !Killed()) SimTorturer::present->Examined(look());
  loop_.End();
  tasks_->Clear();
  background_.Drop();
  fetcher_.Drop();
  windows_.AbandonAll();
  gate_.LetGoOfAll();    // an unloaded window may still be kept for its transfer
  gate_.Deliver([] {});  // releases what a cut event left
}

bool SimPlatform::RunUntil(const std::function<bool()>& condition, std::uint64_t limit) {
  return loop_.RunUntil(condition, Span(limit));
}

void SimPlatform::RunFor(std::uint64_t milliseconds) { loop_.RunFor(Span(milliseconds)); }

bool SimPlatform::RunUntilIdle(std::uint64_t limit) { return loop_.RunUntilIdle(Span(limit)); }

void SimPlatform::Do(const std::function<void()>& event) {
  if (Ended()) return;
  try {
    gate_.Deliver(event);
  } catch (const SimKilled&) {
    loop_.NoteKilled();
  }
}

void SimPlatform::After(std::uint64_t milliseconds, std::function<void()> action) {
  loop_.InWorld(loop_.Time() + Span(milliseconds), std::move(action));
}

double SimPlatform::Elapsed() const {
  return static_cast<double>(loop_.Time()) / static_cast<double>(SimLoop::kMillisecond);
}

void SimPlatform::SetTimeOfDay(double seconds) { loop_.SetWallClock(std::floor(loop_.Now()) + seconds / 86400.0); }

std::string SimPlatform::Replay() const {
  return "seed " + std::to_string(seed_) + "; run again with PELLORA_SEED=" + std::to_string(seed_);
}

}  // namespace pellora
