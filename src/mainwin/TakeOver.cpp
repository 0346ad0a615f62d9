#include "mainwin/TakeOver.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "async/TaskLoop.h"
#include "core/EngineChoice.h"
#include "core/ListFile.h"
#include "core/Program.h"
#include "core/Queue.h"
#include "core/WebAddress.h"
#include "mainwin/MainWindow.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr std::uint32_t kPatience = 20'000;  // ms; the browser's download is held meanwhile

// Why it is not even tried; empty if it is.
std::string FaultOf(Program& program, const ScriptedAdd& wanted) {
  const AddressReading address = ReadAddress(program, wanted.url);
  const std::optional<WebAddress> web = ParseWebAddress(wanted.url);
  if (address.engine != EngineName::Web || !web || !IsHttp(web->scheme)) {
    return "Pellora takes over no downloads of such addresses; with the option \"All downloads\" it takes those of "
           "http.";
  }
  if (FindListed(program, address.listed, address.engine) != 0) return "It is in the list already.";
  if (Queue(program).IsFull(program.settings.MaxSimulDownlads)) return "As many downloads are running as may.";
  return {};
}

bool HasAnswer(Program& program, std::int16_t index) {
  const WebFigures* const figures = program.Web(index);
  return figures != nullptr && figures->answered;
}

// Nothing more will come of it: it has stopped, waits for a place, or asks.
bool HasStopped(Program& program, std::int16_t index) {
  const DownloadRecord& record = program.Download(index);
  return record.Paused || record.Queued != 0 || record.Finished;
}

std::string ReasonOfStop(Program& program, std::int16_t index) {
  const WebFigures* const figures = program.Web(index);
  if (figures != nullptr && !figures->reason.empty()) return figures->reason;
  return HasStopped(program, index) ? "The download was stopped." : "The server has not answered in time.";
}

// The browser drops its own as soon as it has the answer: until then the record is not only in the list, which is not
// flushed. False if it was removed meanwhile.
Task<bool> Keep(Program* program, std::int16_t index, std::uint32_t serial) {
  program->EndUndecided(index);
  Skip([&] { SaveList(*program); });
  const auto kept = std::make_shared<bool>(!program->decided);
  if (program->decided) program->decided(index, [kept] { *kept = true; });
  std::function<bool()> over = [kept] { return *kept; };
  co_await program->platform.tasks.UntilEvent(std::move(over));
  co_return program->Holds(index, serial);
}

void ShowItsWindow(Program& program, std::int16_t index, bool quiet) {
  if (quiet) return;
  program.EndQuiet(index);
  const std::shared_ptr<Transfer> transfer = program.TransferWindowAt(index);
  if (transfer && program.ShowTransferWindow) transfer->ShowWindow();
}

}  // namespace

Task<> TakeOver(Program* program, MainWindow* window, Taken* taken, ScriptedAdd wanted,
                std::shared_ptr<const bool> gone, std::function<void(const AddOutcome&)> done) {
  AddOutcome outcome{0, FaultOf(*program, wanted)};
  const bool quiet = std::exchange(wanted.quiet, true);  // no window of what is given back
  wanted.fromBrowser = true;
  if (outcome.reason.empty()) outcome = AddForScript(*program, wanted).front();
  const std::int16_t index = outcome.index;
  if (index == 0) {
    done(outcome);
    co_return;
  }
  const std::uint32_t serial = program->Serial(index);
  const std::uint32_t began = program->platform.clock.TickCount();
  std::function<bool()> over = [program, index, serial, began, gone] {
    return *gone || !program->Holds(index, serial) || HasAnswer(*program, index) || HasStopped(*program, index) ||
           program->platform.clock.TickCount() - began >= kPatience;
  };
  co_await program->platform.tasks.Until(std::move(over));
  bool holds = program->Holds(index, serial);
  const bool answered = holds && !*gone && HasAnswer(*program, index);
  if (answered) {
    taken->insert(serial);
    holds = co_await Keep(program, index, serial);
  }
  if (!holds) {
    outcome = {0, "It was removed from the list."};
  } else if (answered && (!*gone || program->Download(index).Finished)) {
    ShowItsWindow(*program, index, quiet);
  } else {
    // A browser that gets no answer continues its own.
    outcome = {0, *gone ? "The browser waits no more." : ReasonOfStop(*program, index)};
    window->RemoveRecord(index);
  }
  done(outcome);
}

std::string ReleaseTaken(Program& program, MainWindow& window, const Taken& taken, std::int16_t index) {
  if (!taken.contains(program.Serial(index))) return "It was not taken over.";
  if (program.Download(index).Finished) return "It is finished.";
  const WebFigures* const figures = program.Web(index);
  if (figures != nullptr && figures->standing == WebStanding::Paused) return "It was paused.";
  window.RemoveRecord(index);
  return {};
}

void RemoveUndecided(const Program& program, MainWindow& window) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (program.IsUndecided(i)) Skip([&] { window.RemoveRecord(static_cast<std::int16_t>(i)); });
  }
}

}  // namespace pellora
