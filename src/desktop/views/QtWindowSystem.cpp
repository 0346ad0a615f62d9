#include "desktop/views/QtWindowSystem.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

#include "desktop/DisplayText.h"
#include "desktop/views/BasketForm.h"
#include "desktop/views/FormHost.h"
#include "desktop/views/ObjectNames.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

namespace {

class QtWindowView : public WindowView {
 public:
  explicit QtWindowView(FormHost* host) : host_(host) {}
  QtWindowView(const QtWindowView&) = delete;
  QtWindowView& operator=(const QtWindowView&) = delete;
  ~QtWindowView() override { host_->Detach(); }

  void Show() override { host_->SetShown(true); }
  void Hide() override { host_->SetShown(false); }
  void Raise() override { host_->Raise(); }
  void SetState(WindowState state) override { host_->SetState(state); }
  void Changed(const Control* control) override { host_->Changed(control); }

  QWidget* Form() const { return host_->Form(); }

 private:
  FormHost* host_;  // deletes itself after Detach
};

}  // namespace

QtWindowSystem::~QtWindowSystem() { delete popup_; }

std::unique_ptr<WindowView> QtWindowSystem::NewView(Window& window) {
  for (const auto& [typeName, maker] : makers_) {
    if (typeName == window.TypeName) return maker(window);
  }
  return std::make_unique<QtWindowView>(new FormHost(window, gate_, memory_, pace_));
}

ScreenSize QtWindowSystem::Screen() const {
  const QScreen* const screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return {};
  return {screen->geometry().width(), screen->geometry().height()};
}

void QtWindowSystem::PopUp(const std::vector<Menu*>& entries, const Menu& standard) {
  if (popup_) popup_->close();
  // A child of the clicked window: some desktops place a menu only by its parent.
  auto* const menu = new QMenu(BasketForm::Clicked());
  QObject::connect(menu, &QMenu::aboutToHide, menu, &QObject::deleteLater);
  for (Menu* const entry : entries) {
    if (!entry->Visible()) continue;
    const QString caption = DisplayLine(entry->Caption);
    if (caption == QLatin1String("-")) {
      menu->addSeparator();
      continue;
    }
    QAction* const action = menu->addAction(caption);
    action->setObjectName(ObjectName(entry->Name));
    action->setEnabled(entry->Enabled);
    action->setCheckable(entry->Checked);
    action->setChecked(entry->Checked);
    if (entry == &standard) menu->setDefaultAction(action);
    // The entry's window may be unloaded while the menu is open.
    QObject::connect(action, &QAction::triggered, action, [entry, window = entry->Owner().weak_from_this()] {
      if (const auto alive = window.lock()) entry->Click();
    });
  }
  popup_ = menu;
  menu->popup(QCursor::pos());
}

void QtWindowSystem::FollowScript(const std::string& word) {
  QGuiApplication::setLayoutDirection(DisplayLine(word).isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
}

QWidget* FormOf(const WindowView& view) {
  const auto* own = dynamic_cast<const QtWindowView*>(&view);
  return own == nullptr ? nullptr : own->Form();
}

}  // namespace pellora
