// The main connection's side of TransferWindow over HTTP: one GET, judged by the first block of its
// reply alone. WS never carries the file.
#include <algorithm>
#include <string>
#include <utility>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/FileNames.h"
#include "core/ListCodec.h"
#include "core/RecordLife.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Shell.h"
#include "transfer/RedirectTarget.h"
#include "transfer/Requests.h"
#include "transfer/TextNumbers.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

bool HasZipName(const std::string& name) { return name.size() >= 3 && ToLower(name.substr(name.size() - 3)) == "zip"; }

}  // namespace

Task<> TransferWindow::MainConnected() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  const std::uint32_t number = WS.Number();
  state.Caption = Text(kTextWaitingForData);
  co_await Tasks().Yield();
  // A pause or the time-out may have closed the connection meanwhile.
  if (WS.Number() != number || !StillCurrent()) co_return;
  TimeOut.SetEnabled(false);
  DownloadRecord& record = Record();
  if (record.Protocol == kFtp) {
    record.LastTick = Tick();
    co_return;
  }
  WS.SendData(ProbeRequest(record, program_.settings.ProxyHTTP));
  record.LastTick = Tick();
}

void TransferWindow::MainDataArrived(std::size_t bytes) {
  CountReceived(Tick(), bytes);
  TimeOut.SetEnabled(false);
  if (!StillCurrent()) return;
  if (Record().Protocol != kHttp) {
    FtpProbeLines(std::string(WS.GetData()));
    return;
  }
  // The block is valid until the socket closes, so it is read first. The rest of the reply never is.
  ReplyHeaders reply = ParseReplyHeaders(WS.GetData());
  WS.Close();
  Tasks().Spawn(JudgeReply(std::move(reply)));
}

Task<> TransferWindow::JudgeReply(ReplyHeaders reply) {
  const auto hold = Hold();
  if (reply.status >= 300 && reply.status < 400) {
    co_await FollowRedirect(reply.location);
    co_return;
  }
  if (reply.status >= 400 && reply.status < 500) {
    std::string text = Text(kTextCouldNotGet) + " " + Record().Path + " " + Text(kTextNotFromServer);
    const bool refused = co_await RefuseWithBox(std::move(text));
    if (refused) Retire();
    co_return;
  }
  if (reply.status >= 500 && reply.status < 600) {
    std::string text = Text(kTextServerError) + std::to_string(reply.status) + ")";
    const bool refused = co_await RefuseWithBox(std::move(text));
    if (!refused) co_return;
    // A server error does not end the handler: the error page is judged like any other reply, on the
    // unloaded window and with the fields just cleared.
    ContinueWithoutWindow();
  }
  DownloadRecord& record = Record();
  if (record.Paused) {
    if (ghost_) Retire();  // paused under its box; nothing reaches it any more
    co_return;
  }
  record.Active = true;
  // A length that the record cannot hold is not known: a file cut at 2 GiB would pass for the whole.
  record.FileSize = reply.tooLong ? 0 : std::max(0, reply.contentLength);
  FitSizeToPlan();
  program_.lists->RefreshRows(RecordIndex, 0);
  // The type must match exactly: "text/html; charset=utf-8" is a file.
  if (reply.contentType == "text/html") {
    co_await AskAboutWebPage();
    co_return;
  }
  if (HasZipName(record.FileName) && program_.settings.AutoPreviewZIP && program_.newZipViewer) {
    std::shared_ptr<ZipViewer>& slot = program_.ZipViewerAt(RecordIndex);
    if (slot) slot->UnloadWindow();
    const std::shared_ptr<ZipViewer> viewer = program_.newZipViewer();
    slot = viewer;
    viewer->SetIndex(RecordIndex);
    co_await viewer->Start();
    co_return;
  }
  if (IsBadFileName(record.FileName, Text(kTextBadNamePart)) || !IsStorableName(record.FileName)) {
    co_await RefuseBadName();
    co_return;
  }
  state.Caption = Text(kTextConnectingSegments);
  co_await ConnectSegmented();
}

// Nothing limits the number of redirects: a loop goes on until the user cancels.
Task<> TransferWindow::FollowRedirect(std::string location) {
  const auto hold = Hold();
  TimeOut.SetEnabled(false);
  const RedirectTarget target = TargetOfRedirect(location);
  if (location.size() > kLongestListString) {
    co_await RefuseBadName();
    co_return;
  }
  DownloadRecord& record = Record();
  record.Referer = record.URL;
  record.Path = target.path;
  record.FileName = target.fileName;
  record.Host = target.host;  // the port stays, whatever the location says
  record.URL = location;
  co_await InitConnection();
}

Task<bool> TransferWindow::RefuseWithBox(std::string text) {
  const auto hold = Hold();
  questionStands_ = true;
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await program_.boxes.Ask(this, std::move(request));
  questionStands_ = false;
  if (!StillCurrent()) co_return false;
  WS.Close();
  Release(program_, RecordIndex, kRefused);
  TimeOut.SetEnabled(false);
  EmptySlot();
  program_.lists->RefreshRows(0, 0);
  co_return true;
}

void TransferWindow::ContinueWithoutWindow() {
  ghost_ = true;
  program_.platform.gate.Keep(Hold());
  Unload();
}

Task<> TransferWindow::AskAboutWebPage() {
  const auto hold = Hold();
  questionStands_ = true;
  BoxRequest request{Text(kTextAskOpenWebPage), "Pellora!", kYesNo | kQuestion};
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  questionStands_ = false;
  if (!StillCurrent()) co_return;
  const std::string url = Record().URL;  // empty after a server error: nothing is opened then
  if (answer == kAnswerYes && !url.empty()) {
    Skip([&] { program_.platform.shell.OpenUrl(url); });
  }
  DropRecord();
}

Task<> TransferWindow::RefuseBadName() {
  const auto hold = Hold();
  questionStands_ = true;
  BoxRequest request{"Bad URL or File", kProgramName, kOkOnly};
  (void)co_await program_.boxes.Ask(this, std::move(request));
  questionStands_ = false;
  if (!StillCurrent()) co_return;
  DropRecord();
}

void TransferWindow::DropRecord() {
  WS.Close();
  Release(program_, RecordIndex, kNoFile);
  program_.lists->RefreshRows(0, kForced);
  EmptySlot();
  Retire();
}

}  // namespace pellora
