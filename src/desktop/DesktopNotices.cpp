#include "desktop/DesktopNotices.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <utility>

#include "desktop/ActivationToken.h"
#include "desktop/DisplayText.h"

namespace pellora {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kLauncher = "com.canonical.Unity.LauncherEntry";

// Nothing waits for the answer: without it the buttons of a message, which a busy desktop may show late, would be dead.
constexpr int kPatience = 3'600'000;  // milliseconds

QDBusMessage CallOf(const char* method) {
  return QDBusMessage::createMethodCall(QLatin1String(kService), QLatin1String(kPath), QLatin1String(kService),
                                        QLatin1String(method));
}

}  // namespace

DesktopNotices::DesktopNotices(EventGate& gate, QDBusConnection bus, QString desktopId)
    : gate_(gate),
      bus_(std::move(bus)),
      watcher_(QLatin1String(kService), bus_, QDBusServiceWatcher::WatchForOwnerChange),
      desktopId_(std::move(desktopId)) {
  // Another desktop reads other texts, and counts its messages anew.
  connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
    readsMarkup_.reset();
    open_.clear();
  });
  const auto hear = [this](const char* signal, const char* slot) {
    bus_.connect(QLatin1String(kService), QLatin1String(kPath), QLatin1String(kService), QLatin1String(signal), this,
                 slot);
  };
  hear("ActivationToken", SLOT(TokenGiven(quint32, QString)));
  hear("ActionInvoked", SLOT(Chosen(quint32, QString)));
  hear("NotificationClosed", SLOT(Closed(quint32, quint32)));
}

void DesktopNotices::Show(const Notice& notice, Action chosen) {
  if (!bus_.isConnected()) return;
  if (readsMarkup_) return Send(notice, std::move(chosen));
  auto* const asked = new QDBusPendingCallWatcher(bus_.asyncCall(CallOf("GetCapabilities"), kPatience), this);
  connect(asked, &QDBusPendingCallWatcher::finished, this, [this, asked, notice, chosen = std::move(chosen)] {
    asked->deleteLater();
    const QDBusPendingReply<QStringList> reply = *asked;
    if (reply.isError()) return;  // no desktop that shows any
    readsMarkup_ = reply.value().contains(QLatin1String("body-markup"));
    Send(notice, chosen);
  });
}

void DesktopNotices::Send(const Notice& notice, Action chosen) {
  QStringList buttons;
  for (const Notice::Button& button : notice.buttons) buttons << WholeText(button.key) << DisplayLine(button.caption);
  const QString text = DisplayMessage(notice.text);
  QVariantMap hints{{QStringLiteral("desktop-entry"), desktopId_},
                    {QStringLiteral("category"),
                     notice.stopped ? QStringLiteral("transfer.error") : QStringLiteral("transfer.complete")}};
  constexpr quint32 kNew = 0;
  constexpr qint32 kAsUsual = -1;  // it is shown for as long as the desktop shows messages
  QDBusMessage call = CallOf("Notify");
  call.setArguments({QStringLiteral("Pellora !"), kNew, desktopId_, DisplayLine(notice.title),
                     *readsMarkup_ ? text.toHtmlEscaped() : text, buttons, hints, kAsUsual});
  auto* const shown = new QDBusPendingCallWatcher(bus_.asyncCall(call, kPatience), this);
  connect(shown, &QDBusPendingCallWatcher::finished, this, [this, shown, chosen = std::move(chosen)] {
    shown->deleteLater();
    const QDBusPendingReply<quint32> reply = *shown;
    if (reply.isError()) {
      readsMarkup_.reset();  // another desktop may come
    } else {
      open_.insert(reply.value(), chosen);
    }
  });
}

// Comes before the choice, for what the choice opens.
void DesktopNotices::TokenGiven(quint32 id, const QString& token) {
  if (open_.contains(id)) SetActivationToken(token.toUtf8());
}

// Messages of all programs are reported to all.
void DesktopNotices::Chosen(quint32 id, const QString& key) {
  const Action action = open_.take(id);
  if (action) gate_.Deliver([&] { action(key.toStdString()); });
}

void DesktopNotices::Closed(quint32 id, quint32 /*reason*/) { open_.remove(id); }

void DesktopNotices::ShowTaskbar(const TaskbarState& state) {
  if (!bus_.isConnected()) return;
  QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/pellora/Taskbar"), QLatin1String(kLauncher),
                                                   QStringLiteral("Update"));
  const QVariantMap shown{{QStringLiteral("count"), static_cast<qlonglong>(state.count)},
                          {QStringLiteral("count-visible"), state.count > 0},
                          {QStringLiteral("progress"), state.share.value_or(0)},
                          {QStringLiteral("progress-visible"), state.share.has_value()}};
  signal.setArguments({QStringLiteral("application://%1.desktop").arg(desktopId_), shown});
  bus_.send(signal);
}

}  // namespace pellora
