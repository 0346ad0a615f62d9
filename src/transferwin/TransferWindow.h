// TransferWindow: the window of one download, and its Transfer. An Engine does the work; the window draws what the
// engine says and turns clicks into its calls.
//
// Once the record has another owner, the next event or wait that notices retires the engine, which unloads the window.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "async/Timer.h"
#include "core/Engine.h"
#include "core/Transfer.h"
#include "transferwin/SpeedHistory.h"
#include "ui/Charts.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class TransferWindow final : public Window, public Transfer, private EngineView {
 public:
  TransferWindow(Program& program, std::shared_ptr<Engine> engine);
  ~TransferWindow() override;

  // Transfer
  void SetRecordIndex(std::int16_t index) override;
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override { return engine_->ConnectSegmented(); }
  Task<> ConnectFromViewer() override { return engine_->ConnectFromViewer(); }
  void PauseDownload() override { engine_->PauseDownload(); }
  Task<> ResumeDownload() override;
  std::uint32_t SilentFor() const override { return engine_->SilentFor(); }
  void SaveProgress() override { engine_->SaveProgress(); }
  bool IsProgressSaved() const override { return engine_->IsProgressSaved(); }
  void ShowWindow() override;
  void HideWindow() override;
  void UnloadWindow() override { engine_->Retire(); }

  void RefreshList(std::int16_t row) override;  // 0: all rows, else the row of that segment
  void DoRefresh() override;                    // the totals
  void SetData(int, int, int, int) {}           // kept for the interface; does nothing

  const std::shared_ptr<Engine>& engine() const { return engine_; }
  bool Asks() const { return question_.has_value(); }  // Command1 and Command3 answer

  std::int16_t RecordIndex = 0;
  std::int16_t FinishedMode = 0;  // 1: Command1 and Command3 open the file and its folder
  bool DisplayIdle = false;       // minimised: the labels need no drawing
  bool DetailsHidden = false;

  static constexpr const char* kStartCaption = "Start Download";
  static constexpr const char* kPauseCaption = "Pause Download";

  // Controls. Command1 and Command3 also answer a question.
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
  CommandButton Command1{this, "Command1", kStartCaption, 501};  // inert until "Open File"
  CommandButton Command2{this, "Command2", "Cancel", 503};
  CommandButton Command3{this, "Command3", kPauseCaption, 502};  // pause and resume; then "Open Folder"
  CommandButton Command4{this, "Command4", "Hide Details", 515};
  Frame Frame1{this, "Frame1", "Segmented Downloads :"};
  Frame Frame2{this, "Frame2"};
  ControlArray<Label> Label7{this, "Label7", {{"Segment #", 510}, {"State", 511}, {"Progress ", 512}, {"Size", 513}}};
  ControlArray<Shape> Shape1{this, "Shape1", kMaxLanes};
  ControlArray<Shape> Prog{this, "Prog", kMaxLanes};
  ControlArray<Label> Num{this, "Num", kMaxLanes};
  ControlArray<Label> StateS{this, "StateS", kMaxLanes};
  ControlArray<Label> Size{this, "Size", kMaxLanes};
  ListBox List1{this, "List1"};
  Line Line1{this, "Line1"};
  Line Line2{this, "Line2"};
  Line Line3{this, "Line3"};
  // Shown if the user asks for it in the window's popup; the map by the web engine alone.
  Menu popup{this, "popup", "popup"};
  Menu showgraph{this, "showgraph", "Graph", 858};
  SpeedChart Graph1{this, "Graph1"};
  FileMapChart Map1{this, "Map1"};

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;
  void OnResize() override { DoRefresh(); }
  void OnActivate() override;
  void OnDeactivate() override;

 private:
  // EngineView
  void ShowState(const std::string& text) override { state.Caption = text; }
  void ShowAddress(const std::string& url) override { Label3.Caption = url; }
  void ShowCommand3(Command3Means means) override;
  void ShowQuestion(EngineQuestion question) override;
  void EnableCommand3(bool enabled) override { Command3.Enabled = enabled; }
  void ShowLanes(int count) override;
  void SetFinished() override { FinishedMode = 1; }
  void OfferFile() override;
  void EngineRetired() override;

  void DrawLane(const Lane& lane, int i, double fullWidth, const std::string& decimal);
  const std::string& FileOrHost() const;
  Task<> EndIfDropped();
  Task<> CloseFinished();
  void Answer(bool yes);
  void EndQuestion();
  void Cancel();
  void PauseOrResume();
  void OpenFile();
  void OpenFolder();
  void ToggleDetails();

  // The charts
  void ConnectCharts();
  void LoadGraphSetting();
  void ToggleGraph();
  void TakeSpeed(std::int64_t received);
  void FollowSilence();
  void ShowCharts();
  void DrawGraph();
  void DrawMap(const FileMap& map);

  Program& program_;
  const std::shared_ptr<Engine> engine_;
  Slot slot_;
  struct OpenQuestion {
    EngineQuestion asked;
    std::string caption;  // of Command1 before
    bool enabled = false;
  };
  std::optional<OpenQuestion> question_;
  bool engineRetired_ = false;
  SpeedHistory speeds_;
  Timer silence_;  // while the graph is shown and the download runs: engines report only what arrives
};

}  // namespace pellora
