// StartRecord: starting one record, from the queue or on demand.
#include <memory>

#include "core/EngineChoice.h"
#include "core/Queue.h"
#include "mainwin/MainWindow.h"

namespace pellora {

// Nothing else may run between the check for an empty place and filling it.
Task<> MainWindow::StartRecord(std::int16_t index, Start start) {
  const auto hold = Hold();
  missedAll_ = true;  // the next tick shows the start, however long the server takes
  co_await StartTransfer(&program_, index, start);
}

Task<> MainWindow::ResumeTransfer(std::int16_t index, bool shows) {
  const auto hold = Hold();
  const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(index);
  const std::uint32_t serial = program_.Serial(index);
  if (WebFigures* const figures = program_.Web(index)) {
    figures->notBefore = 0;
    program_.Download(index).Queued = 0;
  }
  co_await transfer->ResumeDownload();
  if (shows && program_.Holds(index, serial) && program_.TransferWindowAt(index) == transfer) transfer->ShowWindow();
}

// Where the user has not asked for the window of this one download.
bool MainWindow::OpensWindow(int index) const {
  const bool wanted = program_.ShowTransferWindow || !program_.settings.HideTransferWindows;
  return wanted && !program_.IsQuiet(index);
}

Task<> MainWindow::Restart(std::int16_t index) { return RestartRecord(index, true); }

Task<> MainWindow::RestartRecord(std::int16_t index, bool shows) {
  const auto hold = Hold();
  const bool hasTransfer = program_.TransferWindowAt(index) != nullptr;
  const bool web = program_.Web(index) != nullptr;
  if ((web || !hasTransfer) && ChooseEngine(program_, index).engine == EngineName::None) {
    Status(ReasonOf(program_, index));
    RefreshRows(kAllRows, kUnforced);
    co_return;
  }
  const bool full = Queue(program_).IsFull(program_.settings.MaxSimulDownlads);
  // With the classic engine a resumed download takes no heed of the limit.
  if (hasTransfer && (!web || !full || program_.Download(index).Active)) {
    co_await ResumeTransfer(index, shows);
    co_return;
  }
  if (!full) {
    co_await StartRecord(index, Start::Listed);
    co_return;
  }
  program_.Download(index).Queued = 1;
  if (WebFigures* const figures = program_.Web(index)) figures->notBefore = 0;
  RefreshRows(kAllRows, kUnforced);
}

}  // namespace pellora
