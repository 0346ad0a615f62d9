// The native messaging host: started by a browser for the extension, it passes each request to the program over the
// session bus, which starts the program if necessary, and replies whether the program took it. Only replies may be
// written to standard output.
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

namespace pellora {
namespace {

constexpr int kTimeoutMilliseconds = 30000;  // the program may have to start

// A sandboxed browser may pass its hosts a disabled bus address.
QDBusConnection SessionBus() {
  const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
  if (!address.isEmpty() && address != "disabled:") return QDBusConnection::sessionBus();
  const QString usual = QStringLiteral("unix:path=") + qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus");
  return QDBusConnection::connectToBus(usual, QStringLiteral("session"));
}

// An address of the web engine is added by the call that says why it is refused, which depends on the settings.
QDBusMessage CallFor(const HostRequest& request) {
  if (request.newScheme) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "Add");
    QVariantMap wanted{{kUrlKey, request.url}};
    // A page of the browser itself is not passed on: no server is to learn of it.
    if (ParseWebAddress(request.referrer.toStdString())) wanted.insert(kReferrerKey, request.referrer);
    if (!request.cookie.isEmpty()) wanted.insert(kCookiesKey, request.cookie);
    call << wanted;
    return call;
  }
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kAutomationInterface, "MenuURL");
  call << request.url << request.referrer << request.cookie;
  return call;
}

QString ReasonIn(const QDBusMessage& answer) {
  return QDBusReply<QVariantMap>(answer).value().value(kReasonKey).toString();
}

// Passes the request to the program. Returns why it failed, or an empty string.
QString PassOn(const HostRequest& request) {
  if (!request.error.isEmpty()) return request.error;
  const QDBusConnection bus = SessionBus();
  if (!bus.isConnected()) return QStringLiteral("The session bus cannot be reached.");
  const QDBusMessage answer = bus.call(CallFor(request), QDBus::Block, kTimeoutMilliseconds);
  if (answer.type() == QDBusMessage::ReplyMessage) return request.newScheme ? ReasonIn(answer) : QString();
  if (QDBusError(answer).type() == QDBusError::ServiceUnknown) {
    return QStringLiteral("Pellora is not running and could not be found; start it once by hand.");
  }
  return QStringLiteral("Pellora did not take the address: ") + answer.errorMessage();
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
  QByteArray json;
  for (;;) {
    const FrameEnd end = ReadFrame(STDIN_FILENO, json);
    if (end == FrameEnd::End) return 0;
    if (end != FrameEnd::Frame) {
      // The start of the next frame is unknown.
      WriteFrame(STDOUT_FILENO, AnswerText(Complaint(end)));
      return 1;
    }
    if (!WriteFrame(STDOUT_FILENO, AnswerText(PassOn(ParseRequest(json))))) return 1;
  }
}

}  // namespace
}  // namespace pellora

int main() {
  signal(SIGPIPE, SIG_IGN);
  return pellora::Serve();
}
