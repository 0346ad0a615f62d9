#include "transfer/HttpProbe.h"

#include <algorithm>
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/FileNames.h"
#include "core/ListCodec.h"
#include "core/RecordLife.h"
#include "core/WebTexts.h"
#include "ports/Dialogs.h"
#include "ports/Shell.h"
#include "transfer/ClassicEngine.h"
#include "transfer/RedirectTarget.h"
#include "transfer/Requests.h"
#include "transfer/TextNumbers.h"

namespace pellora {

namespace {

constexpr const char* kWebPage = "The server sends a web page.";

bool HasZipName(const std::string& name) { return name.size() >= 3 && ToLower(name.substr(name.size() - 3)) == "zip"; }

}  // namespace

void HttpProbe::Connected() { WS.SendData(ProbeRequest(engine_.Record(), engine_.TheProgram().settings.ProxyHTTP)); }

// The block is valid until the socket closes, so it is read first. The rest of the reply never is.
void HttpProbe::DataArrived() {
  ReplyHeaders reply = ParseReplyHeaders(WS.GetData());
  WS.Close();
  engine_.Tasks().Spawn(JudgeReply(std::move(reply)));
}

Task<> HttpProbe::JudgeReply(ReplyHeaders reply) {
  const auto hold = engine_.Hold();
  if (reply.status >= 300 && reply.status < 400) {
    co_await FollowRedirect(reply.location);
    co_return;
  }
  if (reply.status >= 400 && reply.status < 500) {
    const bool refused = co_await RefuseWithBox(reply.status);
    if (refused) engine_.Retire();
    co_return;
  }
  if (reply.status >= 500 && reply.status < 600) {
    const bool refused = co_await RefuseWithBox(reply.status);
    if (!refused) co_return;
    if (engine_.Record().Paused) {
      engine_.Retire();  // paused while its box was open; nothing reaches it any more
      co_return;
    }
    // A server error does not end the handler: the error page is judged like any other reply, without the window and
    // with the fields just cleared.
    engine_.ContinueWithoutWindow();
  }
  co_await JudgeFile(std::move(reply));
}

Task<> HttpProbe::JudgeFile(ReplyHeaders reply) {
  const auto hold = engine_.Hold();
  DownloadRecord& record = engine_.Record();
  if (record.Paused) co_return;
  record.Active = true;
  // A length that the record cannot hold is not known: a file cut at 2 GiB would pass for the whole.
  record.FileSize = reply.tooLong ? 0 : std::max(0, reply.contentLength);
  engine_.FitSizeToPlan();
  Program& program = engine_.TheProgram();
  program.lists->RefreshRows(engine_.Index(), kUnforced);
  // The type must match exactly: "text/html; charset=utf-8" is a file.
  if (reply.contentType == "text/html") {
    co_await AskAboutWebPage();
    co_return;
  }
  if (HasZipName(record.FileName) && program.settings.AutoPreviewZIP && program.newZipViewer) {
    co_await OpenViewer();
    co_return;
  }
  if (IsBadFileName(record.FileName, engine_.Text(kTextBadNamePart)) || !IsStorableName(record.FileName)) {
    co_await engine_.RefuseBadName();
    co_return;
  }
  engine_.ShowState(engine_.Text(kTextConnectingSegments));
  co_await engine_.ConnectSegmented();
}

Task<> HttpProbe::OpenViewer() {
  const auto hold = engine_.Hold();
  Program& program = engine_.TheProgram();
  std::shared_ptr<ZipViewer>& slot = program.ZipViewerAt(engine_.Index());
  if (slot) slot->UnloadWindow();
  const std::shared_ptr<ZipViewer> viewer = program.newZipViewer();
  slot = viewer;
  viewer->SetIndex(engine_.Index());
  co_await viewer->Start();
}

// Nothing limits the number of redirects: a loop continues until the user cancels.
Task<> HttpProbe::FollowRedirect(std::string location) {
  const auto hold = engine_.Hold();
  const RedirectTarget target = TargetOfRedirect(location);
  if (location.size() > kLongestListString) {
    co_await engine_.RefuseBadName();
    co_return;
  }
  DownloadRecord& record = engine_.Record();
  record.Referer = record.URL;
  record.Path = target.path;
  record.FileName = target.fileName;
  record.Host = target.host;  // the port stays, whatever the location says
  record.URL = location;
  co_await engine_.InitConnection();
}

// Most texts say that the record leaves the list, which is not so where nobody sees boxes.
std::string HttpProbe::TextOfRefusal(int status) const {
  const Program& program = engine_.TheProgram();
  const std::string number = std::to_string(status);
  if (program.headless) {
    const bool missing = status == 404 || status == 410;
    return missing ? TextOf(program, WebText::NotFound) : FillText(TextOf(program, WebText::Refused), {number});
  }
  if (status >= 500) return engine_.Text(kTextServerError) + number + ")";
  return engine_.Text(kTextCouldNotGet) + " " + engine_.Record().Path + " " + engine_.Text(kTextNotFromServer);
}

Task<bool> HttpProbe::RefuseWithBox(int status) {
  const auto hold = engine_.Hold();
  std::string text = TextOfRefusal(status);
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await engine_.Ask(std::move(request));
  if (!engine_.StillCurrent()) co_return false;
  if (engine_.TheProgram().headless) {
    engine_.KeepAsFailed(std::move(text));
    co_return false;
  }
  Release(engine_.TheProgram(), engine_.Index(), kRefused);
  engine_.EmptySlot();
  engine_.TheProgram().lists->RefreshRows(kAllRows, kUnforced);
  co_return true;
}

Task<> HttpProbe::AskAboutWebPage() {
  const auto hold = engine_.Hold();
  BoxRequest request{engine_.Text(kTextAskOpenWebPage), "Pellora!", kYesNo | kQuestion};
  if (engine_.TheProgram().headless) request = {kWebPage, kProgramName, kCritical};
  const int answer = co_await engine_.Ask(std::move(request));
  if (!engine_.StillCurrent()) co_return;
  const std::string url = engine_.Record().URL;  // empty after a server error: nothing is opened then
  if (answer == kAnswerYes && !url.empty()) {
    Skip([&] { engine_.TheProgram().platform.shell.OpenUrl(url); });
  }
  engine_.Refuse(kNoFile, kWebPage);
}

}  // namespace pellora
