#include "desktop/views/QtTray.h"

#include <QAction>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "desktop/DisplayText.h"
#include "desktop/views/Bindings.h"
#include "desktop/views/Icons.h"
#include "desktop/views/ObjectNames.h"
#include "desktop/views/QtWindowSystem.h"
#include "desktop/views/XTray.h"
#include "ui/Controls.h"
#include "ui/Views.h"
#include "ui/Window.h"

namespace pellora {

namespace {

constexpr const char* kWatcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr int kHostTimeoutMilliseconds = 2000;  // for a desktop that starts at the same time

// The icon's menu, as the view of the window that has its entries. Changes are applied once in a turn of the event
// loop: what is changed and changed back is never visible.
class TrayMenuView final : public QObject, public WindowView {
 public:
  TrayMenuView(Window& window, QMenu& menu, EventGate& gate)
      : menu_(menu), context_{gate, &receiver_, false, [this] { ApplyChanges(); }} {
    for (Control* const control : window.Controls()) {
      auto* const entry = dynamic_cast<Menu*>(control);
      if (entry == nullptr || entry->Name == "pop") continue;
      auto* const action = new QAction(&menu_);
      menu_.addAction(action);
      action->setObjectName(ObjectName(entry->Name));
      if (entry->Caption() == "-") {
        action->setSeparator(true);
        continue;
      }
      bindings_.emplace(entry, Bind(*entry, *action, context_));
      bindings_.at(entry)->UpdateWidget();
      if (entry->Name == "openwin") menu_.setDefaultAction(action);
    }
  }
  ~TrayMenuView() override {
    bindings_.clear();
    // deleteLater, because one of them may be delivering the choice that unloads the window.
    for (QAction* const action : menu_.actions()) {
      menu_.removeAction(action);
      action->deleteLater();
    }
  }

  void Show() override {}
  void Hide() override {}
  void Raise() override {}
  void SetState(WindowState) override {}
  void Changed(const Control* control) override {
    if (control == nullptr) return;
    if (dirty_.empty())
      QMetaObject::invokeMethod(
          this, [this] { ApplyChanges(); }, Qt::QueuedConnection);
    dirty_.insert(control);
  }

 private:
  void ApplyChanges() {
    for (const Control* const control : std::exchange(dirty_, {})) {
      const auto at = bindings_.find(control);
      if (at != bindings_.end()) at->second->UpdateWidget();
    }
  }

  QMenu& menu_;
  QObject receiver_;
  BindingContext context_;
  std::unordered_map<const Control*, std::unique_ptr<Binding>> bindings_;
  std::unordered_set<const Control*> dirty_;
};

}  // namespace

QtTray::QtTray(QtWindowSystem& windows, EventGate& gate) : gate_(gate) {
  windows.RegisterMaker("PelloraCatcher", [this](Window& window) -> std::unique_ptr<WindowView> {
    return std::make_unique<TrayMenuView>(window, menu_, gate_);
  });
  connect(&xTrayTimer_, &QTimer::timeout, this, &QtTray::LookForXTray);
}

QtTray::~QtTray() = default;

void QtTray::Add(const std::string& picture, const std::string& tip, TrayEvents& events) {
  picture_ = picture;
  tip_ = DisplayText(tip);
  events_ = &events;
  if (std::exchange(searchStarted_, true)) return;
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (bus.isConnected()) {
    auto* const watcher = new QDBusServiceWatcher(kWatcherName, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &QtTray::QueryHost);
    bus.connect(kWatcherName, kWatcherPath, kWatcherName, "StatusNotifierHostRegistered", this, SLOT(QueryHost()));
    QueryHost();
  }
  if (QGuiApplication::platformName() == QLatin1String("xcb")) xTrayTimer_.start(kHostTimeoutMilliseconds);
}

void QtTray::QueryHost() {
  if (icon_) return;
  QDBusMessage call =
      QDBusMessage::createMethodCall(kWatcherName, kWatcherPath, "org.freedesktop.DBus.Properties", "Get");
  call.setAutoStartService(false);
  call << QString::fromLatin1(kWatcherName) << QStringLiteral("IsStatusNotifierHostRegistered");
  auto* const answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
    answer->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    if (!reply.isError() && reply.value().variant().toBool()) QueryWatcher();
  });
}

void QtTray::QueryWatcher() {
  QDBusMessage call =
      QDBusMessage::createMethodCall(kWatcherName, kWatcherPath, "org.freedesktop.DBus.Introspectable", "Introspect");
  call.setAutoStartService(false);
  auto* const answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
    answer->deleteLater();
    if (!answer->isError()) MakeIcon();
  });
}

void QtTray::LookForXTray() {
  if (HasXTray()) MakeXIcon();
}

void QtTray::MakeXIcon() {
  if (icon_) return;
  onXTray_ = true;
  qApp->installEventFilter(this);
  MakeIcon();
}

// The icon on an X tray is a window of this program, and a modal box would block it: the icon would be dead while a
// message is shown. A box does not block its own children.
void QtTray::UnblockXIcon() {
  for (QWidget* const widget : QApplication::topLevelWidgets()) {
    if (!widget->inherits("QSystemTrayIconSys")) continue;
    QWindow* const window = widget->windowHandle();
    QWindow* const box = QGuiApplication::modalWindow();
    if (window != nullptr && box != nullptr && window->transientParent() != box) window->setTransientParent(box);
  }
}

// Filters the whole program's events: each new tray gives the icon a new window and a new widget.
bool QtTray::eventFilter(QObject*, QEvent* event) {
  if (event->type() == QEvent::WindowBlocked || event->type() == QEvent::WinIdChange) {
    QMetaObject::invokeMethod(this, &QtTray::UnblockXIcon, Qt::QueuedConnection);
  }
  return false;
}

void QtTray::MakeIcon() {
  xTrayTimer_.stop();
  if (icon_ || events_ == nullptr) return;
  icon_ = std::make_unique<QSystemTrayIcon>(this);
  icon_->setIcon(Picture(picture_));
  ShowTip();
  icon_->setContextMenu(&menu_);
  connect(icon_.get(), &QSystemTrayIcon::activated, this, &QtTray::Activated);
  icon_->show();
}

void QtTray::Activated(QSystemTrayIcon::ActivationReason reason) {
  switch (reason) {
    case QSystemTrayIcon::Trigger:
      // The desktop decides which click activates a status notifier item; an X tray reports every click.
      Report(onXTray_ ? kTrayLeftDown : kTrayLeftDoubleClick);
      return;
    case QSystemTrayIcon::DoubleClick:
      Report(kTrayLeftDoubleClick);
      return;
    case QSystemTrayIcon::Context:
      // On an X tray Qt opens the menu. A host of items that asks for the menu shows none itself.
      if (icon_->geometry().isEmpty()) Report(kTrayRightDown);
      return;
    default:
      return;
  }
}

void QtTray::Report(int message) {
  if (events_ != nullptr) events_->TrayMouseEvent(message);
}

const QIcon& QtTray::Picture(const std::string& name) {
  const QString key = WholeText(name);
  const auto known = pictures_.constFind(key);
  if (known != pictures_.constEnd()) return *known;
  // Pixmaps in the sizes that trays use: a scalable icon reports no sizes.
  QIcon icon;
  const QIcon drawing = Drawing(key);
  for (const int size : {16, 22, 24, 32, 48, 64}) icon.addPixmap(drawing.pixmap(QSize(size, size), 1.0));
  return *pictures_.insert(key, icon);
}

void QtTray::SetPicture(const std::string& picture) {
  // Each change is sent over the bus to the desktop; most ticks change nothing.
  if (picture == picture_) return;
  picture_ = picture;
  if (icon_) icon_->setIcon(Picture(picture));
}

void QtTray::SetTip(const std::string& tip) {
  const QString text = DisplayText(tip);
  if (text == tip_) return;
  tip_ = text;
  if (icon_) ShowTip();
}

// Plain text in both cases: Qt's tool tips may take it for rich text; an item's title is always plain.
void QtTray::ShowTip() { icon_->setToolTip(onXTray_ ? PlainTip(tip_) : tip_); }

void QtTray::Delete() {
  events_ = nullptr;
  xTrayTimer_.stop();
  if (icon_) icon_->hide();
}

}  // namespace pellora
