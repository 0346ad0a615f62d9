// BusService: the program on the session bus: the automation class, the read-only list for scripts, and the
// raising of the window for a second start.
//
// A call is turned into a posted event and answered at once. Only List is answered from the program's state.
#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <string>

#include "desktop/BusTypes.h"

namespace pellora {

class EventLoop;

// What the bus can ask of the program. All must be set.
struct BusDoor {
  std::function<void(std::string url, std::string refURL, std::string cookie)> menuUrl;
  std::function<void(std::string url, std::string refURL)> leechUrl;
  std::function<void()> show;
  std::function<void()> resumeAll;
  std::function<QList<DownloadRow>()> list;
};

class BusService final : public QObject {
  Q_OBJECT
 public:
  BusService(EventLoop& events, BusDoor door);

  // Shows the object, then takes the name; False if there is no bus or the name is taken.
  bool Register(QDBusConnection bus);

  void MenuURL(const QString& url, const QString& refURL, const QString& cookie);
  void LeechURL(const QString& url, const QString& refURL);
  void Show();
  void ResumeAll();
  QList<DownloadRow> List() const { return door_.list(); }

 private:
  EventLoop& events_;
  BusDoor door_;
};

class AutomationAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "PelloraProject.Pellora")
 public:
  explicit AutomationAdaptor(BusService* service) : QDBusAbstractAdaptor(service), service_(service) {}
 public Q_SLOTS:
  void MenuURL(const QString& URL, const QString& refURL, const QString& cookie);
  void LeechURL(const QString& URL, const QString& refURL);

 private:
  BusService* service_;
};

class DownloadsAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "PelloraProject.Downloads")
 public:
  explicit DownloadsAdaptor(BusService* service) : QDBusAbstractAdaptor(service), service_(service) {}
 public Q_SLOTS:
  QList<pellora::DownloadRow> List() const;

 private:
  BusService* service_;
};

class ApplicationAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
 public:
  explicit ApplicationAdaptor(BusService* service) : QDBusAbstractAdaptor(service), service_(service) {}
 public Q_SLOTS:
  void Activate(const QVariantMap& platform_data);
  void Open(const QStringList& uris, const QVariantMap& platform_data);
  void ActivateAction(const QString& action_name, const QVariantList& parameter, const QVariantMap& platform_data);

 private:
  BusService* service_;
};

// Tells once that the bus has gone, and with it the session of a program that the bus started.
class BusEnd final : public QObject {
  Q_OBJECT
 public:
  BusEnd(QDBusConnection bus, std::function<void()> ended);

 private Q_SLOTS:
  void Disconnected() { ended_(); }

 private:
  std::function<void()> ended_;
};

// A copy of the program that can be raised is on the bus.
bool RunningCopyFound(const QDBusConnection& bus);

// Asks the running copy to show its window. False if there is none on the bus.
bool RaiseRunningCopy(const QDBusConnection& bus);

}  // namespace pellora
