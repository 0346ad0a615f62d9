// BusService: the program on the session bus: the automation interface, the downloads for scripts, and raising the
// window when the program is started again.
//
// A call is posted as an event and answered at once. List and Details are answered from the program's state, by another
// thread; Add and the methods that change or show downloads after their event has run, TakeOver once the server has
// answered, and those about archives once it has sent what the archive contains.
#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <string>
#include <vector>

#include "app/ArchiveWindows.h"
#include "desktop/BusTypes.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class EventLoop;

// The program's actions that the bus can call. All must be set.
struct BusActions {
  std::function<void(std::string url, std::string refURL, std::string cookie)> menuUrl;
  std::function<void(std::string url, std::string refURL)> leechUrl;
  std::function<void()> show;
  std::function<void()> resumeAll;
  std::function<void()> addUrl;
  std::function<void(std::vector<std::string> addresses)> open;
  // A copy of the list; the rows are made of it in another thread.
  using Rows = std::function<QList<DownloadRow>()>;
  std::function<Rows()> list;
  // Gets the ids of the new records, and the reason why there are none or fewer than requested. Shows no question.
  using Added = std::function<void(const std::vector<std::string>& ids, const std::string& reason)>;
  std::function<void(ScriptedAdd request, Added added)> add;
  // Answered once the download is certain to continue here.
  std::function<void(ScriptedAdd request, Added added)> takeOver;
  std::function<std::string(const std::string& id)> release;  // as `remove`, of what was taken over
  using Listed = std::function<void(const ListedArchive& archive)>;
  std::function<void(ArchiveOrder order, Listed listed)> listArchive;
  // The caller that an order names has left the bus.
  std::function<void(const std::string& caller)> callerGone;
  std::function<void(ArchiveOrder order, Added added)> getFromArchive;
  // Each returns why nothing was done, or an empty text.
  std::function<std::string(const std::string& id)> pause;
  std::function<std::string()> pauseAll;
  std::function<std::string(const std::string& id)> resume;
  std::function<std::string(const std::string& id)> remove;
  std::function<std::string(const std::string& id)> showWindow;  // empty: the main window
  // KiB/s; 0: none. Of all downloads together if the id is empty.
  std::function<std::string(const std::string& id, std::int32_t limit)> setLimit;
  std::function<std::int32_t()> limit;  // of all downloads together
  std::function<bool()> headless;
  std::function<void()> quit;
};

class BusService final : public QObject {
  Q_OBJECT
 public:
  BusService(EventLoop& events, BusActions actions);

  // Exports the object, then takes the name. False if there is no bus or the name is taken.
  bool Register(QDBusConnection bus);

  void MenuURL(const QString& url, const QString& refURL, const QString& cookie);
  void LeechURL(const QString& url, const QString& refURL);
  void Show();
  void ResumeAll();
  void AddUrl();
  void Open(const QStringList& addresses);
  void List(const QDBusMessage& call) const;
  void Details(const QDBusMessage& call) const;
  // These reply to `call` later.
  void Add(const QVariantMap& request, const QDBusMessage& call);
  void TakeOver(const QVariantMap& request, const QDBusMessage& call);
  void Release(const QString& id, const QDBusMessage& call) { Change(actions_.release, id, call); }
  void ListArchive(const QVariantMap& request, const QDBusMessage& call);
  void GetFromArchive(const QVariantMap& request, const QDBusMessage& call);
  void Pause(const QString& id, const QDBusMessage& call) { Change(actions_.pause, id, call); }
  void PauseAll(const QDBusMessage& call);
  void Resume(const QString& id, const QDBusMessage& call) { Change(actions_.resume, id, call); }
  void Remove(const QString& id, const QDBusMessage& call) { Change(actions_.remove, id, call); }
  void ShowWindow(const QString& id, const QVariantMap& platformData, const QDBusMessage& call);
  void SetLimit(const QString& id, int limit, const QDBusMessage& call);
  void Limit(const QDBusMessage& call);
  bool Headless() const { return actions_.headless(); }
  void Quit();

 private:
  BusActions::Added ReplyWithIds(const QDBusMessage& call) const;
  void WatchCaller(const QString& caller);
  void CallerGone(const QString& caller);
  // Replies with the reason that `act` returns.
  void ReplyAfter(std::function<std::string()> act, const QDBusMessage& call);
  void Change(const std::function<std::string(const std::string&)>& change, const QString& id,
              const QDBusMessage& call);

  EventLoop& events_;
  BusActions actions_;
  QDBusConnection bus_{QString()};
  QDBusServiceWatcher callers_;  // of lists of archives
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
  QList<pellora::DownloadRow> List(const QDBusMessage& call) const;
  QList<pellora::DetailRow> Details(const QDBusMessage& call) const;
  // The request has the key "url", and may have the others of BusTypes.h. The reply has the key "id", or "reason" if
  // it was refused; that to a Metalink has both, and "ids", if some of its files were. Nothing is asked.
  QVariantMap Add(const QVariantMap& request, const QDBusMessage& call);
  // Of a download that a browser has begun. The request has the keys "url", "size" and "type", and may have "referrer",
  // "cookies", "user-agent" and "quiet". The reply has the key "id" once the server has answered as it did the browser,
  // or "reason" if the browser is to keep the download; that may take half a minute.
  QVariantMap TakeOver(const QVariantMap& request, const QDBusMessage& call);
  // By the id that TakeOver gave: the user has cancelled the browser's download meanwhile. It leaves the list, unless
  // it is finished or the user has paused it here. The reply is that of Pause.
  QVariantMap Release(const QString& id, const QDBusMessage& call);
  // Of a ZIP archive. The request has the key "url", and may have "user" and "password". The reply has the key
  // "entries", or "reason".
  QVariantMap ListArchive(const QVariantMap& request, const QDBusMessage& call);
  // Adds a download of some of its files. The request also has the keys "patterns" and "folder", and may have
  // "existing", "archive-password" and "quiet". The reply is that of Add.
  QVariantMap GetFromArchive(const QVariantMap& request, const QDBusMessage& call);
  // By id. The reply is empty, or has the key "reason".
  QVariantMap Pause(const QString& id, const QDBusMessage& call);
  QVariantMap PauseAll(const QDBusMessage& call);
  QVariantMap Resume(const QString& id, const QDBusMessage& call);
  QVariantMap Remove(const QString& id, const QDBusMessage& call);
  // That of a download, or the main window if the id is empty.
  QVariantMap ShowWindow(const QString& id, const QVariantMap& platform_data, const QDBusMessage& call);
  // KiB/s; 0: none. Of all downloads together if the id is empty.
  QVariantMap SetLimit(const QString& id, int limit, const QDBusMessage& call);
  // The reply has the key "limit": that of all downloads together.
  QVariantMap Limit(const QDBusMessage& call);
  bool Headless() const { return service_->Headless(); }  // True: it shows no windows
  // Pauses all downloads, saves the list and ends the program without a question.
  void Quit();

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

// Reports that the connection to the bus is lost: for a program started by the bus, its session has ended.
class BusWatch final : public QObject {
  Q_OBJECT
 public:
  BusWatch(QDBusConnection bus, std::function<void()> ended);

 private Q_SLOTS:
  void Disconnected() { ended_(); }

 private:
  std::function<void()> ended_;
};

// Whether a running copy of the program is on the bus.
bool RunningCopyFound(const QDBusConnection& bus);

// Whether the running copy shows no windows.
bool RunningCopyIsHeadless(const QDBusConnection& bus);

// Shows the window of the running copy. False if there is none on the bus.
bool RaiseRunningCopy(const QDBusConnection& bus);

// Has the running copy open these addresses and files. False as above.
bool OpenInRunningCopy(const QDBusConnection& bus, const QStringList& addresses);

// Has the running copy, which shows no windows, add an address, or those in a file. Why not, or empty.
QString AddInRunningCopy(const QDBusConnection& bus, const QString& address);

// Has the running copy ask for an address. False as above.
bool AddUrlInRunningCopy(const QDBusConnection& bus);

}  // namespace pellora
