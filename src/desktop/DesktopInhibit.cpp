#include "desktop/DesktopInhibit.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>
#include <QVariantList>
#include <utility>

#include "desktop/DisplayText.h"

namespace pellora {

namespace {

constexpr const char* kName = "pellora";

struct Service {
  bool ofSystem;
  const char* name;
  const char* path;
  const char* interface;
  QVariantList (*arguments)(const QString& reason);
  QVariantList (*otherwise)(const QString& reason);  // if those are refused; may be null
  const char* release;  // the method that takes the cookie back; null: the reply is a descriptor, to be closed
};

QVariantList ForSession(const QString& reason) {
  constexpr uint kNoWindow = 0;
  constexpr uint kSuspend = 4;
  return {QLatin1String(kName), kNoWindow, reason, kSuspend};
}

QVariantList ForPower(const QString& reason) { return {QLatin1String(kName), reason}; }

QVariantList ForLogin(const QString& reason) {
  return {QStringLiteral("sleep"), QLatin1String(kName), reason, QStringLiteral("block-weak")};
}

QVariantList ForOlderLogin(const QString& reason) {
  return {QStringLiteral("sleep"), QLatin1String(kName), reason, QStringLiteral("block")};
}

QVariantList ForDelay(const QString& reason) {
  return {QStringLiteral("sleep"), QLatin1String(kName), reason, QStringLiteral("delay")};
}

constexpr const char* kLogin = "org.freedesktop.login1";
constexpr const char* kLoginPath = "/org/freedesktop/login1";
constexpr const char* kLoginManager = "org.freedesktop.login1.Manager";

constexpr Service kServices[] = {
    {false, "org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager", &ForSession, nullptr,
     "Uninhibit"},
    {false, "org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
     "org.freedesktop.PowerManagement.Inhibit", &ForPower, nullptr, "UnInhibit"},
    {true, kLogin, kLoginPath, kLoginManager, &ForLogin, &ForOlderLogin, nullptr},
};
constexpr Service kDelay{true, kLogin, kLoginPath, kLoginManager, &ForDelay, nullptr, nullptr};

}  // namespace

// One service. A reply that comes after its Release, or after the service has restarted, is given back at once.
class Inhibitor final : public QObject {
 public:
  explicit Inhibitor(const Service& service)
      : service_(service),
        bus_(service.ofSystem ? QDBusConnection::systemBus() : QDBusConnection::sessionBus()),
        watcher_(QLatin1String(service.name), bus_, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) { OwnerChanged(!owner.isEmpty()); });
  }

  void Hold(const QString& reason) {
    held_ = true;
    reason_ = reason;
    Ask(service_.arguments, service_.otherwise);
  }

  void Release() {
    held_ = false;
    ++asked_;
    GiveBack(std::exchange(given_, {}));
  }

 private:
  QDBusMessage Call(const char* method) const {
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(service_.name), QLatin1String(service_.path),
                                                       QLatin1String(service_.interface), QLatin1String(method));
    call.setAutoStartService(false);
    return call;
  }

  void OwnerChanged(bool there) {
    ++asked_;
    given_ = {};  // what it gave was its predecessor's
    if (there && held_) Ask(service_.arguments, service_.otherwise);
  }

  using Arguments = decltype(Service::arguments);
  void Ask(Arguments arguments, Arguments otherwise) {
    if (!bus_.isConnected()) return;
    QDBusMessage call = Call("Inhibit");
    call.setArguments(arguments(reason_));
    auto* const pending = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, otherwise, asked = ++asked_] {
      pending->deleteLater();
      const QDBusMessage reply = pending->reply();
      const bool refused = reply.type() == QDBusMessage::ErrorMessage;
      if (refused && otherwise != nullptr && asked == asked_) return Ask(otherwise, nullptr);
      if (refused || reply.arguments().isEmpty()) return;
      if (asked == asked_) {
        given_ = reply.arguments().first();
      } else {
        GiveBack(reply.arguments().first());
      }
    });
  }

  // A descriptor is closed with its last copy.
  void GiveBack(const QVariant& given) {
    if (service_.release == nullptr || !given.isValid()) return;
    QDBusMessage call = Call(service_.release);
    call.setArguments({given});
    bus_.send(call);
  }

  const Service& service_;
  QDBusConnection bus_;
  QDBusServiceWatcher watcher_;
  QString reason_;
  QVariant given_;  // cookie or descriptor; not valid while there is none
  quint64 asked_ = 0;
  bool held_ = false;
};

DesktopInhibit::DesktopInhibit(EventGate& gate) : gate_(gate) {}
DesktopInhibit::~DesktopInhibit() { Release(); }

void DesktopInhibit::MakeAll() {
  for (const Service& service : kServices) all_.push_back(std::make_unique<Inhibitor>(service));
  delay_ = std::make_unique<Inhibitor>(kDelay);
  QDBusConnection::systemBus().connect(QLatin1String(kLogin), QLatin1String(kLoginPath), QLatin1String(kLoginManager),
                                       QStringLiteral("PrepareForSleep"), this, SLOT(PrepareForSleep(bool)));
}

void DesktopInhibit::Hold(const std::string& reason) {
  if (all_.empty()) MakeAll();
  held_ = true;
  reason_ = WholeText(reason);
  for (const auto& one : all_) one->Hold(reason_);
  delay_->Hold(reason_);
}

void DesktopInhibit::Release() {
  held_ = false;
  for (const auto& one : all_) one->Release();
  if (delay_) delay_->Release();
}

// It comes before the computer sleeps, and when it has woken up.
void DesktopInhibit::PrepareForSleep(bool begins) {
  if (!held_) return;
  const bool waits = begins && onSleep;
  if (!waits) delay_->Release();
  if (!begins) delay_->Hold(reason_);
  if (waits) gate_.Deliver([this] { onSleep([this] { delay_->Release(); }); });
}

}  // namespace pellora
