// The segments of TransferWindow over FTP: each has a login of its own on WS1(i) and a passive data
// connection on FTP(i). The server sends to the end of the file; the client hangs up when it has enough.
#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "async/TaskLoop.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/FtpReplies.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

constexpr double kLoginSpacingSeconds = 0.5;
constexpr double kSecondsInADay = 86400;
constexpr std::uint32_t kLoginFirstRetest = 501;  // ms; no earlier test can succeed
constexpr std::int32_t kRetryInterval = 200;      // ms between two tries of a refused data port
constexpr std::uint32_t kReleaseInterval = 1000;  // ms to the second try of a released login, doubled for each more
constexpr int kMostDoublings = 5;

}  // namespace

// The last piece counts too: a part of a line is taken for a reply if its first characters match one. Only
// the replies that wait are tasks; a block may hold tens of thousands of lines.
Task<> TransferWindow::FTPSystem(int index) {
  const auto hold = Hold();
  const std::string text(WS1(index).GetData());
  const std::uint32_t number = WS1(index).Number();
  if (Record().Paused) {
    WS1(index).Close();
    FtpCloseData(index);
    co_return;
  }
  Record().Active = true;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find("\r\n", from), text.size());
    const std::string_view line = std::string_view(text).substr(from, end - from);
    const std::string_view code = line.substr(0, 3);
    from = end + 2;
    if (code == "230" && !ftpLoginDone_[static_cast<std::size_t>(index)]) {
      co_await FtpLoggedIn(index);
    } else if (code == "227") {
      PassiveAddress address = ParsePassiveReply(line);
      if (!FtpDataStands(index)) co_await FtpPassive(index, std::move(address));
    } else {
      FtpSegmentReply(index, code);
    }
    // The conversation may have ended, or begun anew on another connection, in a wait.
    if (!StillCurrent()) co_return;
    if (WS1(index).Number() != number) co_return;
  }
}

void TransferWindow::FtpSegmentReply(int index, std::string_view code) {
  const auto entry = static_cast<std::size_t>(index);
  if (code == "421" || code == "530") {
    FtpRefused(index);
  } else if (code == "220") {
    if (ftpUserSent_[entry]) return;
    Record().Segment(index + 1).State = kSegmentReceiving;
    RefreshList(0);
    SendFtpCommand(index, FtpUserCommand());
    ftpUserSent_[entry] = true;
  } else if (code == "500") {
    if (!program_.boxes.IsOpen(this, "Error in FTP !")) Tasks().Spawn(SayFtpError());
  } else if (code == "230") {
    RefreshList(0);
  } else if (code == "350") {
    FtpRetrieve(index);
  } else if (code == "331") {
    SendFtpCommand(index, FtpPassCommand());
  }
}

void TransferWindow::FtpRefused(int index) {
  const auto entry = static_cast<std::size_t>(index);
  WS1(index).Close();
  // The server keeps no data port for a login that it has dismissed; what already flows may go on.
  if (FTP(index).State() != SocketState::Connected) FtpCloseData(index);
  Record().Segment(index + 1).State = kSegmentRefused;
  // A sibling that completed has left it its login, and the server has not noticed yet that it hung up. Left
  // waiting, it would need a second completion, and behind the last one there is none.
  if (ftpReleases_[entry] == 0) return;
  const int doublings = std::min(ftpReleases_[entry] - 1, kMostDoublings);
  ftpReleaseAgain_[entry]->Start(kReleaseInterval << doublings, false);
}

void TransferWindow::FtpReleaseAgain(int index) {
  if (!StillCurrent()) return;
  if (Record().Paused || Record().Segment(index + 1).State != kSegmentRefused) return;
  Tasks().Spawn(FtpWakeRefused(index + 1));
}

// Once for each connection: a second PASV would move the server's port while the client is on the first.
Task<> TransferWindow::FtpLoggedIn(int index) {
  const auto hold = Hold();
  const auto entry = static_cast<std::size_t>(index);
  ftpReleases_[entry] = 0;
  ftpLoginDone_[entry] = true;
  RefreshList(0);
  if (Record().Segment(index + 1).State == kSegmentLoggedIn) co_return;
  const std::uint32_t number = WS1(index).Number();
  const Clock* clock = &program_.platform.clock;
  const double start = clock->SecondsSinceMidnight();
  co_await Tasks().Yield();
  co_await Tasks().Until(
      [this, clock, start, index, number] {
        double passed = clock->SecondsSinceMidnight() - start;
        if (passed < 0) passed += kSecondsInADay;
        return passed > kLoginSpacingSeconds || WS1(index).Number() != number;
      },
      kLoginFirstRetest);
  if (!StillCurrent()) co_return;
  if (WS1(index).Number() != number) co_return;
  SegmentRecord& segment = Record().Segment(index + 1);
  segment.State = kSegmentLoggedIn;
  SendFtpCommand(index, FtpCommand("PASV", ""));
  SendFtpCommand(index, FtpCommand("TYPE I", ""));
  SendFtpCommand(index, FtpCommand("REST ", std::to_string(segment.RangeStart)));
}

// The data connection is normally opened on the 227 already. While that reply waits for its turn, RETR waits too, or
// the server would have to send before anybody has asked for the connection.
void TransferWindow::FtpRetrieve(int index) {
  const auto entry = static_cast<std::size_t>(index);
  ftpRetrieveDue_[entry] = ftpPassiveUnderWay_[entry];
  if (ftpRetrieveDue_[entry]) return;
  SegmentRecord& segment = Record().Segment(index + 1);
  if (segment.State == kSegmentRetrieving) return;
  SendFtpCommand(index, FtpCommand("RETR ", ftpRemotePath_ + Record().FileName));
  const bool addressKnown = !FTP(index).RemoteHost.empty();
  if (addressKnown && FTP(index).State() == SocketState::Closed) FtpTryData(index);
  segment.State = kSegmentRetrieving;
  RefreshList(0);
}

bool TransferWindow::FtpDataStands(int index) {
  const SocketState dataState = FTP(index).State();
  return dataState == SocketState::Connecting || dataState == SocketState::Connected;
}

Task<> TransferWindow::FtpPassive(int index, PassiveAddress address) {
  const auto hold = Hold();
  const auto entry = static_cast<std::size_t>(index);
  const std::uint32_t number = WS1(index).Number();
  FtpCloseData(index);
  ftpPassiveUnderWay_[entry] = true;
  co_await Tasks().Yield();
  if (!StillCurrent()) co_return;
  if (WS1(index).Number() != number) co_return;
  ftpPassiveUnderWay_[entry] = false;
  if (!FtpDataStands(index)) {  // else another reply of this kind was the faster one
    FTP(index).RemoteHost = address.host;
    FTP(index).RemotePort = address.PortModulo();
    FtpTryData(index);
  }
  if (ftpRetrieveDue_[entry]) FtpRetrieve(index);
  co_await Tasks().Yield();
}

void TransferWindow::FtpDataConnected() {
  if (StillCurrent()) Record().LastTick = Tick();
}

// Ends the data connection, a try of it that is due, and what is known of its address.
void TransferWindow::FtpCloseData(int index) {
  const auto entry = static_cast<std::size_t>(index);
  ftpRetry_[entry]->Stop();
  ftpPassiveUnderWay_[entry] = false;
  FTP(index).Close();
  FTP(index).RemoteHost.clear();
}

// For a connection that has nothing to do with the former one.
void TransferWindow::FtpForget(int index) {
  const auto entry = static_cast<std::size_t>(index);
  FtpCloseData(index);
  ftpReleaseAgain_[entry]->Stop();
  ftpReleases_[entry] = 0;
}

// The passive port is tried again with no new PASV, but not more than five times a second.
void TransferWindow::FtpDataFailed(int index) {
  if (!StillCurrent()) return;
  if (Record().Paused) return;
  ftpRetry_[static_cast<std::size_t>(index)]->Start(kRetryInterval, false);
}

// At once, unless the login's latest try was just now: a server that goes on naming ports sets no other pace.
void TransferWindow::FtpTryData(int index) {
  const auto entry = static_cast<std::size_t>(index);
  if (ftpDataTried_[entry] != 0 && TicksSince(Tick(), ftpDataTried_[entry]) < kRetryInterval) {
    ftpRetry_[entry]->Start(kRetryInterval, false);
    return;
  }
  FtpRetryData(index);
}

void TransferWindow::FtpRetryData(int index) {
  if (!StillCurrent()) return;
  if (Record().Paused || FtpDataStands(index)) return;
  ftpDataTried_[static_cast<std::size_t>(index)] = Tick();
  FTP(index).Close();
  FTP(index).Connect();
}

bool TransferWindow::FtpWritePart(SegmentRecord& segment, std::string_view data) {
  try {
    const std::unique_ptr<File> part = program_.platform.files.Open(segment.TempFile, FileKind::Part);
    part->WriteAt(static_cast<std::uint64_t>(segment.Received()), data);
    return true;
  } catch (const Failure& failure) {
    PartFailed(failure);
    return false;
  }
}

void TransferWindow::FtpDataArrived(int index, std::size_t bytes) {
  CountReceived(Tick(), bytes);
  if (program_.Ending() || !StillCurrent()) return;
  const std::string_view data = FTP(index).GetData();
  DownloadRecord& record = Record();
  if (record.Paused) return;
  SegmentRecord& segment = record.Segment(index + 1);
  if (segment.State == kSegmentComplete || segment.State == kSegmentPaused) return;
  segment.State = kSegmentReceiving;
  if (!FtpWritePart(segment, data)) return;
  const auto length = static_cast<std::int64_t>(data.size());
  const std::int64_t span = std::int64_t{segment.RangeEnd} - segment.RangeStart;
  const std::int64_t received = segment.ReceivedNow + length;
  if (record.FileSize == 0) {
    segment.ReceivedNow = static_cast<std::int32_t>(std::min<std::int64_t>(received, INT32_MAX));
    if (!program_.boxes.IsOpen(this, "Error !")) Tasks().Spawn(SayUnknownSize());
    return;
  }
  // What counts of the last block is one less than the segment still lacked, so that Received ends one
  // byte short for each segment. The finished record's percent does not depend on it.
  const bool complete = received > span;
  const std::int64_t counted = complete ? length + span - received : length;
  segment.ReceivedNow = static_cast<std::int32_t>(complete ? span + 1 : received);
  if (Account(Tick(), counted)) RefreshList(0);
  if (complete) Tasks().Spawn(FtpSegmentCompleted(index));
}

// The lowest segment that waits, or 0. Those released before, which try again by themselves, come last: to
// wake one of them once more for each completion would leave ever fewer connections at work.
int TransferWindow::FtpNextToRelease() {
  int triesAgain = 0;
  for (int i = 1; i <= Record().SegmentCount; ++i) {
    if (Record().Segment(i).State != kSegmentRefused) continue;
    if (ftpReleases_[static_cast<std::size_t>(i - 1)] == 0) return i;
    if (triesAgain == 0) triesAgain = i;
  }
  return triesAgain;
}

Task<> TransferWindow::FtpSegmentCompleted(int index) {
  const auto hold = Hold();
  FtpCloseData(index);
  WS1(index).Close();
  Record().Segment(index + 1).State = kSegmentComplete;
  RefreshList(0);
  if (FtpNextToRelease() != 0) {
    co_await Tasks().Yield();
    if (!StillCurrent()) co_return;
    if (Record().Paused) co_return;
    // Another completion may have woken that one meanwhile; then it is the next one's turn.
    const int i = FtpNextToRelease();
    if (i != 0) {
      ftpReleases_[static_cast<std::size_t>(i - 1)] = 0;
      co_await FtpWakeRefused(i);
      co_return;
    }
  }
  if (AllSegmentsComplete() && !building_ && !Record().Finished) co_await Complete();
}

Task<> TransferWindow::FtpWakeRefused(int i) {
  const auto hold = Hold();
  const auto entry = static_cast<std::size_t>(i - 1);
  ++ftpReleases_[entry];
  ftpReleaseAgain_[entry]->Stop();
  Record().Segment(i).State = kSegmentUnconnected;
  // Else the stall watch would take the time it has waited for a stall, and connect it once more.
  Record().Segment(i).LastActivity = static_cast<float>(Tick());
  FtpCloseData(i - 1);
  WS1(i - 1).Close();
  Record().Segment(i).Fold();
  const std::uint32_t number = WS1(i - 1).Number();
  co_await Tasks().Yield();
  if (!StillCurrent()) co_return;
  if (Record().Paused || WS1(i - 1).Number() != number) co_return;
  WS1(i - 1).Connect(Record().Host, Record().Port);
}

Task<> TransferWindow::SayFtpError() {
  const auto hold = Hold();
  BoxRequest request{"Error in FTP !", kProgramName, kOkOnly};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

}  // namespace pellora
