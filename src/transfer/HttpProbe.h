// HttpProbe: the first conversation over http. One GET on WS, judged by the first block of its reply alone; WS never
// carries the file.
#pragma once

#include <string>

#include "async/Task.h"
#include "transfer/ReplyHeaders.h"

namespace pellora {

class ClassicEngine;
class Winsock;

class HttpProbe {
 public:
  // Both outlive it.
  HttpProbe(ClassicEngine& engine, Winsock& main) : engine_(engine), WS(main) {}

  void Connected();    // sends the request
  void DataArrived();  // takes the reply and closes WS

 private:
  // By its status: 3xx, 4xx (ends the download), 5xx (continues it without its window), else a file.
  Task<> JudgeReply(ReplyHeaders reply);
  Task<> JudgeFile(ReplyHeaders reply);
  Task<> FollowRedirect(std::string location);
  std::string TextOfRefusal(int status) const;
  // A refusal by the server: shows it and drops the record. False if the record changed hands meanwhile, or is kept as
  // failed.
  Task<bool> RefuseWithBox(int status);
  Task<> AskAboutWebPage();
  Task<> OpenViewer();

  ClassicEngine& engine_;
  Winsock& WS;
};

}  // namespace pellora
