#include "desktop/SecretService.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QTimer>
#include <utility>

#include "async/EventGate.h"
#include "desktop/DisplayText.h"

namespace pellora {

namespace {

constexpr const char* kService = "org.freedesktop.secrets";
constexpr const char* kServicePath = "/org/freedesktop/secrets";
constexpr const char* kServiceInterface = "org.freedesktop.Secret.Service";
constexpr const char* kCollectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* kItemInterface = "org.freedesktop.Secret.Item";
constexpr const char* kPromptInterface = "org.freedesktop.Secret.Prompt";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kUser = "user";
constexpr int kReplyWithin = 30'000;  // ms

// "(oayays)"
struct Secret {
  QDBusObjectPath session;
  QByteArray parameters;
  QByteArray value;
  QString contentType;
};

QDBusArgument& operator<<(QDBusArgument& out, const Secret& secret) {
  out.beginStructure();
  out << secret.session << secret.parameters << secret.value << secret.contentType;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, Secret& secret) {
  in.beginStructure();
  in >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
  in.endStructure();
  return in;
}

QMap<QString, QString> AttributesOf(const SecretPlace& place, const std::string& user) {
  QMap<QString, QString> attributes{{"application", "pellora"},
                                    {"scheme", WholeText(place.scheme)},
                                    {"host", WholeText(place.host)},
                                    {"port", QString::number(place.port)},
                                    {"realm", WholeText(place.realm)}};
  if (!user.empty()) attributes.insert(kUser, WholeText(user));
  return attributes;
}

bool IsNone(const QDBusObjectPath& path) { return path.path().isEmpty() || path.path() == QLatin1String("/"); }

// A default value if the service has sent another type: QtDBus would look for the end of a list of others forever.
template <class Value>
Value As(const QVariant& value) {
  if (value.metaType() != QMetaType::fromType<QDBusArgument>()) return qvariant_cast<Value>(value);
  const auto argument = qvariant_cast<QDBusArgument>(value);
  const QString wanted = QString::fromLatin1(QDBusMetaType::typeToSignature(QMetaType::fromType<Value>()));
  return argument.currentSignature() == wanted ? qdbus_cast<Value>(argument) : Value();
}

// The argument at `index`; a default value if the reply is an error or has none of this type.
template <class Value>
Value Argument(const QDBusMessage& reply, int index) {
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() <= index) return {};
  return As<Value>(reply.arguments().at(index));
}

QVariant Boxed(const QString& text) { return QVariant::fromValue(QDBusVariant(text)); }

}  // namespace

}  // namespace pellora

Q_DECLARE_METATYPE(pellora::Secret)

namespace pellora {

SecretPrompt::SecretPrompt(QObject* parent, QDBusConnection bus, const QString& path, Done done)
    : QObject(parent), done_(std::move(done)) {
  bus.connect(kService, path, kPromptInterface, QStringLiteral("Completed"), this, SLOT(Completed(bool, QDBusVariant)));
}

void SecretPrompt::Completed(bool dismissed, const QDBusVariant& result) {
  const Done done = std::exchange(done_, {});
  if (done) done(dismissed, result.variant());
  deleteLater();
}

SecretService::SecretService(EventGate& gate, QDBusConnection bus, bool mayPrompt)
    : gate_(gate), bus_(std::move(bus)), mayPrompt_(mayPrompt) {
  qDBusRegisterMetaType<Secret>();
  qDBusRegisterMetaType<Attributes>();
}

void SecretService::Call(const QString& path, const char* interface, const char* method, const QVariantList& arguments,
                         Reply reply) {
  QDBusMessage call = QDBusMessage::createMethodCall(kService, path, interface, method);
  call.setArguments(arguments);
  auto* const watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kReplyWithin), &receiver_);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &receiver_,
                   [reply = std::move(reply)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     reply(finished->reply());
                   });
}

void SecretService::OpenSession(std::function<void(const Path& session)> opened) {
  Call(kServicePath, kServiceInterface, "OpenSession", {QStringLiteral("plain"), Boxed({})},
       [opened = std::move(opened)](const QDBusMessage& reply) { opened(Argument<Path>(reply, 1)); });
}

void SecretService::Search(const Attributes& attributes,
                           std::function<void(QList<Path> unlocked, QList<Path> locked)> found) {
  Call(kServicePath, kServiceInterface, "SearchItems", {QVariant::fromValue(attributes)},
       [found = std::move(found)](const QDBusMessage& reply) {
         found(Argument<QList<Path>>(reply, 0), Argument<QList<Path>>(reply, 1));
       });
}

void SecretService::Prompt(const Path& prompt, SecretPrompt::Done done) {
  if (!mayPrompt_) return done(true, {});
  auto* const waiting = new SecretPrompt(&receiver_, bus_, prompt.path(), done);
  // A window that nobody answers would stay behind all others.
  QTimer::singleShot(kReplyWithin, waiting, [this, prompt] {
    Call(prompt.path(), kPromptInterface, "Dismiss", {}, [](const QDBusMessage&) {});
  });
  Call(prompt.path(), kPromptInterface, "Prompt", {QString()}, [done](const QDBusMessage& reply) {
    if (reply.type() == QDBusMessage::ErrorMessage) done(true, {});
  });
}

void SecretService::Unlock(const Path& object, std::function<void(bool unlocked)> done) {
  Call(kServicePath, kServiceInterface, "Unlock", {QVariant::fromValue(QList<Path>{object})},
       [this, object, done = std::move(done)](const QDBusMessage& reply) {
         if (Argument<QList<Path>>(reply, 0).contains(object)) return done(true);
         const auto prompt = Argument<Path>(reply, 1);
         if (IsNone(prompt)) return done(false);
         Prompt(prompt, [done](bool dismissed, const QVariant&) { done(!dismissed); });
       });
}

void SecretService::Read(const Path& item, const Path& session, std::function<void(std::optional<Login> login)> done) {
  const auto withAttributes = [this, item, session, done = std::move(done)](const QDBusMessage& reply) {
    const auto attributes = As<Attributes>(Argument<QDBusVariant>(reply, 0).variant());
    const std::string user = ModelText(attributes.value(kUser));
    Call(item.path(), kItemInterface, "GetSecret", {QVariant::fromValue(session)},
         [user, done](const QDBusMessage& secret) {
           if (secret.type() != QDBusMessage::ReplyMessage) return done(std::nullopt);
           done(Login{user, Argument<Secret>(secret, 0).value.toStdString()});
         });
  };
  Call(item.path(), kPropertiesInterface, "Get", {QString(kItemInterface), QStringLiteral("Attributes")},
       withAttributes);
}

void SecretService::LookUp(const SecretPlace& place, const std::string& user,
                           std::function<void(std::optional<Login> login)> answered) {
  const auto answer = [this, answered = std::move(answered)](const std::optional<Login>& login) {
    gate_.Deliver([&] { answered(login); });
  };
  OpenSession([this, attributes = AttributesOf(place, user), answer](const Path& session) {
    if (IsNone(session)) return answer(std::nullopt);
    Search(attributes, [this, session, answer](const QList<Path>& unlocked, const QList<Path>& locked) {
      if (!unlocked.isEmpty()) return Read(unlocked.first(), session, answer);
      if (locked.isEmpty()) return answer(std::nullopt);
      const Path item = locked.first();
      Unlock(item, [this, item, session, answer](bool opened) {
        if (opened) return Read(item, session, answer);
        answer(std::nullopt);
      });
    });
  });
}

void SecretService::FindCollection(std::function<void(const Path& collection)> found) {
  Call(kServicePath, kServiceInterface, "ReadAlias", {QStringLiteral("default")},
       [this, found = std::move(found)](const QDBusMessage& reply) {
         const auto known = Argument<Path>(reply, 0);
         if (!IsNone(known) || reply.type() == QDBusMessage::ErrorMessage || !mayPrompt_) return found(known);
         const QVariantMap properties{{"org.freedesktop.Secret.Collection.Label", QStringLiteral("Default")}};
         Call(kServicePath, kServiceInterface, "CreateCollection", {properties, QStringLiteral("default")},
              [this, found](const QDBusMessage& created) {
                const auto collection = Argument<Path>(created, 0);
                const auto prompt = Argument<Path>(created, 1);
                if (!IsNone(collection) || IsNone(prompt)) return found(collection);
                Prompt(prompt, [found](bool dismissed, const QVariant& result) {
                  found(dismissed ? Path() : As<Path>(result));
                });
              });
       });
}

void SecretService::Store(const SecretPlace& place, const Login& login, std::function<void(bool stored)> answered) {
  const auto answer = [this, answered = std::move(answered)](bool stored) { gate_.Deliver([&] { answered(stored); }); };
  QVariantMap properties;
  properties["org.freedesktop.Secret.Item.Label"] = WholeText(login.user + " @ " + place.host + " (Pellora)");
  properties["org.freedesktop.Secret.Item.Attributes"] = QVariant::fromValue(AttributesOf(place, login.user));
  const QByteArray password = QByteArray::fromStdString(login.password);
  OpenSession([this, properties, password, answer](const Path& session) {
    if (IsNone(session)) return answer(false);
    FindCollection([this, properties, password, session, answer](const Path& collection) {
      if (IsNone(collection)) return answer(false);
      Unlock(collection, [this, properties, password, session, collection, answer](bool opened) {
        if (!opened) return answer(false);
        const Secret secret{session, {}, password, QStringLiteral("text/plain")};
        Call(collection.path(), kCollectionInterface, "CreateItem", {properties, QVariant::fromValue(secret), true},
             [this, answer](const QDBusMessage& reply) {
               const auto prompt = Argument<Path>(reply, 1);
               if (!IsNone(Argument<Path>(reply, 0)) || IsNone(prompt))
                 return answer(!IsNone(Argument<Path>(reply, 0)));
               Prompt(prompt, [answer](bool dismissed, const QVariant&) { answer(!dismissed); });
             });
      });
    });
  });
}

void SecretService::Delete(const SecretPlace& place, const std::string& user) {
  Search(AttributesOf(place, user), [this](const QList<Path>& unlocked, const QList<Path>&) {
    for (const Path& item : unlocked) Call(item.path(), kItemInterface, "Delete", {}, [](const QDBusMessage&) {});
  });
}

}  // namespace pellora
