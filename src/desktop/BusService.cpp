#include "desktop/BusService.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <utility>

#include "ports/EventLoop.h"

namespace pellora {

namespace {

// Desktops with focus stealing prevention raise a window only with the token of the user's click.
void TakeActivationToken(const QVariantMap& platformData) {
  const QString token = platformData.value("activation-token").toString();
  if (!token.isEmpty()) qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

// The URL of a request, or why it has none. Unknown options, as a later version may send them, are refused.
QString UrlOf(const QVariantMap& request, QString& reason) {
  for (auto option = request.begin(); option != request.end(); ++option) {
    if (option.key() != kUrlKey) reason = "Pellora does not know the option \"" + option.key() + "\".";
  }
  const QVariant url = request.value(kUrlKey);
  if (url.typeId() != QMetaType::QString) reason = "The request names no address.";
  return url.toString();
}

QVariantMap Reason(const QString& reason) {
  return reason.isEmpty() ? QVariantMap() : QVariantMap{{kReasonKey, reason}};
}

}  // namespace

BusService::BusService(EventLoop& events, BusActions actions) : events_(events), actions_(std::move(actions)) {
  RegisterBusTypes();
  new AutomationAdaptor(this);  // QtDBus finds adaptors among the children
  new DownloadsAdaptor(this);
  new ApplicationAdaptor(this);
}

bool BusService::Register(QDBusConnection bus) {
  if (!bus.isConnected()) return false;
  bus_ = bus;
  // The object first: a call that started the program arrives as soon as the name is taken.
  if (!bus.registerObject(kBusPath, this, QDBusConnection::ExportAdaptors)) return false;
  const auto reply = bus.interface()->registerService(kBusName, QDBusConnectionInterface::DontQueueService,
                                                      QDBusConnectionInterface::DontAllowReplacement);
  return reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
}

void BusService::MenuURL(const QString& url, const QString& refURL, const QString& cookie) {
  events_.Post([call = actions_.menuUrl, u = url.toStdString(), r = refURL.toStdString(), c = cookie.toStdString()] {
    call(u, r, c);
  });
}

void BusService::LeechURL(const QString& url, const QString& refURL) {
  events_.Post([call = actions_.leechUrl, u = url.toStdString(), r = refURL.toStdString()] { call(u, r); });
}

void BusService::Show() { events_.Post(actions_.show); }

void BusService::ResumeAll() { events_.Post(actions_.resumeAll); }

void BusService::Add(const QVariantMap& request, const QDBusMessage& call) {
  call.setDelayedReply(true);
  QString refusal;
  const QString url = UrlOf(request, refusal);
  if (!refusal.isEmpty()) {
    bus_.send(call.createReply(Reason(refusal)));
    return;
  }
  const BusActions::Added added = [bus = bus_, call](const std::string& id, const std::string& reason) {
    const QVariantMap answer =
        reason.empty() ? QVariantMap{{kIdKey, QString::fromStdString(id)}} : Reason(QString::fromStdString(reason));
    bus.send(call.createReply(answer));
  };
  events_.Post([add = actions_.add, u = url.toStdString(), added] { add(u, added); });
}

void BusService::Change(const std::function<std::string(const std::string&)>& change, const QString& id,
                        const QDBusMessage& call) {
  call.setDelayedReply(true);
  events_.Post([bus = bus_, change, text = id.toStdString(), call] {
    bus.send(call.createReply(Reason(QString::fromStdString(change(text)))));
  });
}

void BusService::Quit() { events_.Post(actions_.quit); }

void AutomationAdaptor::MenuURL(const QString& URL, const QString& refURL, const QString& cookie) {
  service_->MenuURL(URL, refURL, cookie);
}

void AutomationAdaptor::LeechURL(const QString& URL, const QString& refURL) { service_->LeechURL(URL, refURL); }

QList<DownloadRow> DownloadsAdaptor::List() const { return service_->List(); }

QList<DetailRow> DownloadsAdaptor::Details() const {
  QList<DetailRow> details;
  for (const DownloadRow& row : service_->List()) details.append({row});
  return details;
}

QVariantMap DownloadsAdaptor::Add(const QVariantMap& request, const QDBusMessage& call) {
  service_->Add(request, call);
  return {};  // the reply is sent later
}

QVariantMap DownloadsAdaptor::Pause(const QString& id, const QDBusMessage& call) {
  service_->Pause(id, call);
  return {};
}

QVariantMap DownloadsAdaptor::Remove(const QString& id, const QDBusMessage& call) {
  service_->Remove(id, call);
  return {};
}

void DownloadsAdaptor::Quit() { service_->Quit(); }

void ApplicationAdaptor::Activate(const QVariantMap& platform_data) {
  TakeActivationToken(platform_data);
  service_->Show();
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data) {
  TakeActivationToken(platform_data);
  for (const QString& uri : uris) service_->MenuURL(uri, {}, {});
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList&, const QVariantMap&) {
  if (action_name == kResumeAllAction) service_->ResumeAll();
}

BusWatch::BusWatch(QDBusConnection bus, std::function<void()> ended) : ended_(std::move(ended)) {
  bus.connect({}, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected", this,
              SLOT(Disconnected()));
}

bool RunningCopyFound(const QDBusConnection& bus) {
  if (!bus.isConnected()) return false;
  return bus.interface()->isServiceRegistered(kBusName).value();
}

bool RaiseRunningCopy(const QDBusConnection& bus) {
  if (!bus.isConnected()) return false;
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kApplicationInterface, "Activate");
  call.setAutoStartService(false);
  QVariantMap platformData;
  const QByteArray token = qgetenv("XDG_ACTIVATION_TOKEN");
  if (!token.isEmpty()) platformData["activation-token"] = QString::fromUtf8(token);
  call << platformData;
  return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

}  // namespace pellora
