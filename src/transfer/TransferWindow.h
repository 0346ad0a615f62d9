// TransferWindow: one download, from the probe to the finished file. The window is the engine: every
// step is a handler of a socket event, a timer or a button, and the record is updated in place.
//
// The class is spread over files by subject: TransferWindow.cpp (life and buttons), HttpProbe.cpp,
// Segments.cpp (plan, connect, data), FtpProbe.cpp and FtpSegments.cpp, OutputFile.cpp (the join itself
// in JoinParts.cpp), TimeOuts.cpp, Progress.cpp. Socket index i serves segment i+1.
//
// It remembers the serial of its slot. Once the slot was filled anew, deleted or reset, or holds another
// window, this one is not Current any more: whatever event or wait finds that out retires the window,
// which closes what it has open and writes nothing.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "async/Timer.h"
#include "async/Winsock.h"
#include "core/Program.h"
#include "core/Transfer.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "transfer/FtpReplies.h"
#include "transfer/ReplyHeaders.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

inline constexpr int kMaxSegmentSockets = 8;

// A forced refresh of the lists: not subject to their limit.
inline constexpr std::int16_t kForced = 1;

class TransferWindow final : public Window, public Transfer {
 public:
  explicit TransferWindow(Program& program);
  ~TransferWindow() override;

  // Transfer
  void SetRecordIndex(std::int16_t index) override;
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override;
  Task<> ConnectFromViewer() override;
  void PauseDownload() override;
  Task<> ResumeDownload() override;
  std::uint32_t SilentFor() const override;
  void ShowWindow() override;
  void HideWindow() override;
  void UnloadWindow() override { Retire(); }

  void RefreshList(std::int16_t row);  // 0: all rows, else the row of that segment
  void DoRefresh();                    // the totals
  void SetData(int, int, int, int) {}  // kept for the interface; does nothing

  std::int16_t RecordIndex = 0;
  std::int16_t FinishedMode = 0;  // 1: Command1 and Command3 open the file and its folder
  bool DisplayIdle = false;       // minimised: the labels need no drawing
  bool DetailsHidden = false;

  // Controls
  Label Label2{this, "Label2", "Downloading file :", 500};
  Label Label3{this, "Label3"};  // the URL
  Label state{this, "state", "State : Idle"};
  Label Speed{this, "Speed"};
  Label Est{this, "Est"};
  Label Ela{this, "Ela"};
  Label Label4{this, "Label4"};  // received
  Label Label1{this, "Label1"};  // total
  Label Label6{this, "Label6", "Estimated time :", 670};
  Label Label5{this, "Label5", "Time Elapsed :", 669};
  ProgressBar PB{this, "PB"};
  CommandButton Command1{this, "Command1", "Start Download", 501};  // inert until "Open File"
  CommandButton Command2{this, "Command2", "Cancel", 503};
  CommandButton Command3{this, "Command3", "Pause Download", 502};  // pause and resume; then "Open Folder"
  CommandButton Command4{this, "Command4", "Hide Details", 515};
  Frame Frame1{this, "Frame1", "Segmented Downloads :"};
  Frame Frame2{this, "Frame2"};
  ControlArray<Label> Label7{this, "Label7", {{"Segment #", 510}, {"State", 511}, {"Progress ", 512}, {"Size", 513}}};
  ControlArray<Shape> Shape1{this, "Shape1", kMaxSegmentSockets};
  ControlArray<Shape> Prog{this, "Prog", kMaxSegmentSockets};
  ControlArray<Label> Num{this, "Num", kMaxSegmentSockets};
  ControlArray<Label> StateS{this, "StateS", kMaxSegmentSockets};
  ControlArray<Label> Size{this, "Size", kMaxSegmentSockets};
  ListBox List1{this, "List1"};
  Line Line1{this, "Line1"};
  Line Line2{this, "Line2"};
  Line Line3{this, "Line3"};

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;
  void OnResize() override { DoRefresh(); }
  void OnActivate() override;
  void OnDeactivate() override;

 private:
  using SocketArray = std::array<std::unique_ptr<Winsock>, kMaxSegmentSockets>;

  Winsock& WS1(int index) { return *ws1_.at(static_cast<std::size_t>(index)); }
  Winsock& FTP(int index) { return *ftp_.at(static_cast<std::size_t>(index)); }
  DownloadRecord& Record() { return program_.Download(RecordIndex); }
  const std::string& Text(int number) const { return program_.Text(number); }
  std::uint32_t Tick() const;
  TaskLoop& Tasks();

  // Life
  void ConnectHandlers();
  Task<> EndIfDropped();
  bool Current();
  // False if the window is not Current; it is retired then.
  bool StillCurrent();
  void Retire();  // for good: closes everything, unloads
  void CloseEverything();
  void EmptySlot();  // only if it holds this window
  void Cancel();
  void PauseOrResume();
  void OpenFile();
  void OpenFolder();
  void ToggleDetails();
  bool ProbePending();  // a probe or its question stands
  Task<> StartProbeAgain();

  // HTTP probe
  Task<> MainConnected();
  void MainDataArrived(std::size_t bytes);
  Task<> JudgeReply(ReplyHeaders reply);
  Task<> FollowRedirect(std::string location);
  // A refusal by the server: says it, drops the record. False if the record changed hands meanwhile.
  Task<bool> RefuseWithBox(std::string text);
  Task<> AskAboutWebPage();
  Task<> RefuseBadName();
  void DropRecord();  // for a reply that is no file
  void ContinueWithoutWindow();

  // Segments
  void PlanSegmentsOfRecord();
  void FitSizeToPlan();
  void DropUnusablePlan();
  std::string PartNameBase(int count);
  void ConnectSegment(int i, bool keptPlan);
  Task<> SegmentConnected(int index);
  void SegmentDataArrived(int index, std::size_t bytes);
  void OpenPart(int index, const SegmentRecord& segment, std::uint32_t tick);
  bool WritePart(int index, SegmentRecord& segment, std::string_view data, std::uint32_t tick);
  void PartFailed(const Failure& failure);
  void SegmentCompleted(int index, SegmentRecord& segment);
  bool AllSegmentsComplete();
  Task<> Complete();
  Task<> SayUnknownSize();
  void SetReading(bool reading);

  // Progress
  void CountReceived(std::uint32_t tick, std::size_t bytes);  // first thing of whatever takes bytes from a socket
  bool Account(std::uint32_t tick, std::int64_t bytes);       // True: a drawing was due, and is done
  void UpdateFigures(std::uint32_t tick, std::int64_t bytes);

  // Output file
  Task<bool> BuildOutputFile(std::uint32_t run);  // False: it failed, stopped, or was handed over
  bool JoinIsCurrent(std::uint32_t run);
  void PrepareOutput();
  bool OutputBuilt();  // False: the file was handed over as an update
  void BuildFailed(const std::string& reason);
  void StopJoin(const std::string& reason);
  void ShowJoinState(const std::string& text);

  // Time-outs
  Task<> AskAboutTimeOut();
  Task<> StallTick();
  bool Stalled(int i, std::uint32_t number);

  // FTP
  enum class FtpProbePhase { Idle, Connecting, LoggingIn, FileInfo, SizeAsked };
  void FtpProbeLines(const std::string& text);
  bool FtpProbeLine(std::string_view line);  // False: stop reading lines
  void FtpEndProbe(const char* restState);
  Task<> FtpConnectSegments();
  Task<> FtpProbeFailed(std::string text);
  std::string FtpUserCommand();
  std::string FtpPassCommand();
  void SendFtpCommand(int entry, const std::string& command);
  Task<> FTPSystem(int index);
  void FtpSegmentReply(int index, std::string_view code);
  Task<> FtpLoggedIn(int index);
  bool FtpDataStands(int index);  // or is being made
  Task<> FtpPassive(int index, PassiveAddress address);
  void FtpRetrieve(int index);
  void FtpDataConnected();
  void FtpDataArrived(int index, std::size_t bytes);
  bool FtpWritePart(SegmentRecord& segment, std::string_view data);
  Task<> FtpSegmentCompleted(int index);
  int FtpNextToRelease();
  Task<> FtpWakeRefused(int i);
  void FtpDataFailed(int index);
  void FtpTryData(int index);
  void FtpRetryData(int index);
  Task<> SayFtpError();
  void FtpCloseData(int index);
  void FtpRefused(int index);
  void FtpReleaseAgain(int index);
  void FtpForget(int index);

  Program& program_;
  Winsock WS;
  SocketArray ws1_;
  SocketArray ftp_;
  Timer TimeOut;
  Timer SegTimeOut;

  std::uint32_t serial_ = 0;
  bool retired_ = false;
  bool ghost_ = false;  // unloaded after a server error, yet running on to its segments
  bool questionStands_ = false;
  bool building_ = false;                // from the end of the last segment to the end of the join
  std::uint32_t connectGeneration_ = 0;  // raised whenever a run of ConnectSegmented must not go on
  std::uint32_t activeGeneration_ = 0;   // the latest run while it goes, else 0
  std::uint32_t joinRun_ = 0;            // raised whenever a join must not continue
  std::string joinState_;                // shown by every refresh while a join runs or has stopped; else empty
  double elapsedSeconds_ = 0;            // ElapsedSeconds without the rounding of the record's float

  std::array<std::unique_ptr<File>, kMaxSegmentSockets + 1> segmentFiles_;
  std::array<std::uint32_t, kMaxSegmentSockets + 1> segmentReopenTick_{};
  std::uint32_t lastRefreshTick_ = 0;  // 0: never
  std::uint32_t lastByteTick_ = 0;     // or of the start or the resume, if that was later

  // FTP
  std::array<bool, kMaxSegmentSockets + 1> ftpUserSent_{};     // 8: the probe's
  std::array<bool, kMaxSegmentSockets> ftpLoginDone_{};        // PASV group sent or under way on this connection
  std::array<bool, kMaxSegmentSockets> ftpPassiveUnderWay_{};  // a 227 reply is being acted on
  std::array<bool, kMaxSegmentSockets> ftpRetrieveDue_{};      // and a 350 reply has come meanwhile
  std::array<int, kMaxSegmentSockets + 1> ftpCommands_{};      // sent on this connection; 8: the probe's
  std::array<std::unique_ptr<Alarm>, kMaxSegmentSockets> ftpRetry_;
  std::array<std::uint32_t, kMaxSegmentSockets> ftpDataTried_{};  // tick of the latest try of this login; 0: none
  // Connections made since a completed sibling released this segment from its wait; 0 once it is let in.
  std::array<int, kMaxSegmentSockets> ftpReleases_{};
  std::array<std::unique_ptr<Alarm>, kMaxSegmentSockets> ftpReleaseAgain_;
  std::string ftpRemotePath_;
  std::string ftpProbeHost_;
  std::int32_t ftpProbePort_ = 0;
  FtpProbePhase ftpPhase_ = FtpProbePhase::Idle;
};

}  // namespace pellora
