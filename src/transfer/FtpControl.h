// FtpControl: the commands that go out on one ftp control connection.
#pragma once

#include <string>

#include "core/Record.h"

namespace pellora {

class Winsock;

class FtpControl {
 public:
  explicit FtpControl(Winsock& socket) : socket_(socket) {}

  void Reset();  // for each connection
  void Send(const std::string& command);
  bool UserSent() const { return userSent_; }
  void SendUser(const DownloadRecord& record);
  void SendPass(const DownloadRecord& record);
  void ForgetUser() { userSent_ = false; }

 private:
  Winsock& socket_;
  int sent_ = 0;
  bool userSent_ = false;
};

}  // namespace pellora
