#include "transferwin/TransferWindow.h"

#include <utility>

#include "async/TaskLoop.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "lang/Language.h"
#include "ports/Failure.h"
#include "ports/Shell.h"

namespace pellora {

namespace {

constexpr int kTwipsPerPixel = 15;
constexpr int kLongFormHeight = 5000 / kTwipsPerPixel;
constexpr int kShortFormHeight = 2500 / kTwipsPerPixel;
constexpr int kTextHideDetails = 515;
constexpr int kTextShowDetails = 516;

}  // namespace

TransferWindow::TransferWindow(Program& program, std::shared_ptr<Engine> engine)
    : Window(program.platform, "TransferWindow", ""),
      program_(program),
      engine_(std::move(engine)),
      silence_(program.platform, SpeedHistory::kStep) {
  Height = kLongFormHeight;
  Command1.OnClick = [this] { OpenFile(); };
  Command2.OnClick = [this] { Cancel(); };
  Command3.OnClick = [this] { PauseOrResume(); };
  Command4.OnClick = [this] { ToggleDetails(); };
  ConnectCharts();
}

TransferWindow::~TransferWindow() { engine_->DropView(); }

void TransferWindow::SetRecordIndex(std::int16_t index) {
  RecordIndex = index;
  slot_ = Slot(program_, index, std::static_pointer_cast<TransferWindow>(Hold()));
  engine_->Begin(slot_, *this);
  // Until there are figures to draw; without a title the window looks like any other.
  const DownloadRecord& record = slot_.Record();
  Caption = record.FileName.empty() ? record.Host : record.FileName;
}

Task<> TransferWindow::InitConnection() {
  const auto hold = Hold();
  if (!engine_->StillCurrent()) co_return;
  // Those of the web engine are built once they are shown: there may be many that never are.
  if (ChooseEngine(program_, RecordIndex).engine != EngineName::Web) Load();
  co_await engine_->InitConnection();
}

void TransferWindow::ShowWindow() {
  if (!engineRetired_ && !program_.headless) Show();
}

// It may be hidden because another download has its slot. One that is paused, or waits for a silent server,
// has no event in which to find that out.
void TransferWindow::HideWindow() {
  Hide();
  program_.platform.tasks.Spawn(EndIfDropped());
}

Task<> TransferWindow::EndIfDropped() {
  const auto hold = Hold();
  co_await program_.platform.tasks.Yield();
  (void)engine_->StillCurrent();
}

// The engine may be able to try again; else a download that has a question is resumed by the answer.
Task<> TransferWindow::ResumeDownload() {
  const auto hold = Hold();
  co_await engine_->ResumeDownload();
  if (question_) ShowWindow();
}

void TransferWindow::ShowQuestion(EngineQuestion question) {
  EndQuestion();
  question_ = {std::move(question), Command1.Caption(), Command1.Enabled()};
  Command1.Caption = question_->asked.yes;
  Command1.Enabled = true;
  Command3.Caption = question_->asked.no;
}

void TransferWindow::EndQuestion() {
  const std::optional<OpenQuestion> ended = std::exchange(question_, {});
  if (!ended) return;
  Command1.Caption = ended->caption;
  Command1.Enabled = ended->enabled;
}

void TransferWindow::Answer(bool yes) {
  const std::function<void(bool)> answer = std::move(question_->asked.answer);
  EndQuestion();
  answer(yes);
}

void TransferWindow::OpenFile() {
  if (question_) return Answer(true);
  if (FinishedMode != 1 || !engine_->StillCurrent()) return;
  const std::string& path = slot_.Record().SavePath;
  program_.platform.shell.OpenPath(path, FolderOf(path));
}

void TransferWindow::OpenFolder() {
  const WebFigures* const figures = program_.Web(RecordIndex);
  const std::string& path = slot_.Record().SavePath;
  const std::string folder = figures != nullptr && figures->inFolder ? path : FolderOf(path);
  program_.platform.shell.OpenPath(folder, folder);
}

void TransferWindow::PauseOrResume() {
  if (question_) return Answer(false);
  if (!engine_->StillCurrent()) return;
  if (FinishedMode == 1) {
    OpenFolder();
    return;
  }
  if (slot_.Record().Finished) return;
  if (slot_.Record().Paused) {
    // The web engine's downloads keep to the limit here too.
    const bool web = program_.Web(RecordIndex) != nullptr;
    program_.platform.tasks.Spawn(web ? program_.lists->Restart(RecordIndex) : ResumeDownload());
  } else {
    PauseDownload();
  }
}

void TransferWindow::Cancel() {
  if (!engine_->StillCurrent()) return;
  Skip([this] { PauseDownload(); });
  if (program_.Web(RecordIndex) != nullptr && slot_.Record().Active) return Hide();  // its file gets its name just now
  slot_.Empty();
  engine_->Retire();
}

void TransferWindow::ToggleDetails() {
  DetailsHidden = !DetailsHidden;
  Command4.Tag = DetailsHidden ? "Show" : "Hide";
  if (program_.languageRead) Command4.Caption = program_.Text(DetailsHidden ? kTextShowDetails : kTextHideDetails);
  Height = DetailsHidden ? kShortFormHeight : kLongFormHeight;
  DisplayIdle = DetailsHidden;
}

void TransferWindow::ShowCommand3(Command3Means means) {
  EndQuestion();
  Command3.Caption = means == Command3Means::Pause ? kPauseCaption : "Resume Download";
}

void TransferWindow::OfferFile() {
  // Fixed English, in every language.
  Command1.Caption = "Open File";
  Command3.Caption = "Open Folder";
  Command1.Enabled = true;
  Command3.Enabled = true;
  if (program_.settings.CloseFinishedWindows) program_.platform.tasks.Spawn(CloseFinished());
}

// Once the engine is done with the event in which it finished.
Task<> TransferWindow::CloseFinished() {
  const auto hold = Hold();
  co_await program_.platform.tasks.Yield();
  if (FinishedMode == 1 && !question_) Cancel();
}

void TransferWindow::EngineRetired() {
  engineRetired_ = true;
  Unload();
}

void TransferWindow::OnLoad() {
  const std::string first = Command1.Caption;
  const std::string third = Command3.Caption;
  ApplyLanguage(*this, program_);
  // The engine may have changed them before the window was built.
  if (first != kStartCaption) Command1.Caption = first;
  if (third != kPauseCaption) Command3.Caption = third;
  LoadGraphSetting();
}

// Closing the window never stops a download.
void TransferWindow::OnQueryUnload(bool& cancel, UnloadMode mode) {
  if (mode != UnloadMode::UserClosed) return;
  Hide();
  cancel = true;
}

void TransferWindow::OnActivate() {
  if (State() == WindowState::Normal) DisplayIdle = false;
}

void TransferWindow::OnDeactivate() {
  if (State() == WindowState::Minimised) DisplayIdle = true;
}

}  // namespace pellora
