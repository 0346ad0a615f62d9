#include <sys/types.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "DesktopTargets.h"
#include "Oracle.h"

namespace {

// A descriptor that no process has; reads from it return bytes set here.
constexpr int kSource = -4711;

struct Source {
  std::string_view rest;
  std::size_t piece = 0;
  bool interrupted = false;
};
Source source;

}  // namespace

// The linker redirects every read of the program here.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
extern "C" ssize_t __real_read(int descriptor, void* data, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* data, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)
extern "C" ssize_t __wrap_read(int descriptor, void* data, std::size_t size) {
  if (descriptor != kSource) return __real_read(descriptor, data, size);
  source.interrupted = source.piece != 0 && !source.interrupted;
  if (source.interrupted) {
    errno = EINTR;
    return -1;
  }
  std::size_t count = std::min(size, source.rest.size());
  if (source.piece != 0) count = std::min(count, source.piece);
  std::memcpy(data, source.rest.data(), count);
  source.rest.remove_prefix(count);
  return static_cast<ssize_t>(count);
}

namespace pellora {

namespace {

// Takes the next frame off `bytes`.
FrameEnd Expected(std::string_view& bytes, std::string& json) {
  if (bytes.empty()) return FrameEnd::End;
  if (bytes.size() < 4) return FrameEnd::CutShort;
  std::uint32_t length = 0;
  for (std::size_t i = 4; i-- > 0;) length = length * 256 + static_cast<unsigned char>(bytes[i]);
  bytes.remove_prefix(4);
  if (length == 0) return FrameEnd::Empty;
  if (length > kMaxFrameLength) return FrameEnd::TooLong;
  if (bytes.size() < length) return FrameEnd::CutShort;
  json = bytes.substr(0, length);
  bytes.remove_prefix(length);
  return FrameEnd::Frame;
}

QByteArray RequestText(const HostRequest& request) {
  static const QStringList kNames{"add", "take-over", "list", "pause", "resume", "release", "open"};
  const QJsonObject object{{"command", kNames[static_cast<int>(request.command)]},
                           {"url", request.url},
                           {"referrer", request.referrer},
                           {"cookie", request.cookie},
                           {"quiet", request.quiet},
                           {"userAgent", request.userAgent},
                           {"size", request.size},
                           {"type", request.type},
                           {"id", request.id}};
  return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// Commands that name no address hand none on.
void DemandAddress(const HostRequest& request) {
  const QString url = request.url.trimmed().toLower();
  const QStringList schemes{"http://", "https://", "ftp://", "ftps://", "sftp://"};
  const auto is = [&url](const QString& scheme) { return url.startsWith(scheme); };
  const bool begun = request.command == HostCommand::TakeOver;
  const bool named = request.command == HostCommand::Add || begun;
  Demand(named ? std::any_of(schemes.begin(), begun ? schemes.begin() + 2 : schemes.end(), is) : url.isEmpty(),
         "only these addresses are handed on");
  const bool byId = request.command == HostCommand::Pause || request.command == HostCommand::Resume ||
                    request.command == HostCommand::Release;
  Demand(byId == !request.id.isEmpty(), "what is done to a download names it");
}

void DemandRequest(const QByteArray& json) {
  const AllocationMeter meter;
  const HostRequest request = ParseRequest(json);
  Demand(meter.Bytes() <= 64 * static_cast<std::uint64_t>(json.size()) + 65536, "a request takes memory in proportion");

  const QByteArray answer = AnswerText(request.error);
  const QJsonDocument document = QJsonDocument::fromJson(answer);
  Demand(document.isObject() && document["ok"].toBool() == request.error.isEmpty(), "every request has an answer");
  if (!request.error.isEmpty()) return;
  DemandAddress(request);
  for (const QString& text :
       {request.url, request.referrer, request.cookie, request.userAgent, request.type, request.id}) {
    Demand(!text.contains(QChar(u'\0')) && text.size() <= 65'536, "no text has a NUL, or is too long");
  }
  Demand(request.size >= -1 && request.size <= 9'007'199'254'740'992, "a size is one that the text can hold exactly");
  const HostRequest again = ParseRequest(RequestText(request));
  Demand(again.error.isEmpty() && again.command == request.command && RequestText(again) == RequestText(request),
         "a request written again is read the same");
}

}  // namespace

void FuzzFrames(std::string_view bytes, const std::function<FrameEnd(int, QByteArray&)>& read) {
  Choices choices(bytes);
  const std::size_t piece = choices.Byte();
  source = {choices.Rest(), piece, false};
  std::string_view rest = choices.Rest();
  for (;;) {
    const AllocationMeter meter;
    QByteArray json;
    const FrameEnd end = read(kSource, json);
    Demand(meter.Bytes() <= 2 * kMaxFrameLength + 65536, "no frame takes more memory than the longest");
    std::string expected;
    Demand(end == Expected(rest, expected), "a frame ends as its length says");
    if (end != FrameEnd::Frame) return;
    Demand(json == QByteArray::fromStdString(expected), "a frame is the same in one piece and in many");
    DemandRequest(json);
  }
}

}  // namespace pellora
