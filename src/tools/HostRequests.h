// HostRequests: what the browsers' extension asks its messaging host for, and the replies. Requests come from outside
// the program: each value is checked for its type and size.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace pellora {

enum class HostCommand : std::uint8_t {
  Add,       // an address, chosen by the user
  TakeOver,  // a download that the browser has begun
  List,      // what is not finished
  Pause,     // by id
  Resume,    // by id
  Release,   // what was taken over, by id: the user has cancelled it in the browser meanwhile
  Open,      // the main window; starts the program if necessary
};

// `error` is empty if it is valid. What the command has no use for is empty.
struct HostRequest {
  HostCommand command = HostCommand::Add;
  QString url;
  bool newScheme = false;  // of the web engine; whether the program takes it depends on its settings
  bool quiet = false;      // one of many: no window opens and no question is asked
  QString referrer;
  QString cookie;
  QString userAgent;
  qint64 size = -1;  // bytes that the browser is to get; -1: not stated
  QString type;      // media type that the browser got, without parameters
  QString id;        // of a download
  QString error;
};
HostRequest ParseRequest(const QByteArray& json);

// The reply to the extension: success if `error` is empty. `id` is of a download that was taken over.
QByteArray AnswerText(const QString& error, const QString& id = {});

// The same if the program is not running, and is not to be started.
QByteArray AbsentText();

}  // namespace pellora
