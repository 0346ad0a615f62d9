#include "capture/DownloadBasket.h"

#include <algorithm>
#include <utility>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "capture/PelloraCatcher.h"
#include "lang/Language.h"
#include "mainwin/MainWindow.h"
#include "ports/Platform.h"
#include "ui/Views.h"

namespace pellora {

namespace {

constexpr double kStartAbove = 500.0 / 15.0;  // 500 twips above the middle of the screen, in pixels

double Within(double place, double limit) {
  if (place < 0) place = 0;
  return std::min(place, limit);
}

}  // namespace

DownloadBasket::DownloadBasket(Program& program, std::shared_ptr<MainWindow> main,
                               std::shared_ptr<PelloraCatcher> catcher)
    : Window(program.platform, "DownloadBasket", "Form4"),
      program_(program),
      main_(std::move(main)),
      catcher_(std::move(catcher)) {
  Width = kSide;
  Height = kSide;
}

void DownloadBasket::OnLoad() {
  ApplyLanguage(*this, program_);
  platform_.tasks.Spawn(ShowOnTop());
}

// Stays hidden if it is hidden meanwhile.
Task<> DownloadBasket::ShowOnTop() {
  const auto hold = Hold();
  co_await platform_.tasks.Yield();
  if (shown_) Show();
  co_await platform_.tasks.Yield();
  TopMost = true;
  const ScreenSize screen = platform_.windows.Screen();
  Left = screen.width / 2.0 - Width;
  Top = screen.height / 2.0 - Height - kStartAbove;
}

void DownloadBasket::SetShown(bool shown) {
  shown_ = shown;
  Load();
  if (shown) {
    MoveTo(Left, Top);  // the screen may have become smaller meanwhile
    Show();
  } else {
    Hide();
  }
}

void DownloadBasket::MoveTo(double left, double top) {
  const ScreenSize screen = platform_.windows.Screen();
  Left = Within(left, screen.width - Width);
  Top = Within(top, screen.height - Height);
}

// Closing it by the window manager does what the menu does.
void DownloadBasket::OnQueryUnload(bool& cancel, UnloadMode mode) {
  if (mode != UnloadMode::UserClosed) return;
  cancel = true;
  main_->ShowBasket(false);
}

void DownloadBasket::MouseDown(int button, float x, float y) {
  if (button != kLeftButton) return;
  DragStartX = x;
  DragStartY = y;
}

void DownloadBasket::MouseMove(int button, float x, float y) {
  if (button != kLeftButton) return;
  const auto hold = Hold();
  platform_.gate.Deliver(
      [&] { MoveTo(Left - static_cast<double>(DragStartX - x), Top - static_cast<double>(DragStartY - y)); });
}

void DownloadBasket::MouseUp(int button, float, float) {
  if (button != kRightButton) return;
  const auto hold = Hold();
  platform_.gate.Deliver([this] { catcher_->ShowPopupOfBasket(); });
}

// Never starts a dropped link at once.
int DownloadBasket::OLEDragDrop(const DataObject& data, int effect) {
  const auto hold = Hold();
  platform_.gate.Deliver([&] {
    if (main_->TakeDropped(data, true, this)) effect = kDropCopy;
  });
  return effect;
}

int DownloadBasket::OLEDragOver(const DataObject& data, int effect) {
  (void)data.GetFormat(kTextFormat);
  return effect;
}

}  // namespace pellora
