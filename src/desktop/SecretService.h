// SecretService: the port Secrets on the desktop's org.freedesktop.Secret.Service (Secret Service API 0.2).
//
// Passwords cross the session bus in a "plain" session: a program that can read the user's bus can also ask the
// service. Where nobody could answer a prompt, none is begun, and what is locked counts as missing. A service that is
// not there is started by the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>

#include "ports/Secrets.h"

namespace pellora {

class EventGate;

// Waits for one prompt of the service.
class SecretPrompt final : public QObject {
  Q_OBJECT

 public:
  using Done = std::function<void(bool dismissed, const QVariant& result)>;
  // Deletes itself after `done`.
  SecretPrompt(QObject* parent, QDBusConnection bus, const QString& path, Done done);

 public slots:
  void Completed(bool dismissed, const QDBusVariant& result);

 private:
  Done done_;
};

class SecretService final : public Secrets {
 public:
  SecretService(EventGate& gate, QDBusConnection bus, bool mayPrompt);

  void LookUp(const SecretPlace& place, const std::string& user,
              std::function<void(std::optional<Login> login)> answered) override;
  void Store(const SecretPlace& place, const Login& login, std::function<void(bool stored)> answered) override;
  void Delete(const SecretPlace& place, const std::string& user) override;

 private:
  using Attributes = QMap<QString, QString>;
  using Reply = std::function<void(const QDBusMessage& reply)>;
  using Path = QDBusObjectPath;

  void Call(const QString& path, const char* interface, const char* method, const QVariantList& arguments, Reply reply);
  void OpenSession(std::function<void(const Path& session)> opened);  // "" if there is no service
  void Search(const Attributes& attributes, std::function<void(QList<Path> unlocked, QList<Path> locked)> found);
  void Unlock(const Path& object, std::function<void(bool unlocked)> done);
  void FindCollection(std::function<void(const Path& collection)> found);  // ""
  void Prompt(const Path& prompt, SecretPrompt::Done done);
  void Read(const Path& item, const Path& session, std::function<void(std::optional<Login> login)> done);

  EventGate& gate_;
  QDBusConnection bus_;
  const bool mayPrompt_;
  QObject receiver_;  // of what has not been answered
};

}  // namespace pellora
