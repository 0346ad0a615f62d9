#include "desktop/BusService.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDateTime>
#include <QThreadPool>
#include <cmath>
#include <map>
#include <utility>

#include "desktop/ActivationToken.h"
#include "desktop/DisplayText.h"
#include "ports/EventLoop.h"

namespace pellora {

namespace {

void TakeActivationToken(const QVariantMap& platformData) {
  SetActivationToken(platformData.value(kTokenKey).toString().toUtf8());
}

// Takes the value of one key into its member. False if the value has another type.
template <class Request>
using Take = std::function<bool(Request& request, const QVariant& value)>;

template <class Request>
using Keys = std::map<QString, Take<Request>>;

template <class Request>
Take<Request> IntoText(std::string Request::*member) {
  return [member](Request& request, const QVariant& value) {
    request.*member = value.toString().toStdString();
    return value.typeId() == QMetaType::QString;
  };
}

template <class Request>
Take<Request> IntoFlag(bool Request::*member) {
  return [member](Request& request, const QVariant& value) {
    request.*member = value.toBool();
    return value.typeId() == QMetaType::Bool;
  };
}

bool TakeMetalink(ScriptedAdd& request, const QVariant& value) {
  request.metalink = value.toByteArray().toStdString();
  return value.typeId() == QMetaType::QByteArray && !request.metalink.empty();
}

bool TakeSize(ScriptedAdd& request, const QVariant& value) {
  if (!request.expected) request.expected.emplace();
  request.expected->size = value.toLongLong();
  return value.typeId() == QMetaType::LongLong;
}

bool TakeType(ScriptedAdd& request, const QVariant& value) {
  if (!request.expected) request.expected.emplace();
  request.expected->type = value.toString().toStdString();
  return value.typeId() == QMetaType::QString;
}

bool TakeLimit(ScriptedAdd& request, const QVariant& value) {
  request.limit = value.toInt();
  return value.typeId() == QMetaType::Int;
}

bool TakePatterns(ArchiveOrder& order, const QVariant& value) {
  for (const QString& pattern : value.toStringList()) order.patterns.push_back(pattern.toStdString());
  return value.typeId() == QMetaType::QStringList;
}

const Keys<ScriptedAdd>& KeysOfAdd() {
  static const Keys<ScriptedAdd> keys{{kUrlKey, IntoText(&ScriptedAdd::url)},
                                      {kFolderKey, IntoText(&ScriptedAdd::folder)},
                                      {kNameKey, IntoText(&ScriptedAdd::name)},
                                      {kUserKey, IntoText(&ScriptedAdd::user)},
                                      {kPasswordKey, IntoText(&ScriptedAdd::password)},
                                      {kChecksumKey, IntoText(&ScriptedAdd::checksum)},
                                      {kReferrerKey, IntoText(&ScriptedAdd::referrer)},
                                      {kCookiesKey, IntoText(&ScriptedAdd::cookies)},
                                      {kAtKey, IntoText(&ScriptedAdd::at)},
                                      {kLimitKey, TakeLimit},
                                      {kMetalinkKey, TakeMetalink},
                                      {kLaterKey, IntoFlag(&ScriptedAdd::later)},
                                      {kDuplicateKey, IntoFlag(&ScriptedAdd::duplicate)},
                                      {kQuietKey, IntoFlag(&ScriptedAdd::quiet)},
                                      {kFileKey, IntoFlag(&ScriptedAdd::opensFile)},
                                      {kBrowserKey, IntoFlag(&ScriptedAdd::fromBrowser)}};
  return keys;
}

const Keys<ScriptedAdd>& KeysOfTakingOver() {
  static const Keys<ScriptedAdd> keys{{kUrlKey, IntoText(&ScriptedAdd::url)},
                                      {kReferrerKey, IntoText(&ScriptedAdd::referrer)},
                                      {kCookiesKey, IntoText(&ScriptedAdd::cookies)},
                                      {kUserAgentKey, IntoText(&ScriptedAdd::userAgent)},
                                      {kSizeKey, TakeSize},
                                      {kTypeKey, TakeType},
                                      {kQuietKey, IntoFlag(&ScriptedAdd::quiet)}};
  return keys;
}

const Keys<ArchiveOrder>& KeysOfListing() {
  static const Keys<ArchiveOrder> keys{{kUrlKey, IntoText(&ArchiveOrder::url)},
                                       {kUserKey, IntoText(&ArchiveOrder::user)},
                                       {kPasswordKey, IntoText(&ArchiveOrder::password)}};
  return keys;
}

const Keys<ArchiveOrder>& KeysOfGetting() {
  static const Keys<ArchiveOrder> keys = [] {
    Keys<ArchiveOrder> more{{kPatternsKey, TakePatterns},
                            {kFolderKey, IntoText(&ArchiveOrder::folder)},
                            {kExistingKey, IntoText(&ArchiveOrder::existing)},
                            {kArchivePasswordKey, IntoText(&ArchiveOrder::archivePassword)},
                            {kQuietKey, IntoFlag(&ArchiveOrder::quiet)}};
    more.insert(KeysOfListing().begin(), KeysOfListing().end());
    return more;
  }();
  return keys;
}

// What a request says, or why it is none. Unknown options, as a later version may send them, are refused: without them
// it would be another request.
template <class Request>
Request RequestIn(const Keys<Request>& keys, const QVariantMap& map, QString& reason) {
  Request request;
  if (map.value(kUrlKey).typeId() != QMetaType::QString) reason = "The request names no address.";
  for (auto option = map.begin(); option != map.end() && reason.isEmpty(); ++option) {
    const auto known = keys.find(option.key());
    if (known == keys.end()) {
      reason = "Pellora does not know the option \"" + option.key() + "\".";
    } else if (!known->second(request, option.value())) {
      reason = "The option \"" + option.key() + "\" has a value of another type.";
    }
  }
  return request;
}

// A moment in days, like DateAdded.
QString TimeText(double days) {
  if (days <= 0) return {};
  constexpr double kSecondsOfADay = 86'400;
  const QDateTime start(QDate(1899, 12, 30), QTime(0, 0), Qt::UTC);
  return start.addSecs(std::llround(days * kSecondsOfADay)).toString("yyyy-MM-dd HH:mm:ss");
}

// The time without a zone may be that of any.
QString TimeText(const ListedEntry& entry) {
  if (!entry.utc) return TimeText(entry.modified);
  return QDateTime::fromSecsSinceEpoch(*entry.utc).toString("yyyy-MM-dd HH:mm:ss");
}

// A list of ArchiveRow, each of which is made when the message takes it: archives have many.
struct SentEntries {
  const ListedArchive* archive = nullptr;
};

QDBusArgument& operator<<(QDBusArgument& argument, const SentEntries& sent) {
  argument.beginArray(QMetaType::fromType<ArchiveRow>());
  if (sent.archive != nullptr) {
    for (const ListedEntry& entry : sent.archive->entries) {
      argument << ArchiveRow{WholeText(entry.name), entry.size, entry.packed, TimeText(entry),
                             QString::fromStdString(entry.fault)};
    }
  }
  argument.endArray();
  return argument;
}
// Nobody sends it to the program.
const QDBusArgument& operator>>(const QDBusArgument& argument, SentEntries&) { return argument; }

QVariantMap EntriesOf(const ListedArchive& archive) {
  return {{kEntriesKey, QVariant::fromValue(SentEntries{&archive})}};
}

QVariantMap Reason(const QString& reason) {
  return reason.isEmpty() ? QVariantMap() : QVariantMap{{kReasonKey, reason}};
}

// A call of the running copy's application interface, whose last argument is the token of the user's action. False if
// there is no copy on the bus.
bool CallApplication(const QDBusConnection& bus, const char* method, QVariantList arguments) {
  if (!bus.isConnected()) return false;
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kApplicationInterface, method);
  call.setAutoStartService(false);
  QVariantMap platformData;
  const QByteArray token = ActivationToken();
  if (!token.isEmpty()) platformData[kTokenKey] = QString::fromUtf8(token);
  arguments.append(platformData);
  call.setArguments(arguments);
  return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

}  // namespace

BusService::BusService(EventLoop& events, BusActions actions) : events_(events), actions_(std::move(actions)) {
  RegisterBusTypes();
  qDBusRegisterMetaType<SentEntries>();
  new AutomationAdaptor(this);  // QtDBus finds adaptors among the children
  new DownloadsAdaptor(this);
  new ApplicationAdaptor(this);
}

bool BusService::Register(QDBusConnection bus) {
  if (!bus.isConnected()) return false;
  bus_ = bus;
  callers_.setConnection(bus);
  callers_.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
  connect(&callers_, &QDBusServiceWatcher::serviceUnregistered, this, &BusService::CallerGone);
  // The object first: a call that started the program arrives as soon as the name is taken.
  if (!bus.registerObject(kBusPath, this, QDBusConnection::ExportAdaptors)) return false;
  const auto reply = bus.interface()->registerService(kBusName, QDBusConnectionInterface::DontQueueService,
                                                      QDBusConnectionInterface::DontAllowReplacement);
  return reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
}

// It may be gone before the bus knows that it is watched: then the bus, asked after that, has no such name.
void BusService::WatchCaller(const QString& caller) {
  callers_.addWatchedService(caller);
  QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                     "org.freedesktop.DBus", "NameHasOwner");
  call << caller;
  auto* const asked = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
  connect(asked, &QDBusPendingCallWatcher::finished, this, [this, asked, caller] {
    asked->deleteLater();
    const QDBusPendingReply<bool> reply = *asked;
    if (!reply.isError() && !reply.value()) CallerGone(caller);
  });
}

void BusService::CallerGone(const QString& caller) {
  if (!callers_.removeWatchedService(caller)) return;
  events_.Post([gone = actions_.callerGone, name = caller.toStdString()] { gone(name); });
}

void BusService::MenuURL(const QString& url, const QString& refURL, const QString& cookie) {
  events_.Post([call = actions_.menuUrl, u = url.toStdString(), r = refURL.toStdString(), c = cookie.toStdString()] {
    call(u, r, c);
  });
}

void BusService::LeechURL(const QString& url, const QString& refURL) {
  events_.Post([call = actions_.leechUrl, u = url.toStdString(), r = refURL.toStdString()] { call(u, r); });
}

// A message of thousands of rows takes longer to write than the windows may wait.
void BusService::List(const QDBusMessage& call) const {
  call.setDelayedReply(true);
  QThreadPool::globalInstance()->start(
      [bus = bus_, call, rows = actions_.list()] { bus.send(call.createReply(QVariant::fromValue(rows()))); });
}

void BusService::Details(const QDBusMessage& call) const {
  call.setDelayedReply(true);
  QThreadPool::globalInstance()->start([bus = bus_, call, rows = actions_.list()] {
    QList<DetailRow> details;
    for (const DownloadRow& row : rows()) details.append({row});
    bus.send(call.createReply(QVariant::fromValue(details)));
  });
}

void BusService::Show() { events_.Post(actions_.show); }

void BusService::ResumeAll() { events_.Post(actions_.resumeAll); }

void BusService::AddUrl() { events_.Post(actions_.addUrl); }

void BusService::Open(const QStringList& addresses) {
  std::vector<std::string> texts;
  for (const QString& address : addresses) texts.push_back(address.toStdString());
  events_.Post([open = actions_.open, texts = std::move(texts)] { open(texts); });
}

void BusService::Add(const QVariantMap& request, const QDBusMessage& call) {
  call.setDelayedReply(true);
  QString refusal;
  ScriptedAdd wanted = RequestIn(KeysOfAdd(), request, refusal);
  if (!refusal.isEmpty()) {
    bus_.send(call.createReply(Reason(refusal)));
    return;
  }
  events_.Post([add = actions_.add, wanted = std::move(wanted), added = ReplyWithIds(call)] { add(wanted, added); });
}

void BusService::TakeOver(const QVariantMap& request, const QDBusMessage& call) {
  call.setDelayedReply(true);
  QString refusal;
  ScriptedAdd wanted = RequestIn(KeysOfTakingOver(), request, refusal);
  if (refusal.isEmpty() && !(request.contains(kSizeKey) && request.contains(kTypeKey))) {
    refusal = "The request does not say what the browser got.";
  }
  if (!refusal.isEmpty()) {
    bus_.send(call.createReply(Reason(refusal)));
    return;
  }
  WatchCaller(call.service());
  wanted.caller = call.service().toStdString();
  events_.Post(
      [take = actions_.takeOver, wanted = std::move(wanted), taken = ReplyWithIds(call)] { take(wanted, taken); });
}

void BusService::ListArchive(const QVariantMap& request, const QDBusMessage& call) {
  call.setDelayedReply(true);
  QString refusal;
  ArchiveOrder order = RequestIn(KeysOfListing(), request, refusal);
  if (!refusal.isEmpty()) {
    bus_.send(call.createReply(Reason(refusal)));
    return;
  }
  WatchCaller(call.service());
  order.caller = call.service().toStdString();
  const BusActions::Listed listed = [bus = bus_, call](const ListedArchive& archive) {
    const bool none = !archive.reason.empty();
    bus.send(call.createReply(none ? Reason(WholeText(archive.reason)) : EntriesOf(archive)));
  };
  events_.Post([list = actions_.listArchive, order = std::move(order), listed] { list(order, listed); });
}

void BusService::GetFromArchive(const QVariantMap& request, const QDBusMessage& call) {
  call.setDelayedReply(true);
  QString refusal;
  ArchiveOrder order = RequestIn(KeysOfGetting(), request, refusal);
  if (!refusal.isEmpty()) {
    bus_.send(call.createReply(Reason(refusal)));
    return;
  }
  events_.Post(
      [get = actions_.getFromArchive, order = std::move(order), added = ReplyWithIds(call)] { get(order, added); });
}

BusActions::Added BusService::ReplyWithIds(const QDBusMessage& call) const {
  return [bus = bus_, call](const std::vector<std::string>& ids, const std::string& reason) {
    QVariantMap answer = Reason(WholeText(reason));
    QStringList texts;
    for (const std::string& id : ids) texts << QString::fromStdString(id);
    if (!texts.isEmpty()) answer.insert(kIdKey, texts.first());
    if (texts.size() > 1) answer.insert(kIdsKey, texts);
    bus.send(call.createReply(answer));
  };
}

void BusService::ReplyAfter(std::function<std::string()> act, const QDBusMessage& call) {
  call.setDelayedReply(true);
  events_.Post(
      [bus = bus_, act = std::move(act), call] { bus.send(call.createReply(Reason(QString::fromStdString(act())))); });
}

void BusService::Change(const std::function<std::string(const std::string&)>& change, const QString& id,
                        const QDBusMessage& call) {
  ReplyAfter([change, text = id.toStdString()] { return change(text); }, call);
}

void BusService::PauseAll(const QDBusMessage& call) { ReplyAfter(actions_.pauseAll, call); }

void BusService::ShowWindow(const QString& id, const QVariantMap& platformData, const QDBusMessage& call) {
  TakeActivationToken(platformData);
  Change(actions_.showWindow, id, call);
}

void BusService::SetLimit(const QString& id, int limit, const QDBusMessage& call) {
  ReplyAfter([set = actions_.setLimit, text = id.toStdString(), limit] { return set(text, limit); }, call);
}

void BusService::Limit(const QDBusMessage& call) {
  call.setDelayedReply(true);
  events_.Post([bus = bus_, limit = actions_.limit, call] {
    bus.send(call.createReply(QVariantMap{{kLimitKey, limit()}}));
  });
}

void BusService::Quit() { events_.Post(actions_.quit); }

void AutomationAdaptor::MenuURL(const QString& URL, const QString& refURL, const QString& cookie) {
  service_->MenuURL(URL, refURL, cookie);
}

void AutomationAdaptor::LeechURL(const QString& URL, const QString& refURL) { service_->LeechURL(URL, refURL); }

QList<DownloadRow> DownloadsAdaptor::List(const QDBusMessage& call) const {
  service_->List(call);
  return {};  // the reply is sent later
}

QList<DetailRow> DownloadsAdaptor::Details(const QDBusMessage& call) const {
  service_->Details(call);
  return {};
}

QVariantMap DownloadsAdaptor::Add(const QVariantMap& request, const QDBusMessage& call) {
  service_->Add(request, call);
  return {};  // the reply is sent later
}

QVariantMap DownloadsAdaptor::TakeOver(const QVariantMap& request, const QDBusMessage& call) {
  service_->TakeOver(request, call);
  return {};
}

QVariantMap DownloadsAdaptor::Release(const QString& id, const QDBusMessage& call) {
  service_->Release(id, call);
  return {};
}

QVariantMap DownloadsAdaptor::ListArchive(const QVariantMap& request, const QDBusMessage& call) {
  service_->ListArchive(request, call);
  return {};
}

QVariantMap DownloadsAdaptor::GetFromArchive(const QVariantMap& request, const QDBusMessage& call) {
  service_->GetFromArchive(request, call);
  return {};
}

QVariantMap DownloadsAdaptor::Pause(const QString& id, const QDBusMessage& call) {
  service_->Pause(id, call);
  return {};
}

QVariantMap DownloadsAdaptor::PauseAll(const QDBusMessage& call) {
  service_->PauseAll(call);
  return {};
}

QVariantMap DownloadsAdaptor::Resume(const QString& id, const QDBusMessage& call) {
  service_->Resume(id, call);
  return {};
}

QVariantMap DownloadsAdaptor::Remove(const QString& id, const QDBusMessage& call) {
  service_->Remove(id, call);
  return {};
}

QVariantMap DownloadsAdaptor::ShowWindow(const QString& id, const QVariantMap& platform_data,
                                         const QDBusMessage& call) {
  service_->ShowWindow(id, platform_data, call);
  return {};
}

QVariantMap DownloadsAdaptor::SetLimit(const QString& id, int limit, const QDBusMessage& call) {
  service_->SetLimit(id, limit, call);
  return {};
}

QVariantMap DownloadsAdaptor::Limit(const QDBusMessage& call) {
  service_->Limit(call);
  return {};
}

void DownloadsAdaptor::Quit() { service_->Quit(); }

void ApplicationAdaptor::Activate(const QVariantMap& platform_data) {
  TakeActivationToken(platform_data);
  service_->Show();
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data) {
  TakeActivationToken(platform_data);
  service_->Open(uris);
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList&,
                                        const QVariantMap& platform_data) {
  TakeActivationToken(platform_data);
  if (action_name == kResumeAllAction) service_->ResumeAll();
  if (action_name == kAddUrlAction) service_->AddUrl();
}

BusWatch::BusWatch(QDBusConnection bus, std::function<void()> ended) : ended_(std::move(ended)) {
  bus.connect({}, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected", this,
              SLOT(Disconnected()));
}

bool RunningCopyFound(const QDBusConnection& bus) {
  if (!bus.isConnected()) return false;
  return bus.interface()->isServiceRegistered(kBusName).value();
}

bool RunningCopyIsHeadless(const QDBusConnection& bus) {
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "Headless");
  call.setAutoStartService(false);
  return QDBusReply<bool>(bus.call(call, QDBus::Block, 5000)).value();
}

bool RaiseRunningCopy(const QDBusConnection& bus) { return CallApplication(bus, "Activate", {}); }

bool OpenInRunningCopy(const QDBusConnection& bus, const QStringList& addresses) {
  return CallApplication(bus, "Open", {addresses});
}

QString AddInRunningCopy(const QDBusConnection& bus, const QString& address) {
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "Add");
  call.setAutoStartService(false);
  QVariantMap request{{kUrlKey, address}};
  // Only where it matters: a copy that runs since before an update may not know it.
  if (address.startsWith('/') || address.startsWith("file:", Qt::CaseInsensitive)) request.insert(kFileKey, true);
  call.setArguments({request});
  constexpr int kPatience = 60'000;  // for the disk, and for thousands of addresses
  const QDBusReply<QVariantMap> reply = bus.call(call, QDBus::Block, kPatience);
  return reply.isValid() ? reply.value().value(kReasonKey).toString() : reply.error().message();
}

bool AddUrlInRunningCopy(const QDBusConnection& bus) {
  return CallApplication(bus, "ActivateAction", {QString(kAddUrlAction), QVariantList()});
}

}  // namespace pellora
