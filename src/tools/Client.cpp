#include "tools/Client.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>

namespace pellora {

namespace {

constexpr int kCallMilliseconds = 30000;  // for a reply; a call may have to start the program first
constexpr int kServerMilliseconds = 600000;

QDBusMessage Call(const char* interface, const char* method) {
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, interface, method);
  call.setAutoStartService(false);
  return call;
}

}  // namespace

Client::Client() : bus_(QDBusConnection::sessionBus()) { RegisterBusTypes(); }

bool Client::ProgramRuns() const {
  const QDBusReply<bool> owned = bus_.interface()->isServiceRegistered(kBusName);
  return owned.isValid() && owned.value();
}

std::optional<QList<DownloadRow>> Client::List() {
  const QDBusReply<QList<DetailRow>> reply =
      bus_.call(Call(kDownloadsInterface, "Details"), QDBus::Block, kCallMilliseconds);
  if (!reply.isValid()) {
    Failed(reply.error(), false);
    return std::nullopt;
  }
  QList<DownloadRow> rows;
  for (const DetailRow& detail : reply.value()) rows.append(detail.row);
  return rows;
}

std::optional<QVariantMap> Client::Ask(const char* method, const QVariantList& arguments, IfNotRunning ifNotRunning) {
  return Ask(method, arguments, ifNotRunning, kCallMilliseconds);
}

std::optional<QVariantMap> Client::AskServer(const char* method, const QVariantMap& request) {
  return Ask(method, {request}, IfNotRunning::Start, kServerMilliseconds);
}

std::optional<QVariantMap> Client::Ask(const char* method, const QVariantList& arguments, IfNotRunning ifNotRunning,
                                       int milliseconds) {
  QDBusMessage call = Call(kDownloadsInterface, method);
  call.setArguments(arguments);
  call.setAutoStartService(ifNotRunning == IfNotRunning::Start);
  const QDBusReply<QVariantMap> reply = bus_.call(call, QDBus::Block, milliseconds);
  if (reply.isValid()) return reply.value();
  Failed(reply.error(), ifNotRunning == IfNotRunning::Start);
  return std::nullopt;
}

bool Client::ResumeAll() {
  QDBusMessage call = Call(kApplicationInterface, "ActivateAction");
  call << QString(kResumeAllAction) << QVariantList() << QVariantMap();
  return Tell(call);
}

bool Client::Quit() { return Tell(Call(kDownloadsInterface, "Quit")); }

bool Client::Tell(const QDBusMessage& call) {
  const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallMilliseconds);
  return reply.type() == QDBusMessage::ReplyMessage || Failed(QDBusError(reply), false);
}

// False, with the reason in Error.
bool Client::Failed(const QDBusError& error, bool wasStarted) {
  if (ProgramRuns()) {
    error_ = "Pellora does not reply: " + error.message();
  } else if (wasStarted) {
    error_ = "Pellora is not running, and the bus does not know how to start it. Start Pellora once by hand.";
  } else {
    error_ = "Pellora is not running.";
  }
  return false;
}

}  // namespace pellora
