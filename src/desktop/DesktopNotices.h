// DesktopNotices: messages by org.freedesktop.Notifications (Desktop Notifications Specification 1.2), and the taskbar
// by the signal com.canonical.Unity.LauncherEntry.Update, which several desktops read. Nothing waits for a reply.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QHash>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>
#include <string>

#include "async/EventGate.h"
#include "ports/Notices.h"

namespace pellora {

class DesktopNotices final : public QObject, public Notices {
  Q_OBJECT
 public:
  // `desktopId` is the base name of the program's desktop entry.
  DesktopNotices(EventGate& gate, QDBusConnection bus, QString desktopId);

  void Show(const Notice& notice, std::function<void(const std::string& key)> chosen) override;
  void ShowTaskbar(const TaskbarState& state) override;

 private slots:
  void TokenGiven(quint32 id, const QString& token);
  void Chosen(quint32 id, const QString& key);
  void Closed(quint32 id, quint32 reason);

 private:
  using Action = std::function<void(const std::string& key)>;
  void Send(const Notice& notice, Action chosen);

  EventGate& gate_;
  QDBusConnection bus_;
  QDBusServiceWatcher watcher_;
  const QString desktopId_;
  std::optional<bool> readsMarkup_;  // of the text; nothing: not asked yet
  QHash<quint32, Action> open_;      // by the desktop's numbers for them
};

}  // namespace pellora
