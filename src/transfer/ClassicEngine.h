// ClassicEngine: fetches over http and ftp. Every step is a handler of a socket event or a timer, and the record is
// updated in place.
//
// HttpProbe and FtpProbe hold the first conversation, on WS; FtpSegment is one segment's login over ftp. The rest is
// spread over files by subject: ClassicEngine.cpp (life, pause and resume), Segments.cpp (plan, connect, data),
// OutputFile.cpp (the join itself in JoinParts.cpp), TimeOuts.cpp, Figures.cpp. Socket index i serves segment i+1.
//
// Whatever event or wait finds that the engine is not Current any more retires it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "async/Timer.h"
#include "async/Winsock.h"
#include "core/Engine.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "transfer/FtpProbe.h"
#include "transfer/FtpSegment.h"
#include "transfer/HttpProbe.h"
#include "transfer/SpeedBrake.h"

namespace pellora {

class ClassicEngine final : public Engine, public std::enable_shared_from_this<ClassicEngine> {
 public:
  explicit ClassicEngine(Program& program);
  ~ClassicEngine() override;

  // Engine
  void Begin(const Slot& slot, EngineView& view) override;
  void DropView() override { view_ = nullptr; }
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override;
  Task<> ConnectFromViewer() override;
  Task<> ResumeDownload() override;
  void PauseDownload() override;
  void Retire() override;
  bool Current() const override { return !retired_ && slot_.Held(); }
  bool StillCurrent() override;
  std::uint32_t SilentFor() const override;
  int LaneCount() const override { return slot_.Record().SegmentCount; }
  Lane LaneAt(int lane, LaneForm form) const override;
  Totals Figures() override;

  // For the probes and the segments.
  std::shared_ptr<ClassicEngine> Hold() { return shared_from_this(); }
  Program& TheProgram() { return program_; }
  std::int16_t Index() const { return slot_.Index(); }
  DownloadRecord& Record() { return slot_.Record(); }
  SegmentRecord& Segment(int index) { return Record().Segment(index + 1); }  // of that socket
  Winsock& WS1(int index) { return *ws1_.at(static_cast<std::size_t>(index)); }
  const std::string& FtpDirectory() const { return ftpProbe_.RemotePath(); }  // empty until the probe has found it
  const std::string& Text(int number) const { return program_.Text(number); }
  std::uint32_t Tick() const;
  TaskLoop& Tasks();
  void ShowState(const std::string& text);
  void RefreshList(std::int16_t row);
  Task<int> Ask(BoxRequest request);  // while the box is open nothing else starts the transfer
  void EmptySlot() { slot_.Empty(); }
  void ContinueWithoutWindow();
  void FitSizeToPlan();
  Task<> RefuseBadName();
  void EndRecord(const RecordEnd& end);  // releases it, and retires
  // The same where boxes are seen. Else the record stays as failed, and the list says why.
  void Refuse(const RecordEnd& end, std::string reason);
  void KeepAsFailed(std::string reason);
  void CountReceived(std::uint32_t tick, std::size_t bytes);  // first thing of whatever takes bytes from a socket
  bool Account(std::uint32_t tick, std::int64_t bytes);       // True: a drawing was due, and is done
  SpeedBrake& Brake() { return brake_; }
  void PartFailed(const Failure& failure);
  void SayUnknownSize();
  void CompleteIfAllEnded();
  FtpSegment* NextToRelease();  // of those that wait for a login of an ftp server; null: none does

 private:
  using SocketArray = std::array<std::unique_ptr<Winsock>, kMaxLanes>;

  // Life
  void ConnectHandlers();
  void CloseEverything();
  void DoRefresh();
  void ShowCommand3(Command3Means means);
  void EnableCommand3(bool enabled);
  bool ProbePending();  // a probe runs or its question is open
  Task<> StartProbeAgain();
  Task<> MainConnected();
  void MainDataArrived(std::size_t bytes);

  // Segments
  void PlanSegmentsOfRecord();
  void DropUnusablePlan();
  std::string PartNameBase(int count);
  void ConnectSegment(int i, bool keptPlan);
  Task<> SegmentConnected(int index);
  void SegmentDataArrived(int index, std::size_t bytes);
  void OpenPart(int index, const SegmentRecord& segment, std::uint32_t tick);
  bool WritePart(int index, SegmentRecord& segment, std::string_view data, std::uint32_t tick);
  void SegmentCompleted(int index, SegmentRecord& segment);
  bool AllSegmentsComplete();
  Task<> Complete();
  Task<> AskUnknownSize();
  void PauseForUnknownSize();
  void SetReading(bool reading);
  void UpdateFigures(std::uint32_t tick, std::int64_t bytes);

  static Task<> SayFailure(Program* program, std::string name, std::string reason);

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

  FtpSegment& Ftp(int index) { return *ftp_.at(static_cast<std::size_t>(index)); }

  Program& program_;
  Slot slot_;
  EngineView* view_ = nullptr;
  Winsock WS;
  SocketArray ws1_;
  std::array<std::unique_ptr<FtpSegment>, kMaxLanes> ftp_;
  HttpProbe httpProbe_;
  FtpProbe ftpProbe_;
  Timer TimeOut;
  Timer SegTimeOut;
  SpeedBrake brake_;

  bool retired_ = false;
  bool questionOpen_ = false;
  bool building_ = false;                // from the end of the last segment to the end of the join
  std::uint32_t connectGeneration_ = 0;  // raised whenever a run of ConnectSegmented must end
  std::uint32_t activeGeneration_ = 0;   // the latest run while it continues, else 0
  std::uint32_t joinRun_ = 0;            // raised whenever a join must not continue
  std::string joinState_;                // shown by every refresh while a join runs or has stopped; else empty
  double elapsedSeconds_ = 0;            // ElapsedSeconds without the rounding of the record's float

  // One more than sockets: a pause closes them by segment numbers.
  std::array<std::unique_ptr<File>, kMaxLanes + 1> segmentFiles_;
  std::array<std::uint32_t, kMaxLanes + 1> segmentReopenTick_{};
  std::uint32_t lastRefreshTick_ = 0;  // 0: never
  std::uint32_t lastByteTick_ = 0;     // or of the start or the resume, if that was later
};

}  // namespace pellora
