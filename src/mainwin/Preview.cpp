// Preview: the side pane. A click on a finished file fills the information pane and, half a second later,
// shows the file's first picture; Command2, Command3 and Slider1 play it.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/EngineChoice.h"
#include "lang/Format.h"
#include "mainwin/MainWindow.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

// Extensions of files that are rendered.
constexpr std::array<std::string_view, 15> kAccepted{"AVI", "MPG", "JPG", "BMP", "MP3", "WAV", "OGG", "WMV",
                                                     "WMA", "PNG", "TGA", "MP2", "MP1", "MID", "RMI"};
// Last three characters of paths for which Image2 is shown.
constexpr std::array<std::string_view, 4> kAudio{"MP3", "OGG", "WMA", "WAV"};

// A second click within this time opens the file instead.
constexpr std::int32_t kDoubleClickMilliseconds = 500;

constexpr int kFullVolume = 100;

constexpr const char* kNoPreview = "Preview not available.";
constexpr int kTextStatus = 205;

template <class Names>
bool Holds(const Names& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The last dot of the whole path counts. A path without a dot is tried.
bool IsAccepted(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string::npos || Holds(kAccepted, ToUpper(std::string_view(path).substr(dot + 1)));
}

bool IsAudio(const std::string& path) {
  return path.size() >= 3 && Holds(kAudio, ToUpper(std::string_view(path).substr(path.size() - 3)));
}

// Bytes per second over the whole transfer; 0 if it took no time.
std::int64_t AverageSpeed(std::int64_t size, float seconds) {
  const auto speed = static_cast<double>(size) / static_cast<double>(seconds);
  const auto most = static_cast<double>(std::numeric_limits<std::int32_t>::max());
  return std::isfinite(speed) && speed >= 0 && speed <= most ? static_cast<std::int64_t>(speed) : 0;
}

}  // namespace

void MainWindow::ConnectPreview() {
  Image2.Image = "sound";
  Image2.Visible = false;
  Slider1.Value = kFullVolume;
  // Both fail if the graph is empty or its decoder gone.
  Command2.OnClick = [this] {
    if (mediaControl_) Skip([this] { mediaControl_->Run(); });
  };
  Command3.OnClick = [this] {
    if (mediaControl_) Skip([this] { mediaControl_->Stop(); });
  };
  // Moving the slider also starts playback.
  Slider1.OnChange = [this] {
    SetVolume();
    if (mediaControl_) Skip([this] { mediaControl_->Run(); });
  };
  TabStrip1.OnClick = [this] { ShowTab(); };
}

// The preview stays visible behind the information pane.
void MainWindow::ShowTab() {
  if (TabStrip1.Selected == 0) {
    Picture1.Visible = showSidePane_;
    Details.Visible = false;
    return;
  }
  if (mediaControl_) Skip([this] { mediaControl_->Stop(); });
  preview_.SetEnabled(false);
  Details.Visible = showSidePane_;
}

// Maps 0 to 100 to -20 dB to full volume.
void MainWindow::SetVolume() {
  if (mediaControl_) Skip([this] { mediaControl_->SetVolume(Slider1.Value * 20 - 2000); });
}

void MainWindow::SelectFinished() {
  const std::optional<Pick> pick = Selected(ListView2);
  if (!pick || !program_.Download(pick->index).Finished || !Picture1.Visible) return;
  platform_.tasks.Spawn(PreviewFile(InfoOf(pick->index)));
}

// A web engine's record has more to say than its row: the whole reason, and the address.
void MainWindow::SelectCurrent() {
  const std::optional<Pick> pick = Selected(ListView1);
  if (!pick || !IsWebRecord(program_, pick->index)) return;
  EndPreview();
  FileInfo info = InfoOf(pick->index);
  const std::string reason = ReasonOf(program_, pick->index);
  if (!reason.empty()) info.lines.at(kSpeedLine) = reason;
  ShowInfo(info);
  if (!reason.empty()) InfoCaption(kSpeedLine).Caption = program_.Text(kTextStatus);
}

void MainWindow::EndPreview() {
  ++previewGeneration_;
  LeavePreviewEmpty();
  Image2.Visible = false;
  Label5.Caption = kNoPreview;
}

// `file` was read from the record at the click: after the wait its slot may hold another one. Only the last click
// continues.
Task<> MainWindow::PreviewFile(FileInfo file) {
  const auto hold = Hold();
  const std::uint32_t start = platform_.clock.TickCount();
  const std::uint64_t generation = ++previewGeneration_;
  rendering_.reset();
  previewCancelled_ = false;
  Image2.Visible = false;
  if (!Skip([&] { (void)platform_.files.LengthOf(file.path); })) {
    LeavePreviewEmpty();
    Label5.Caption = "File Not Found.";
    ShowInfo(file);
    co_return;
  }
  Label5.Caption = "Preparing preview...";
  std::function<bool()> over = [this, start, generation] {
    return generation != previewGeneration_ ||
           TicksSince(platform_.clock.TickCount(), start) > kDoubleClickMilliseconds;
  };
  co_await platform_.tasks.Until(std::move(over), kDoubleClickMilliseconds + 1);
  if (generation != previewGeneration_) co_return;

  const bool cancelled = std::exchange(previewCancelled_, false);
  ShowInfo(file);
  if (!cancelled) {
    Image2.Visible = IsAudio(file.path);
    co_await LoadMedia(file.path);
    if (generation != previewGeneration_) co_return;
  }
  // A picture covers it.
  Label5.Caption = kNoPreview;
}

Task<> MainWindow::LoadMedia(std::string path) {
  const auto hold = Hold();
  LeavePreviewEmpty();
  if (!IsAccepted(path) || !BeginRendering(path)) co_return;
  const std::shared_ptr<std::optional<bool>> outcome = rendering_;
  std::function<bool()> over = [this, outcome] { return outcome->has_value() || rendering_ != outcome; };
  co_await platform_.tasks.UntilEvent(std::move(over));
  if (rendering_ != outcome || !outcome->value()) co_return;
  Skip([this] { mediaControl_->Run(); });
  Skip([this] { mediaControl_->StopWhenReady(); });
}

// Destroying the old graph stops it.
void MainWindow::LeavePreviewEmpty() {
  rendering_.reset();
  mediaControl_.reset();
  mediaControl_ = platform_.media.NewGraph();
}

// False if it is refused at once. A new graph is at full volume whatever the slider shows, so the volume is set with
// the outcome; not after the wait, since the graph of a superseded click may stay and be played.
bool MainWindow::BeginRendering(const std::string& path) {
  mediaControl_->SetOwner(Picture3);  // first, so that it is rendered in the surface's size
  const auto outcome = std::make_shared<std::optional<bool>>();
  rendering_ = outcome;
  return Skip([&] {
    mediaControl_->RenderFile(path, [this, outcome](bool rendered) {
      if (rendered) SetVolume();
      *outcome = rendered;
    });
  });
}

MainWindow::FileInfo MainWindow::InfoOf(std::int16_t index) {
  const DownloadRecord& record = program_.Download(index);
  const std::string separator = platform_.locale.DecimalSeparator();
  const std::int64_t size = SizeOf(index);
  const std::int64_t speed = AverageSpeed(size, record.ElapsedSeconds);
  FileInfo file;
  file.path = record.SavePath;
  file.lines = {
      record.FileName, FormatSize(size, program_.LangStrings, separator),
      record.URL,      record.SavePath,
      DateText(index), speed == 0 ? std::string() : FormatSize(speed, program_.LangStrings, separator) + "/s"};
  return file;
}

void MainWindow::ShowInfo(const FileInfo& file) {
  InfoCaption(kSpeedLine).Caption = kSpeedCaption;
  for (int i = 0; i < Info.Count(); ++i) Info(i).Caption = file.lines.at(static_cast<std::size_t>(i));
}

}  // namespace pellora
