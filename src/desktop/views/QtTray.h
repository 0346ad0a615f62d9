// QtTray: the icon in the notification area, as a status notifier item or on an X tray.
//
// Qt decides between the two once per process, with blocking calls on the bus, to introspect the watcher of the hosts
// and to read a property. So the icon is created only when that watcher says that there is a host and has just answered
// the same calls, or, on X, when none has done so for a while and there is an X tray. A watcher that hangs after that
// holds the program up for 25 s. Either may appear at any later time: a session may start its panel long after the
// program. Without either, a second start shows the window.
#pragma once

#include <QHash>
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>
#include <memory>
#include <string>

#include "ports/Tray.h"

namespace pellora {

class EventGate;
class QtWindowSystem;
class Window;
class WindowView;

class QtTray final : public QObject, public Tray {
  Q_OBJECT

 public:
  // Creates the view of the window whose menu the icon has. Both arguments must outlive it.
  QtTray(QtWindowSystem& windows, EventGate& gate);
  ~QtTray() override;

  void Add(const std::string& picture, const std::string& tip, TrayEvents& events) override;
  void SetPicture(const std::string& picture) override;
  void SetTip(const std::string& tip) override;
  void Delete() override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private Q_SLOTS:
  void QueryHost();
  void LookForXTray();
  void MakeIcon();
  void MakeXIcon();
  void Activated(QSystemTrayIcon::ActivationReason reason);

 private:
  void QueryWatcher();
  void UnblockXIcon();
  void ShowTip();
  void Report(int message);
  const QIcon& Picture(const std::string& name);

  EventGate& gate_;
  QMenu menu_;
  std::unique_ptr<QSystemTrayIcon> icon_;
  QHash<QString, QIcon> pictures_;
  std::string picture_;
  QString tip_;
  TrayEvents* events_ = nullptr;
  bool searchStarted_ = false;
  bool onXTray_ = false;  // the icon is on an X tray, where Qt shows the tip
  QTimer xTrayTimer_;     // until there is an icon
};

}  // namespace pellora
