#include "tools/HostFrames.h"

#include <unistd.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <array>
#include <cerrno>
#include <cstring>

#include "core/Scheme.h"

namespace pellora {

namespace {

// Reads until `size` bytes or the end. Returns the number of bytes read.
std::size_t ReadBytes(int descriptor, char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(descriptor, data + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

// A string of the request; absent or null is empty. False for other types and for a NUL, which the bus does not allow
// in strings.
bool TakeText(const QJsonObject& request, const char* name, QString& text) {
  const QJsonValue value = request.value(QLatin1String(name));
  text = value.toString();
  return (value.isString() || value.isNull() || value.isUndefined()) && !text.contains(QChar(u'\0'));
}

}  // namespace

FrameEnd ReadFrame(int descriptor, QByteArray& json) {
  std::uint32_t length = 0;
  std::array<char, sizeof length> head{};
  const std::size_t got = ReadBytes(descriptor, head.data(), head.size());
  if (got == 0) return FrameEnd::End;
  if (got < head.size()) return FrameEnd::CutShort;
  std::memcpy(&length, head.data(), head.size());
  if (length == 0) return FrameEnd::Empty;
  if (length > kMaxFrameLength) return FrameEnd::TooLong;
  json.resize(static_cast<qsizetype>(length));
  return ReadBytes(descriptor, json.data(), length) == length ? FrameEnd::Frame : FrameEnd::CutShort;
}

bool WriteFrame(int descriptor, const QByteArray& json) {
  const auto length = static_cast<std::uint32_t>(json.size());
  QByteArray frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  frame += json;
  for (qsizetype done = 0; done < frame.size();) {
    const ssize_t count = ::write(descriptor, frame.constData() + done, static_cast<std::size_t>(frame.size() - done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += count;
  }
  return true;
}

HostRequest ParseRequest(const QByteArray& json) {
  HostRequest request;
  const QJsonDocument document = QJsonDocument::fromJson(json);
  if (!document.isObject()) {
    request.error = QStringLiteral("The request is not a JSON object.");
    return request;
  }
  const QJsonObject object = document.object();
  if (!TakeText(object, "url", request.url) || !TakeText(object, "referrer", request.referrer) ||
      !TakeText(object, "cookie", request.cookie)) {
    request.error = QStringLiteral("The request contains a value that is not a text.");
    return request;
  }
  const std::string trimmed = request.url.trimmed().toStdString();
  request.newScheme = HasNewScheme(trimmed);
  if (!request.newScheme && !HasScheme(trimmed)) {
    request.error = QStringLiteral("Pellora takes no addresses of this kind.");
  }
  return request;
}

QByteArray AnswerText(const QString& error) {
  QJsonObject answer{{QStringLiteral("ok"), error.isEmpty()}};
  if (!error.isEmpty()) answer.insert(QStringLiteral("error"), error);
  return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}

}  // namespace pellora
