#include "mainwin/MainWindow.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Addresses.h"
#include "core/Capture.h"
#include "core/Version.h"
#include "options/Options.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Machine.h"
#include "ports/Platform.h"
#include "ports/Shell.h"
#include "ui/MediaSurface.h"

namespace pellora {

namespace {
constexpr std::uint32_t kTickMilliseconds = 500;
constexpr std::uint32_t kSaveMilliseconds = 5000;
constexpr std::uint32_t kIdleTimerMilliseconds = 30000;
constexpr std::uint32_t kPreviewTimerMilliseconds = 500;
constexpr int kToolbarHint = 412;

// A menu entry that runs an action, and the toolbar button that clicks it.
struct Command {
  MainWindow::Action action;
  Menu MainWindow::*entry;
  std::string_view key;  // of the button; empty: there is none
};

constexpr std::array<Command, 12> kCommands{{
    {MainWindow::kAdd, &MainWindow::mAddurl, "AddURL"},
    {MainWindow::kDelete, &MainWindow::mDeleteurl, "RemoveURL"},
    {MainWindow::kResetList, &MainWindow::mResetlist, "ResetList"},
    {MainWindow::kOptions, &MainWindow::mProperties, "Options"},
    {MainWindow::kPause, &MainWindow::mPausedl, "PauseDownload"},
    {MainWindow::kPauseAll, &MainWindow::mPauseall, "PauseAll"},
    {MainWindow::kResumeAll, &MainWindow::mResumeall, "ResumeDownloads"},
    {MainWindow::kQuit, &MainWindow::mExit, "Quit"},
    {MainWindow::kBrowser, nullptr, "Browser"},
    // The popup of ListView1.
    {MainWindow::kDelete, &MainWindow::delete_, ""},
    {MainWindow::kPause, &MainWindow::stopdl, ""},
    {MainWindow::kPauseAll, &MainWindow::stopall, ""},
}};

QueueMove QueueMoveOf(RowMove move) {
  switch (move) {
    case RowMove::First:
      return QueueMove::First;
    case RowMove::Up:
      return QueueMove::Up;
    case RowMove::Down:
      return QueueMove::Down;
    default:
      return QueueMove::Last;
  }
}

}  // namespace

MainWindow::MainWindow(Program& program)
    : Window(program.platform, "MainWindow", kProgramName),
      form1(std::make_shared<Form1>(program)),
      wantDown(std::make_shared<WantDown>(program)),
      optionsWindow(std::make_shared<options>(program)),
      askLine(std::make_shared<AskLine>(program)),
      addList(std::make_shared<AddList>(program)),
      program_(program),
      timerC_(program.platform, kTickMilliseconds),
      timer5_(program.platform, kSaveMilliseconds),
      timer1_(program.platform, kIdleTimerMilliseconds),
      preview_(program.platform, kPreviewTimerMilliseconds),
      stayAwake_(program),
      notices_(program) {
  Width = 800;
  Height = 600;
  // The updater is a separate program, and may be missing.
  Skip([&] {
    platform_.shell.Start(platform_.machine.ProgramFolder() + "/UpdateApp",
                          {"Pellora", "2", kFullVersionText, kUpdateServer, "false"});
  });

  for (int i = 0; i < Command1.Count(); ++i) Command1(i).Visible = false;
  sdw.Checked = true;
  Details.Visible = false;
  Legend(0).Image = "stop";
  Legend(1).Image = "down";
  Legend(2).Image = "shed";

  ConnectEvents();
  ConnectArranging();
  ConnectPreview();
  ConnectVersionCheck();
  ConnectHints();
}

void MainWindow::ConnectEvents() {
  sdb.OnClick = [this] { ShowBasket(!sdb.Checked); };
  Command5.OnClick = [this] { ShowBasket(true); };
  sdw.OnClick = [this] {
    program_.ShowTransferWindow = !program_.ShowTransferWindow;
    FollowShowTransferWindow();
  };
  homepage.OnClick = [this] { platform_.shell.OpenUrl(kHomePage); };
  Label2.OnDoubleClick = [this] { platform_.shell.OpenUrl(kHomePage); };
  about.OnClick = [this] { platform_.tasks.Spawn(About()); };

  for (const Command& command : kCommands) {
    if (command.entry) (this->*command.entry).OnClick = [this, action = command.action] { RunAction(action); };
  }
  Toolbar1.OnButtonClick = [this](const std::string& key) { RunToolbarKey(key); };
  for (int i = 0; i < Command1.Count(); ++i) {
    Command1(i).OnClick = [this, i] { RunAction(i); };
  }

  ListView1.OnClick = [this] { SelectCurrent(); };
  ListView1.OnRightClick = [this] { PreparePopup(); };
  ListView1.OnDoubleClick = [this] { OpenOrRestart(ListView1); };
  ListView1.OnDeleteKey = [this] { RunAction(kDelete); };
  opene.OnClick = [this] { OpenOrRestart(ListView1); };
  resumed.OnClick = [this] { OpenOrRestart(ListView1); };
  shedulded.OnClick = [this] { ToggleScheduled(); };
  lookinside.OnClick = [this] { LookInside(); };
  changeaddress.OnClick = [this] { platform_.tasks.Spawn(ChangeAddress()); };
  queuefirst.OnClick = [this] { MoveInQueue(QueueMove::First); };
  queueup.OnClick = [this] { MoveInQueue(QueueMove::Up); };
  queuedown.OnClick = [this] { MoveInQueue(QueueMove::Down); };
  queuelast.OnClick = [this] { MoveInQueue(QueueMove::Last); };
  ListView1.OnMoveKey = [this](RowMove move) { MoveInQueue(QueueMoveOf(move)); };
  speedlimit.OnClick = [this] { platform_.tasks.Spawn(AskSpeedLimit()); };

  ListView2.OnClick = [this] { SelectFinished(); };
  ListView2.OnDoubleClick = [this] {
    previewCancelled_ = true;
    OpenOrRestart(ListView2);
  };
  ListView2.OnDeleteKey = [this] { ClearSelected(); };
  ListView2.OnRightClick = [this] { PrepareFinishedPopup(); };
  openfile2.OnClick = [this] { OpenOrRestart(ListView2); };
  cleardown2.OnClick = [this] { ClearSelected(); };
  clearall.OnClick = [this] { platform_.tasks.Spawn(ClearAll()); };

  Command4.OnClick = [this] {
    showSidePane_ = !showSidePane_;
    Resize();
  };

  timerC_.OnTimer = [this] { Tick(); };
  timer5_.OnTimer = [this] { SaveTick(); };
}

void MainWindow::RunToolbarKey(std::string_view key) {
  for (const Command& command : kCommands) {
    if (command.key.empty() || command.key != key) continue;
    if (!command.entry || (this->*command.entry).Enabled) RunAction(command.action);
  }
}

void MainWindow::ConnectHints() {
  const auto hint = [this](Control& control, const char* text) {
    control.OnMouseMove = [this, text] { Status(text); };
  };
  hint(ListView1, "Double click on file to start download or see download details.");
  hint(ListView2, "Double click to open the file");
  hint(Command2, "Play the selected file.");
  hint(Command3, "Stop the playback of the media file");
  hint(Picture3, "Preview window, click on a media file to preview it.");
  hint(Slider1, "Change the volume of the playback.");
  hint(Label2, "Go on the site of Pellora");
  Toolbar1.OnMouseMove = [this] { Status(program_.Text(kToolbarHint)); };  // one hint for all buttons
  Picture4.OnMouseMove = [this] { OnMouseMove(); };
}

void MainWindow::OnLoad() {
  if (!program_.headless) Show();
  if (program_.catcher) program_.catcher->LoadWindow();
  form1->Load();
  FollowShowTransferWindow();
  ShowVersion();
  showSidePane_ = false;
  Resize();
}

// Closing the window leaves the program running in the background.
void MainWindow::OnQueryUnload(bool& cancel, UnloadMode mode) {
  if (mode == UnloadMode::UserClosed) {
    cancel = true;
    Hide();
    return;
  }
  program_.saveAndQuit();
}

void MainWindow::OnMouseMove() {
  Label7.ForeColour = kLinkColour;
  Label7.Underline = false;
  ShowVersion();
}

void MainWindow::ShowVersion() { Status(std::string("Pellora v") + kVersionText); }

void MainWindow::ShowBasket(bool shown) {
  sdb.Checked = shown;  // first, since the basket is slow to show the first time
  if (program_.basket) program_.basket->SetShown(shown);
}

void MainWindow::StartTimers() {
  notices_.Watch();  // knows what was listed before
  timerC_.SetEnabled(true);
  timer5_.SetEnabled(true);
  timer1_.SetEnabled(true);
  preview_.SetEnabled(true);
}

void MainWindow::StopTimers() {
  stayAwake_.End();
  notices_.End();
  timerC_.SetEnabled(false);
  timer5_.SetEnabled(false);
  timer1_.SetEnabled(false);
  preview_.SetEnabled(false);
}

Task<> MainWindow::About() {
  const auto hold = Hold();
  const std::string text = std::string(kProgramName) + "\nVersion : " + kVersionText;
  if (program_.boxes.IsOpen(this, text)) co_return;
  BoxRequest request{text, kProgramName, kInformation};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

}  // namespace pellora
