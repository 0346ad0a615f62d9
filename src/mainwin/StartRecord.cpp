// StartRecord: starting one record, from the queue or on demand.
#include <memory>

#include "core/Queue.h"
#include "mainwin/MainWindow.h"

namespace pellora {

// Nothing else may run between the check for an empty place and filling it.
Task<> MainWindow::StartRecord(std::int16_t index, Start start) {
  const auto hold = Hold();
  missedAll_ = true;  // the next tick shows the start, however long the server takes
  co_await StartTransfer(&program_, index, start);
}

Task<> MainWindow::Restart(std::int16_t index) {
  const auto hold = Hold();
  const std::shared_ptr<Transfer> transfer = program_.TransferWindowAt(index);
  if (transfer) {
    const std::uint32_t serial = program_.Serial(index);
    co_await transfer->ResumeDownload();
    if (program_.Holds(index, serial) && program_.TransferWindowAt(index) == transfer) transfer->ShowWindow();
    co_return;
  }
  if (!Queue(program_).IsFull(program_.settings.MaxSimulDownlads)) {
    co_await StartRecord(index, Start::Listed);
    co_return;
  }
  program_.Download(index).Queued = 1;
  RefreshRows(kAllRows, kUnforced);
}

}  // namespace pellora
