// StartRecord: starting one record, from the queue or on demand.
#include <algorithm>
#include <memory>

#include "mainwin/MainWindow.h"

namespace pellora {

// From the slot's first test up to the transfer in it nothing may run in between.
Task<> MainWindow::StartRecord(std::int16_t index, bool fromQueue) {
  const auto hold = Hold();
  const std::shared_ptr<Transfer> transfer = program_.newTransferWindow();
  program_.TransferWindowAt(index) = transfer;
  const std::uint32_t serial = program_.Serial(index);
  DownloadRecord& record = program_.Download(index);
  record.Paused = false;
  record.Active = true;
  missedAll_ = true;  // its row says so at the next tick, however long the server takes to answer
  if (fromQueue) record.Queued = 0;
  record.ContinueSegments = record.SegmentCount >= 1;
  const auto elements = static_cast<int>(record.Segments.size());
  for (int k = 1; k <= record.SegmentCount && k < elements; ++k) {
    SegmentRecord& segment = record.Segment(k);
    if (segment.State != kSegmentComplete) segment.Fold();
  }
  transfer->SetRecordIndex(index);
  co_await transfer->InitConnection();
  // The record may have ended, and its slot been filled anew, while the attempt was begun.
  if (!program_.ShowTransferWindow || !program_.Holds(index, serial)) co_return;
  if (program_.TransferWindowAt(index) == transfer) transfer->ShowWindow();
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
  if (program_.ActiveCount() < program_.settings.MaxSimulDownlads) {
    co_await StartRecord(index, false);
    co_return;
  }
  program_.Download(index).Queued = 1;
  RefreshRows(0, 0);
}

}  // namespace pellora
