#include "capture/PelloraCatcher.h"

#include <algorithm>
#include <utility>

#include "async/Boxes.h"
#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "capture/TrayTip.h"
#include "core/SpeedLimit.h"
#include "core/WebTexts.h"
#include "lang/Language.h"
#include "mainwin/MainWindow.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Platform.h"

namespace pellora {

namespace {
constexpr int kCaptionNumber = 704;
constexpr const char* kOwnIcon = "program";
}  // namespace

PelloraCatcher::PelloraCatcher(Program& program, std::shared_ptr<MainWindow> main)
    : Window(program.platform, "PelloraCatcher", "Pellora!"), program_(program), main_(std::move(main)) {
  Tag = TagText(kCaptionNumber);
  pop.Visible = false;
  closebasket.Visible = false;
  limitspeed.Visible = false;
  for (int i = 0; i < Picture1.Count(); ++i) Picture1(i).Image = "tray-" + std::to_string(i + 1);

  openwin.OnClick = [this] {
    main_->SetState(WindowState::Normal);
    main_->Show();
    main_->Raise();
  };
  pauseall.OnClick = [this] { main_->pauseall(); };
  resumeall.OnClick = [this] { main_->resumeall(); };
  limitspeed.OnClick = [this] { platform_.tasks.Spawn(ToggleLimit()); };
  closebasket.OnClick = [this] { main_->ShowBasket(false); };
  exitmenu.OnClick = [this] { program_.saveAndQuit(); };
}

void PelloraCatcher::OnLoad() {
  Hide();
  platform_.tray.Add(kOwnIcon, TrayTip(Caption()), *this);
  ApplyLanguage(*this, program_);
}

void PelloraCatcher::OnUnload() { platform_.tray.Delete(); }

void PelloraCatcher::refreshMessage(const std::string& text) {
  platform_.tray.SetTip(TrayTip(text));
  ShowLimit();
}

void PelloraCatcher::ShowLimit() {
  const Settings& settings = program_.settings;
  const std::int32_t limit = settings.SpeedLimit;
  if (limit > 0) limit_ = limit;
  if (limit_ == 0) limit_ = settings.FormerSpeedLimit;
  limitspeed.Visible = limit_ > 0;
  limitspeed.Checked = limit > 0;
}

Task<> PelloraCatcher::ToggleLimit() {
  const auto hold = Hold();
  const bool limited = program_.settings.SpeedLimit > 0;
  std::string reason;
  try {
    SetSpeedLimit(program_, limited ? 0 : limit_);
  } catch (const Failure& failure) {
    reason = failure.what();
  }
  ShowLimit();
  if (reason.empty()) co_return;
  BoxRequest box{FillText(TextOf(program_, WebText::LimitNotStored), {reason}), kProgramName, kCritical};
  (void)co_await program_.boxes.Ask(this, std::move(box));
}

void PelloraCatcher::refreshIcon(int level) {
  level = std::min(level, Picture1.Count());
  platform_.tray.SetPicture(level < 1 ? kOwnIcon : Picture1(level - 1).Image());
}

// A single click does nothing.
void PelloraCatcher::TrayMouseEvent(int message) {
  const auto hold = Hold();
  platform_.gate.Deliver([&] {
    if (message == kTrayLeftDoubleClick) {
      main_->Show();
      main_->SetState(WindowState::Normal);
      main_->Raise();
    } else if (message == kTrayRightDown) {
      ShowPopup();
    }
  });
}

void PelloraCatcher::ShowPopup() {
  ShowLimit();
  platform_.windows.PopUp({&openwin, &pauseall, &resumeall, &limitspeed, &b, &closebasket, &exitmenu}, openwin);
}

void PelloraCatcher::ShowPopupOfBasket() {
  closebasket.Visible = true;
  ShowPopup();
  closebasket.Visible = false;
}

}  // namespace pellora
