// The main connection's side of TransferWindow over FTP: one login that finds the directory, the size
// and whether REST works. Commands go out in groups; replies are told apart by code alone.
#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/RecordLife.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/FtpReplies.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

constexpr const char* kAnonymousPassword = "user@pellora.example";  // 20 characters
constexpr int kProbeEntry = kMaxSegmentSockets;

// A login takes ten or a few more. A server that asks on and on, and reads nothing, would have them pile up.
constexpr int kMostCommands = 50;

}  // namespace

std::string TransferWindow::FtpUserCommand() { return FtpCommand("USER ", Record().UserName); }

std::string TransferWindow::FtpPassCommand() {
  const DownloadRecord& record = Record();
  return FtpCommand("PASS ", record.UserName == "anonymous" ? kAnonymousPassword : record.Password);
}

void TransferWindow::SendFtpCommand(int entry, const std::string& command) {
  if (++ftpCommands_.at(static_cast<std::size_t>(entry)) > kMostCommands) return;
  (entry == kProbeEntry ? WS : WS1(entry)).SendData(command);
}

// Text behind the last line end is dropped.
void TransferWindow::FtpProbeLines(const std::string& text) {
  const std::uint32_t number = WS.Number();
  std::size_t from = 0;
  for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", from)) {
    const std::string_view line = std::string_view(text).substr(from, end - from);
    from = end + 2;
    if (!FtpProbeLine(line) || WS.Number() != number) return;
  }
}

bool TransferWindow::FtpProbeLine(std::string_view line) {
  DownloadRecord& record = Record();
  const std::string_view code = line.substr(0, 3);
  if (code == "220") {
    if (ftpUserSent_[kProbeEntry]) return true;
    ftpUserSent_[kProbeEntry] = true;
    ftpPhase_ = FtpProbePhase::LoggingIn;
    state.Caption = "Logging in...";
    SendFtpCommand(kProbeEntry, FtpUserCommand());
  } else if (code == "331") {
    SendFtpCommand(kProbeEntry, FtpPassCommand());
  } else if (code == "230") {
    if (ftpPhase_ != FtpProbePhase::LoggingIn && ftpPhase_ != FtpProbePhase::Connecting) return true;
    ftpPhase_ = FtpProbePhase::FileInfo;
    state.Caption = "Get file info...";
    for (const char* command : {"TYPE I", "PWD", "PASV"}) SendFtpCommand(kProbeEntry, FtpCommand(command, ""));
  } else if (code == "257") {
    ftpRemotePath_ = RemoteDirectory(QuotedDirectory(line), record.Path);
    SendFtpCommand(kProbeEntry, FtpCommand("CWD ", ftpRemotePath_));
  } else if (code == "250") {
    // A directory's message comes as further lines of this code. A second SIZE would meet the ASCII type,
    // in which many servers answer it with 550.
    if (ftpPhase_ == FtpProbePhase::SizeAsked) return true;
    ftpPhase_ = FtpProbePhase::SizeAsked;
    SendFtpCommand(kProbeEntry, FtpCommand("SIZE ", ftpRemotePath_ + record.FileName));
    SendFtpCommand(kProbeEntry, FtpCommand("TYPE A", ""));
  } else if (code == "530") {
    Tasks().Spawn(FtpProbeFailed("Username or Password Invalid ! Download aborted"));
    return false;
  } else if (code == "213") {
    SendFtpCommand(kProbeEntry, FtpCommand("REST 0", ""));
    record.FileSize = SizeReply(line);
  } else if (code == "500") {
    FtpEndProbe(kRestRefused);
    return false;
  } else if (code == "350") {
    FtpEndProbe(kRestAccepted);
    return false;
  } else if (code == "227") {
    // Asked for and stored, but read by nobody: an address that cannot be read harms nothing.
    Skip([&] {
      const PassiveAddress address = ParsePassiveReply(line);
      constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
      ftpProbeHost_ = address.host;
      ftpProbePort_ = static_cast<std::int32_t>(std::clamp(address.Port(), -kMost, kMost));
    });
  } else if (code == "550") {
    Tasks().Spawn(FtpProbeFailed(record.FileName + " is not found on this ftp server !"));
    return false;
  }
  return true;
}

void TransferWindow::FtpEndProbe(const char* restState) {
  WS.Close();
  DownloadRecord& record = Record();
  record.RestState = restState;
  FitSizeToPlan();
  Tasks().Spawn(FtpConnectSegments());
}

Task<> TransferWindow::FtpConnectSegments() {
  const auto hold = Hold();
  if (!IsStorableName(Record().FileName)) {
    co_await RefuseBadName();
    co_return;
  }
  co_await ConnectSegmented();
}

Task<> TransferWindow::FtpProbeFailed(std::string text) {
  const auto hold = Hold();
  questionStands_ = true;
  WS.SetReading(false);  // what else the server says is not listened to
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await program_.boxes.Ask(this, std::move(request));
  WS.SetReading(true);
  questionStands_ = false;
  if (!StillCurrent()) co_return;
  Release(program_, RecordIndex, kFtpRefused);
  EmptySlot();
  Retire();
  program_.lists->RefreshRows(0, kForced);
}

}  // namespace pellora
