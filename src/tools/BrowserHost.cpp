// The native messaging host: started by a browser for the extension, it passes each request to the program over the
// session bus and replies what became of it. The bus starts the program for an address that the user has chosen, but
// not to take over a download or to look at the list. Only replies may be written to standard output.
#include <unistd.h>

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QString>
#include <QVariantMap>
#include <csignal>

#include "core/WebAddress.h"
#include "desktop/BusTypes.h"
#include "tools/HostFrames.h"
#include "tools/HostList.h"
#include "tools/HostRequests.h"

namespace pellora {
namespace {

constexpr int kTimeoutMilliseconds = 30000;  // the program may have to start, or to wait for a server's answer

// A sandboxed browser may pass its hosts a disabled bus address.
QDBusConnection SessionBus() {
  const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
  if (!address.isEmpty() && address != "disabled:") return QDBusConnection::sessionBus();
  const QString usual = QStringLiteral("unix:path=") + qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus");
  return QDBusConnection::connectToBus(usual, QStringLiteral("session"));
}

QDBusMessage CallOf(const char* interface, const char* method, const QVariantList& arguments) {
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, interface, method);
  call.setArguments(arguments);
  return call;
}

// An address of the web engine is added by the call that says why it is refused, which depends on the settings; so is
// one of many, about which nothing is to be asked.
QDBusMessage CallToAdd(const HostRequest& request) {
  if (!request.newScheme && !request.quiet) {
    return CallOf(kAutomationInterface, "MenuURL", {request.url, request.referrer, request.cookie});
  }
  QVariantMap wanted{{kUrlKey, request.url}};
  // A page of the browser itself is not passed on: no server is to learn of it.
  if (ParseWebAddress(request.referrer.toStdString())) wanted.insert(kReferrerKey, request.referrer);
  if (!request.cookie.isEmpty()) wanted.insert(kCookiesKey, request.cookie);
  if (request.quiet) {
    wanted.insert(kQuietKey, true);
    wanted.insert(kBrowserKey, true);
  }
  return CallOf(kDownloadsInterface, "Add", {wanted});
}

QDBusMessage CallToTakeOver(const HostRequest& request) {
  QVariantMap wanted{{kUrlKey, request.url}, {kSizeKey, request.size}, {kTypeKey, request.type}};
  if (ParseWebAddress(request.referrer.toStdString())) wanted.insert(kReferrerKey, request.referrer);
  if (!request.cookie.isEmpty()) wanted.insert(kCookiesKey, request.cookie);
  if (!request.userAgent.isEmpty()) wanted.insert(kUserAgentKey, request.userAgent);
  return CallOf(kDownloadsInterface, "TakeOver", {wanted});
}

QDBusMessage CallFor(const HostRequest& request) {
  switch (request.command) {
    case HostCommand::TakeOver:
      return CallToTakeOver(request);
    case HostCommand::List:
      return CallOf(kDownloadsInterface, "Details", {});
    case HostCommand::Pause:
      return CallOf(kDownloadsInterface, "Pause", {request.id});
    case HostCommand::Resume:
      return CallOf(kDownloadsInterface, "Resume", {request.id});
    case HostCommand::Release:
      return CallOf(kDownloadsInterface, "Release", {request.id});
    case HostCommand::Open:
      return CallOf(kApplicationInterface, "Activate", {QVariantMap()});
    default:
      return CallToAdd(request);
  }
}

// The user has asked for the program itself.
bool StartsProgram(HostCommand command) { return command == HostCommand::Add || command == HostCommand::Open; }

QByteArray TextOfRows(const QDBusMessage& answer) {
  const QDBusReply<QList<DetailRow>> reply(answer);
  if (!reply.isValid()) return AnswerText(QStringLiteral("Pellora's list cannot be read."));
  QList<DownloadRow> rows;
  for (const DetailRow& detail : reply.value()) rows.append(detail.row);
  return ListText(rows);
}

QByteArray TextOfReply(const HostRequest& request, const QDBusMessage& answer) {
  if (request.command == HostCommand::List) return TextOfRows(answer);
  if (answer.signature() != QLatin1String("a{sv}")) return AnswerText({});
  const QVariantMap values = QDBusReply<QVariantMap>(answer).value();
  const bool takenOver = request.command == HostCommand::TakeOver;
  return AnswerText(values.value(kReasonKey).toString(), takenOver ? values.value(kIdKey).toString() : QString());
}

QByteArray TextOfError(const HostRequest& request, const QDBusMessage& answer) {
  const QDBusError error(answer);
  const bool absent = error.type() == QDBusError::ServiceUnknown ||
                      error.name() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
  if (absent && !StartsProgram(request.command)) return AbsentText();
  if (absent) {
    return AnswerText(QStringLiteral("Pellora is not running and could not be found; start it once by hand."));
  }
  return AnswerText(QStringLiteral("Pellora did not take the address: ") + answer.errorMessage());
}

// Passes the request to the program. Returns the reply to the extension.
QByteArray PassOn(const HostRequest& request) {
  if (!request.error.isEmpty()) return AnswerText(request.error);
  const QDBusConnection bus = SessionBus();
  if (!bus.isConnected()) return AnswerText(QStringLiteral("The session bus cannot be reached."));
  QDBusMessage call = CallFor(request);
  call.setAutoStartService(StartsProgram(request.command));
  const QDBusMessage answer = bus.call(call, QDBus::Block, kTimeoutMilliseconds);
  return answer.type() == QDBusMessage::ReplyMessage ? TextOfReply(request, answer) : TextOfError(request, answer);
}

QString Complaint(FrameEnd end) {
  switch (end) {
    case FrameEnd::CutShort:
      return QStringLiteral("The request was cut short.");
    case FrameEnd::Empty:
      return QStringLiteral("The request is empty.");
    default:
      return QStringLiteral("The request is too long.");
  }
}

int Serve() {
  RegisterBusTypes();
  QByteArray json;
  for (;;) {
    const FrameEnd end = ReadFrame(STDIN_FILENO, json);
    if (end == FrameEnd::End) return 0;
    if (end != FrameEnd::Frame) {
      // The start of the next frame is unknown.
      WriteFrame(STDOUT_FILENO, AnswerText(Complaint(end)));
      return 1;
    }
    if (!WriteFrame(STDOUT_FILENO, PassOn(ParseRequest(json)))) return 1;
  }
}

}  // namespace
}  // namespace pellora

int main() {
  signal(SIGPIPE, SIG_IGN);
  return pellora::Serve();
}
