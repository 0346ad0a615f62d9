// FtpProbe: the first conversation over ftp. One login on WS that finds the directory, the size and whether REST works.
// Commands go out in groups; replies are distinguished by code alone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "async/Task.h"
#include "transfer/FtpControl.h"

namespace pellora {

class ClassicEngine;

class FtpProbe {
 public:
  // Both outlive it.
  FtpProbe(ClassicEngine& engine, Winsock& main) : engine_(engine), WS(main), control_(main) {}

  void Begin();  // for each connection of WS
  void DataArrived();
  // The absolute directory of the file on the server; empty until it is known.
  const std::string& RemotePath() const { return remotePath_; }

 private:
  enum class Phase { Idle, Connecting, LoggingIn, FileInfo, SizeAsked };
  bool TakeLine(std::string_view line);  // False: stop reading lines
  void End(const char* restState);
  Task<> ConnectSegments();
  Task<> Failed(std::string text);

  ClassicEngine& engine_;
  Winsock& WS;
  FtpControl control_;
  Phase phase_ = Phase::Idle;
  std::string remotePath_;
  std::string passiveHost_;
  std::int32_t passivePort_ = 0;
};

}  // namespace pellora
