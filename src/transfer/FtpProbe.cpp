#include "transfer/FtpProbe.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/RecordLife.h"
#include "transfer/ClassicEngine.h"
#include "transfer/FtpReplies.h"

namespace pellora {

void FtpProbe::Begin() {
  phase_ = Phase::Connecting;
  control_.Reset();
}

// Text after the last line end is dropped.
void FtpProbe::DataArrived() {
  const std::string text(WS.GetData());
  const std::uint32_t number = WS.Number();
  std::size_t from = 0;
  for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", from)) {
    const std::string_view line = std::string_view(text).substr(from, end - from);
    from = end + 2;
    if (!TakeLine(line) || WS.Number() != number) return;
  }
}

bool FtpProbe::TakeLine(std::string_view line) {
  DownloadRecord& record = engine_.Record();
  const std::string_view code = line.substr(0, 3);
  if (code == "220") {
    if (control_.UserSent()) return true;
    phase_ = Phase::LoggingIn;
    engine_.ShowState("Logging in...");
    control_.SendUser(record);
  } else if (code == "331") {
    control_.SendPass(record);
  } else if (code == "230") {
    if (phase_ != Phase::LoggingIn && phase_ != Phase::Connecting) return true;
    phase_ = Phase::FileInfo;
    engine_.ShowState("Get file info...");
    for (const char* command : {"TYPE I", "PWD", "PASV"}) control_.Send(FtpCommand(command, ""));
  } else if (code == "257") {
    remotePath_ = RemoteDirectory(QuotedDirectory(line), record.Path);
    control_.Send(FtpCommand("CWD ", remotePath_));
  } else if (code == "250") {
    // A directory's message comes as further lines of this code. A second SIZE would meet the ASCII type,
    // in which many servers answer it with 550.
    if (phase_ == Phase::SizeAsked) return true;
    phase_ = Phase::SizeAsked;
    control_.Send(FtpCommand("SIZE ", remotePath_ + record.FileName));
    control_.Send(FtpCommand("TYPE A", ""));
  } else if (code == "530") {
    engine_.Tasks().Spawn(Failed("Username or Password Invalid ! Download aborted"));
    return false;
  } else if (code == "213") {
    control_.Send(FtpCommand("REST 0", ""));
    record.FileSize = SizeReply(line);
  } else if (code == "500") {
    End(kRestRefused);
    return false;
  } else if (code == "350") {
    End(kRestAccepted);
    return false;
  } else if (code == "227") {
    // Asked for and stored, but read by nobody: an address that cannot be read harms nothing.
    Skip([&] {
      const PassiveAddress address = ParsePassiveReply(line);
      constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
      passiveHost_ = address.host;
      passivePort_ = static_cast<std::int32_t>(std::clamp(address.Port(), -kMost, kMost));
    });
  } else if (code == "550") {
    engine_.Tasks().Spawn(Failed(record.FileName + " is not found on this ftp server !"));
    return false;
  }
  return true;
}

void FtpProbe::End(const char* restState) {
  WS.Close();
  engine_.Record().RestState = restState;
  engine_.FitSizeToPlan();
  engine_.Tasks().Spawn(ConnectSegments());
}

Task<> FtpProbe::ConnectSegments() {
  const auto hold = engine_.Hold();
  if (!IsStorableName(engine_.Record().FileName)) {
    co_await engine_.RefuseBadName();
    co_return;
  }
  co_await engine_.ConnectSegmented();
}

Task<> FtpProbe::Failed(std::string text) {
  const auto hold = engine_.Hold();
  WS.SetReading(false);  // what else the server says is not listened to
  BoxRequest request{text, kProgramName, kCritical};
  (void)co_await engine_.Ask(std::move(request));
  WS.SetReading(true);
  if (!engine_.StillCurrent()) co_return;
  engine_.Refuse(kFtpRefused, std::move(text));
}

}  // namespace pellora
