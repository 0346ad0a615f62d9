#include "transfer/FtpControl.h"

#include "async/Winsock.h"
#include "transfer/FtpReplies.h"

namespace pellora {

namespace {

constexpr const char* kAnonymousPassword = "user@pellora.example";  // 20 characters

// A login takes ten or a few more. A server that keeps asking, and reads nothing, would have them pile up.
constexpr int kMostCommands = 50;

}  // namespace

void FtpControl::Reset() {
  sent_ = 0;
  userSent_ = false;
}

void FtpControl::Send(const std::string& command) {
  if (++sent_ <= kMostCommands) socket_.SendData(command);
}

void FtpControl::SendUser(const DownloadRecord& record) {
  Send(FtpCommand("USER ", record.UserName));
  userSent_ = true;
}

void FtpControl::SendPass(const DownloadRecord& record) {
  Send(FtpCommand("PASS ", record.UserName == "anonymous" ? kAnonymousPassword : record.Password));
}

}  // namespace pellora
