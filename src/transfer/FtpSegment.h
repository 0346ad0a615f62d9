// FtpSegment: one segment over ftp. It has a separate login on WS1(index) and a passive data connection, FTP. The
// server sends to the end of the file; the client hangs up when it has enough.
//
// It lives as long as its engine. What it remembers ends at four different moments: see Connected, ForgetUser,
// CloseData and Forget.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "async/Task.h"
#include "async/Winsock.h"
#include "ports/EventLoop.h"
#include "transfer/FtpControl.h"
#include "transfer/FtpReplies.h"

namespace pellora {

class ClassicEngine;
struct DownloadRecord;
struct SegmentRecord;

class FtpSegment {
 public:
  FtpSegment(ClassicEngine& engine, int index);

  Task<> FTPSystem();  // takes a block of replies
  void Connected();    // the login belongs to the new control connection
  void ForgetUser() { control_.ForgetUser(); }
  // Ends the data connection, a try of it that is due, and what is known of its address.
  void CloseData();
  // For a control connection that has nothing to do with the former one.
  void Forget();
  void SetReading(bool reading) { FTP.SetReading(reading); }

  bool WasReleased() const { return releases_ > 0; }  // and has not been let in since

 private:
  DownloadRecord& Record();
  SegmentRecord& Segment();
  Winsock& WS1();
  void TakeReply(std::string_view code);
  void Refused();
  void ReleaseAgain();
  Task<> Wake();
  Task<> LoggedIn();
  bool DataIsOpen() const;  // or is being made
  Task<> Passive(PassiveAddress address);
  void Retrieve();
  void DataConnected();
  void DataArrived(std::size_t bytes);
  void DataFailed();
  void TryData();
  void RetryData();
  bool WritePart(std::string_view data);  // False: it failed, and the engine has said so
  Task<> Completed();
  Task<> SayError();

  ClassicEngine& engine_;
  const int index_;
  FtpControl control_;
  Winsock FTP;
  bool loginDone_ = false;        // PASV group sent or under way on this connection
  bool passiveUnderWay_ = false;  // a 227 reply is being acted on
  bool retrieveDue_ = false;      // and a 350 reply has come meanwhile
  std::uint32_t dataTried_ = 0;   // tick of the latest try of this login; 0: none
  std::unique_ptr<Alarm> retry_;
  // Connections made since a completed sibling released this segment from its wait; 0 once it is let in.
  int releases_ = 0;
  std::unique_ptr<Alarm> releaseAgain_;
};

}  // namespace pellora
