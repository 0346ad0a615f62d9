#include "transfer/FtpSegment.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/ClassicEngine.h"

namespace pellora {

namespace {

constexpr double kLoginSpacingSeconds = 0.5;
constexpr double kSecondsInADay = 86400;
constexpr std::uint32_t kLoginFirstRetest = 501;  // ms; no earlier test can succeed
constexpr std::int32_t kRetryInterval = 200;      // ms between two tries of a refused data port
constexpr std::uint32_t kReleaseInterval = 1000;  // ms to the second try of a released login, doubled for each more
constexpr int kMostDoublings = 5;

}  // namespace

FtpSegment::FtpSegment(ClassicEngine& engine, int index)
    : engine_(engine), index_(index), control_(engine.WS1(index)), FTP(engine.TheProgram().platform) {
  FTP.OnConnect = [this] { DataConnected(); };
  FTP.OnDataArrival = [this](std::size_t bytes) { DataArrived(bytes); };
  FTP.OnError = [this] { DataFailed(); };
  EventLoop& events = engine.TheProgram().platform.events;
  retry_ = events.NewAlarm([this] { RetryData(); });
  releaseAgain_ = events.NewAlarm([this] { ReleaseAgain(); });
}

DownloadRecord& FtpSegment::Record() { return engine_.Record(); }

SegmentRecord& FtpSegment::Segment() { return engine_.Segment(index_); }

Winsock& FtpSegment::WS1() { return engine_.WS1(index_); }

void FtpSegment::Connected() {
  control_.Reset();
  loginDone_ = false;
  retrieveDue_ = false;
  dataTried_ = 0;
}

// The last piece counts too: a part of a line is taken for a reply if its first characters match one. Only
// the replies that wait are tasks; a block may hold tens of thousands of lines.
Task<> FtpSegment::FTPSystem() {
  const auto hold = engine_.Hold();
  const std::string text(WS1().GetData());
  const std::uint32_t number = WS1().Number();
  if (Record().Paused) {
    WS1().Close();
    CloseData();
    co_return;
  }
  Record().Active = true;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find("\r\n", from), text.size());
    const std::string_view line = std::string_view(text).substr(from, end - from);
    const std::string_view code = line.substr(0, 3);
    from = end + 2;
    if (code == "230" && !loginDone_) {
      co_await LoggedIn();
    } else if (code == "227") {
      PassiveAddress address = ParsePassiveReply(line);
      if (!DataIsOpen()) co_await Passive(std::move(address));
    } else {
      TakeReply(code);
    }
    // The conversation may have ended, or begun anew on another connection, in a wait.
    if (!engine_.StillCurrent()) co_return;
    if (WS1().Number() != number) co_return;
  }
}

void FtpSegment::TakeReply(std::string_view code) {
  if (code == "421" || code == "530") {
    Refused();
  } else if (code == "220") {
    if (control_.UserSent()) return;
    Segment().State = kSegmentReceiving;
    engine_.RefreshList(0);
    control_.SendUser(Record());
  } else if (code == "500") {
    if (!engine_.TheProgram().boxes.IsOpen(&engine_, "Error in FTP !")) engine_.Tasks().Spawn(SayError());
  } else if (code == "230") {
    engine_.RefreshList(0);
  } else if (code == "350") {
    Retrieve();
  } else if (code == "331") {
    control_.SendPass(Record());
  }
}

void FtpSegment::Refused() {
  WS1().Close();
  // The server keeps no data port for a login that it has dismissed; what already flows may continue.
  if (FTP.State() != SocketState::Connected) CloseData();
  Segment().State = kSegmentRefused;
  // A sibling that completed has left it its login, and the server has not noticed yet that it hung up. Left
  // waiting, it would need a second completion, and after the last one there is none.
  if (releases_ == 0) return;
  const int doublings = std::min(releases_ - 1, kMostDoublings);
  releaseAgain_->Start(kReleaseInterval << doublings, false);
}

void FtpSegment::ReleaseAgain() {
  if (!engine_.StillCurrent()) return;
  if (Record().Paused || Segment().State != kSegmentRefused) return;
  engine_.Tasks().Spawn(Wake());
}

// Once for each connection: a second PASV would move the server's port while the client is on the first.
Task<> FtpSegment::LoggedIn() {
  const auto hold = engine_.Hold();
  releases_ = 0;
  loginDone_ = true;
  engine_.RefreshList(0);
  if (Segment().State == kSegmentLoggedIn) co_return;
  const std::uint32_t number = WS1().Number();
  const Clock* clock = &engine_.TheProgram().platform.clock;
  const double start = clock->SecondsSinceMidnight();
  co_await engine_.Tasks().Yield();
  co_await engine_.Tasks().Until(
      [this, clock, start, number] {
        double passed = clock->SecondsSinceMidnight() - start;
        if (passed < 0) passed += kSecondsInADay;
        return passed > kLoginSpacingSeconds || WS1().Number() != number;
      },
      kLoginFirstRetest);
  if (!engine_.StillCurrent()) co_return;
  if (WS1().Number() != number) co_return;
  SegmentRecord& segment = Segment();
  segment.State = kSegmentLoggedIn;
  control_.Send(FtpCommand("PASV", ""));
  control_.Send(FtpCommand("TYPE I", ""));
  control_.Send(FtpCommand("REST ", std::to_string(segment.RangeStart)));
}

// The data connection is normally opened on the 227 already. While that reply waits for its turn, RETR waits too, or
// the server would have to send before anybody has asked for the connection.
void FtpSegment::Retrieve() {
  retrieveDue_ = passiveUnderWay_;
  if (retrieveDue_) return;
  SegmentRecord& segment = Segment();
  if (segment.State == kSegmentRetrieving) return;
  control_.Send(FtpCommand("RETR ", engine_.FtpDirectory() + Record().FileName));
  const bool addressKnown = !FTP.RemoteHost.empty();
  if (addressKnown && FTP.State() == SocketState::Closed) TryData();
  segment.State = kSegmentRetrieving;
  engine_.RefreshList(0);
}

bool FtpSegment::DataIsOpen() const {
  const SocketState dataState = FTP.State();
  return dataState == SocketState::Connecting || dataState == SocketState::Connected;
}

Task<> FtpSegment::Passive(PassiveAddress address) {
  const auto hold = engine_.Hold();
  const std::uint32_t number = WS1().Number();
  CloseData();
  passiveUnderWay_ = true;
  co_await engine_.Tasks().Yield();
  if (!engine_.StillCurrent()) co_return;
  if (WS1().Number() != number) co_return;
  passiveUnderWay_ = false;
  if (!DataIsOpen()) {  // else another reply of this kind was the faster one
    FTP.RemoteHost = address.host;
    FTP.RemotePort = address.PortModulo();
    TryData();
  }
  if (retrieveDue_) Retrieve();
  co_await engine_.Tasks().Yield();
}

void FtpSegment::DataConnected() {
  if (engine_.StillCurrent()) Record().LastTick = engine_.Tick();
}

void FtpSegment::CloseData() {
  retry_->Stop();
  passiveUnderWay_ = false;
  FTP.Close();
  FTP.RemoteHost.clear();
}

void FtpSegment::Forget() {
  CloseData();
  releaseAgain_->Stop();
  releases_ = 0;
}

// The passive port is tried again with no new PASV, but not more than five times a second.
void FtpSegment::DataFailed() {
  if (!engine_.StillCurrent()) return;
  if (Record().Paused) return;
  retry_->Start(kRetryInterval, false);
}

// At once, unless the login's latest try was just now: a server that goes on naming ports sets no other pace.
void FtpSegment::TryData() {
  if (dataTried_ != 0 && TicksSince(engine_.Tick(), dataTried_) < kRetryInterval) {
    retry_->Start(kRetryInterval, false);
    return;
  }
  RetryData();
}

void FtpSegment::RetryData() {
  if (!engine_.StillCurrent()) return;
  if (Record().Paused || DataIsOpen()) return;
  dataTried_ = engine_.Tick();
  FTP.Close();
  FTP.Connect();
  engine_.Brake().Open(FTP);
}

bool FtpSegment::WritePart(std::string_view data) {
  const SegmentRecord& segment = Segment();
  try {
    const std::unique_ptr<File> part = engine_.TheProgram().platform.files.Open(segment.TempFile, FileKind::Part);
    part->WriteAt(static_cast<std::uint64_t>(segment.Received()), data);
    return true;
  } catch (const Failure& failure) {
    engine_.PartFailed(failure);
    return false;
  }
}

void FtpSegment::DataArrived(std::size_t bytes) {
  engine_.CountReceived(engine_.Tick(), bytes);
  if (engine_.TheProgram().Ending() || !engine_.StillCurrent()) return;
  const std::string_view data = FTP.GetData();
  DownloadRecord& record = Record();
  if (record.Paused) return;
  SegmentRecord& segment = Segment();
  if (segment.State == kSegmentComplete || segment.State == kSegmentPaused) return;
  segment.State = kSegmentReceiving;
  if (!WritePart(data)) return;
  const auto length = static_cast<std::int64_t>(data.size());
  const std::int64_t span = std::int64_t{segment.RangeEnd} - segment.RangeStart;
  const std::int64_t received = segment.ReceivedNow + length;
  if (record.FileSize == 0) {
    segment.ReceivedNow = static_cast<std::int32_t>(std::min<std::int64_t>(received, INT32_MAX));
    engine_.SayUnknownSize();
    return;
  }
  // What counts of the last block is one less than the segment still lacked, so that Received ends one
  // byte short for each segment. The finished record's percent does not depend on it.
  const bool complete = received > span;
  const std::int64_t counted = complete ? length + span - received : length;
  segment.ReceivedNow = static_cast<std::int32_t>(complete ? span + 1 : received);
  if (engine_.Account(engine_.Tick(), counted)) engine_.RefreshList(0);
  engine_.Brake().Read(index_, FTP, bytes);
  if (complete) engine_.Tasks().Spawn(Completed());
}

Task<> FtpSegment::Completed() {
  const auto hold = engine_.Hold();
  CloseData();
  WS1().Close();
  engine_.Brake().Forget(index_);
  Segment().State = kSegmentComplete;
  engine_.RefreshList(0);
  if (engine_.NextToRelease() != nullptr) {
    co_await engine_.Tasks().Yield();
    if (!engine_.StillCurrent()) co_return;
    if (Record().Paused) co_return;
    // Another completion may have woken that one meanwhile; then it is the next one's turn.
    if (FtpSegment* const next = engine_.NextToRelease()) {
      next->releases_ = 0;
      co_await next->Wake();
      co_return;
    }
  }
  engine_.CompleteIfAllEnded();
}

Task<> FtpSegment::Wake() {
  const auto hold = engine_.Hold();
  ++releases_;
  releaseAgain_->Stop();
  Segment().State = kSegmentUnconnected;
  // Else the stall watch would take the time it has waited for a stall, and connect it once more.
  Segment().LastActivity = static_cast<float>(engine_.Tick());
  CloseData();
  WS1().Close();
  Segment().Fold();
  const std::uint32_t number = WS1().Number();
  co_await engine_.Tasks().Yield();
  if (!engine_.StillCurrent()) co_return;
  if (Record().Paused || WS1().Number() != number) co_return;
  WS1().Connect(Record().Host, Record().Port);
}

Task<> FtpSegment::SayError() {
  const auto hold = engine_.Hold();
  BoxRequest request{"Error in FTP !", kProgramName, kOkOnly};
  (void)co_await engine_.TheProgram().boxes.Ask(&engine_, std::move(request));
}

}  // namespace pellora
