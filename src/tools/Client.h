// Client: pelloractl's calls of the program over the session bus.
#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <optional>

#include "desktop/BusTypes.h"

namespace pellora {

// Whether the bus may start the program for a call.
enum class IfNotRunning { Fail, Start };

class Client {
 public:
  Client();

  bool Connected() const { return bus_.isConnected(); }
  bool ProgramRuns() const;
  // Where a call returns nothing, the program cannot be reached: why is in Error.
  const QString& Error() const { return error_; }

  std::optional<QList<DownloadRow>> List();
  // The reply of a method that takes these arguments: "reason" in it says why nothing was done.
  std::optional<QVariantMap> Ask(const char* method, const QVariantList& arguments,
                                 IfNotRunning ifNotRunning = IfNotRunning::Fail);
  // The same of a method that asks a server, which may take long. It starts the program if necessary.
  std::optional<QVariantMap> AskServer(const char* method, const QVariantMap& request);
  bool ResumeAll();
  bool Quit();

 private:
  std::optional<QVariantMap> Ask(const char* method, const QVariantList& arguments, IfNotRunning ifNotRunning,
                                 int milliseconds);
  bool Tell(const QDBusMessage& call);
  bool Failed(const QDBusError& error, bool wasStarted);

  QDBusConnection bus_;
  QString error_;
};

}  // namespace pellora
