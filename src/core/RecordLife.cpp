#include "core/RecordLife.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include "core/DateTexts.h"
#include "core/EngineChoice.h"
#include "core/ParseUrl.h"
#include "core/Program.h"
#include "core/WebTexts.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Locale.h"

namespace pellora {

namespace {

// A damaged list may count more segments than it has.
void ContinuePlan(DownloadRecord& record) {
  record.ContinueSegments = record.SegmentCount >= 1;
  const auto elements = static_cast<int>(record.Segments.size());
  for (int k = 1; k <= record.SegmentCount && k < elements; ++k) {
    SegmentRecord& segment = record.Segment(k);
    if (segment.State != kSegmentComplete) segment.Fold();
  }
}

void Activate(DownloadRecord& record) {
  if (Refused(record)) record.RestState.clear();
  record.Paused = false;
  record.Active = true;
  ContinuePlan(record);
}

}  // namespace

DownloadRecord NewRecord(const Program& program, const std::string& url, const ParsedUrl& parsed, std::int16_t kind) {
  DownloadRecord record;
  record.Segments.resize(1);  // the blank element 0
  record.FileName = parsed.fileName;
  record.Path = parsed.path;
  record.Host = parsed.host;
  record.Port = parsed.port;
  record.UserName = parsed.user;
  record.Password = parsed.password;
  record.Protocol = parsed.protocol;
  record.URL = url;
  record.InUse = true;
  record.Valid = true;
  record.DateAdded = program.platform.clock.Now();
  record.DownloadKind = static_cast<std::int16_t>(std::abs(int{kind}));
  return record;
}

std::int16_t FreeSlot(Program& program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (!program.Download(i).InUse) return static_cast<std::int16_t>(i);
  }
  if (program.DownloadCount == kMaxRecords) return 0;
  program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
  return program.DownloadCount;
}

void Release(Program& program, std::int16_t index, const RecordEnd& end) {
  DownloadRecord& record = program.Download(index);
  record.InUse = false;
  if (end.notValid) record.Valid = false;
  if (end.removed) {
    record.Removed = true;
    program.savesListSoon = true;
  }
  if (end.emptiesUrl) record.URL.clear();
  if (end.emptiesName) record.FileName.clear();
  if (end.notActive) record.Active = false;
  if (end.fatal) record.RestState = kEndedFatally;
  if (end.raisesSerial) program.RaiseSerial(index);
}

void EmptyPlace(Program& program, std::int16_t index, Evicted evicted) {
  const std::shared_ptr<Transfer> transfer = std::exchange(program.TransferWindowAt(index), nullptr);
  const std::shared_ptr<ZipViewer> viewer = std::exchange(program.ZipViewerAt(index), nullptr);
  if (transfer) Skip([&] { evicted == Evicted::Hidden ? transfer->HideWindow() : transfer->UnloadWindow(); });
  if (viewer) Skip([&] { viewer->UnloadWindow(); });
}

void QueueUntil(Program& program, int index, double at) {
  DownloadRecord& record = program.Download(index);
  record.Queued = 1;
  record.Active = record.Paused = false;
  WebFigures& figures = program.AddWeb(index);
  figures.standing = WebStanding::Paused;
  figures.notBefore = at;
  const DateForms forms = program.platform.locale.ShortForms();
  figures.reason = FillText(TextOf(program, WebText::BeginsAt), {ShortDate(at, forms) + " " + ShortTime(at, forms)});
}

bool WaitsForItsTime(Program& program, int index) {
  const WebFigures* const figures = program.Web(index);
  return figures != nullptr && program.Download(index).Queued != 0 && program.platform.clock.Now() < figures->notBefore;
}

Task<> StartTransfer(Program* program, std::int16_t index, Start start) {
  if (start == Start::Queued) program->Download(index).Queued = 0;
  const EngineName engine = ChooseEngine(*program, index).engine;
  if (engine == EngineName::None) co_return;
  const std::shared_ptr<Transfer> transfer = program->newTransferWindow(index);
  program->TransferWindowAt(index) = transfer;
  const std::uint32_t serial = program->Serial(index);
  // The web engine has its place at once, so that many adds do not all start.
  if (start != Start::Added || engine == EngineName::Web) Activate(program->Download(index));
  transfer->SetRecordIndex(index);
  co_await transfer->InitConnection();
  // Meanwhile the record may have ended and its slot been taken by another.
  if (!program->ShowTransferWindow || !program->Holds(index, serial) || program->IsQuiet(index)) co_return;
  if (program->TransferWindowAt(index) == transfer) transfer->ShowWindow();
}

}  // namespace pellora
