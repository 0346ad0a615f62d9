#include "tools/HostRequests.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <cmath>
#include <map>

#include "core/Scheme.h"
#include "core/WebAddress.h"

namespace pellora {

namespace {

// Characters. Browsers have lower limits for addresses, and servers for what a request sends.
constexpr qsizetype kLongestText = 65'536;
constexpr qsizetype kLongestWord = 1'024;

constexpr double kLargestInteger = 9'007'199'254'740'992;  // that a number of JSON holds exactly

// Reads the values of a request, and remembers what was wrong with the first wrong one.
class Reader {
 public:
  explicit Reader(const QJsonObject& object) : object_(object) {}

  // Absent or null is empty. The bus allows no NUL in a text.
  QString Text(const char* name, qsizetype longest) {
    const QJsonValue value = object_.value(QLatin1String(name));
    const QString text = value.toString();
    const bool isText = value.isString() || value.isNull() || value.isUndefined();
    if (!isText || text.contains(QChar(u'\0')))
      Fail(QStringLiteral("The request contains a value that is not a text."));
    if (text.size() > longest) Fail(QStringLiteral("The request contains a text that is too long."));
    return fault_.isEmpty() ? text : QString();
  }

  bool Flag(const char* name) {
    const QJsonValue value = object_.value(QLatin1String(name));
    if (!value.isBool() && !value.isUndefined()) {
      Fail(QStringLiteral("The request contains a value that is neither true nor false."));
    }
    return value.toBool();
  }

  // -1 or more.
  qint64 Size(const char* name) {
    const QJsonValue value = object_.value(QLatin1String(name));
    const double number = value.toDouble();
    const bool isSize = value.isDouble() && number >= -1 && number <= kLargestInteger && std::floor(number) == number;
    if (!isSize) Fail(QStringLiteral("The request contains no size."));
    return isSize ? static_cast<qint64>(number) : -1;
  }

  void Fail(const QString& fault) {
    if (fault_.isEmpty()) fault_ = fault;
  }
  const QString& Fault() const { return fault_; }

 private:
  const QJsonObject& object_;
  QString fault_;
};

HostCommand CommandIn(Reader& reader) {
  static const std::map<QString, HostCommand> kCommands = {
      {{}, HostCommand::Add},
      {"add", HostCommand::Add},
      {"take-over", HostCommand::TakeOver},
      {"list", HostCommand::List},
      {"pause", HostCommand::Pause},
      {"resume", HostCommand::Resume},
      {"release", HostCommand::Release},
      {"open", HostCommand::Open},
  };
  const auto found = kCommands.find(reader.Text("command", kLongestWord));
  if (found != kCommands.end()) return found->second;
  reader.Fail(QStringLiteral("Pellora does not know this request; its version is older than the extension's."));
  return HostCommand::Add;
}

bool IsWebAddress(const QString& url) {
  const auto address = ParseWebAddress(url.toStdString());
  return address && IsHttp(address->scheme);
}

void ReadAddress(Reader& reader, HostRequest& request) {
  request.url = reader.Text("url", kLongestText);
  request.referrer = reader.Text("referrer", kLongestText);
  request.cookie = reader.Text("cookie", kLongestText);
  request.quiet = reader.Flag("quiet");
  const std::string trimmed = request.url.trimmed().toStdString();
  request.newScheme = HasNewScheme(trimmed);
  if (!request.newScheme && !HasScheme(trimmed)) {
    reader.Fail(QStringLiteral("Pellora takes no addresses of this kind."));
  }
}

void ReadBegun(Reader& reader, HostRequest& request) {
  ReadAddress(reader, request);
  request.userAgent = reader.Text("userAgent", kLongestWord);
  request.size = reader.Size("size");
  request.type = reader.Text("type", kLongestWord);
  if (!IsWebAddress(request.url)) reader.Fail(QStringLiteral("Only downloads of web addresses are taken over."));
}

bool HasId(HostCommand command) {
  return command == HostCommand::Pause || command == HostCommand::Resume || command == HostCommand::Release;
}

QByteArray Written(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

}  // namespace

HostRequest ParseRequest(const QByteArray& json) {
  HostRequest request;
  const QJsonDocument document = QJsonDocument::fromJson(json);
  if (!document.isObject()) {
    request.error = QStringLiteral("The request is not a JSON object.");
    return request;
  }
  const QJsonObject object = document.object();
  Reader reader(object);
  request.command = CommandIn(reader);
  if (request.command == HostCommand::Add) ReadAddress(reader, request);
  if (request.command == HostCommand::TakeOver) ReadBegun(reader, request);
  if (HasId(request.command)) {
    request.id = reader.Text("id", kLongestWord);
    if (request.id.isEmpty()) reader.Fail(QStringLiteral("The request names no download."));
  }
  request.error = reader.Fault();
  return request;
}

QByteArray AnswerText(const QString& error, const QString& id) {
  QJsonObject answer{{QStringLiteral("ok"), error.isEmpty()}};
  if (!id.isEmpty()) answer.insert(QStringLiteral("id"), id);
  if (!error.isEmpty()) answer.insert(QStringLiteral("error"), error);
  return Written(answer);
}

QByteArray AbsentText() {
  return Written({{"ok", false}, {"absent", true}, {"error", QStringLiteral("Pellora is not running.")}});
}

}  // namespace pellora
