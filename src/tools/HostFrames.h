// HostFrames: the frames between a browser and a native messaging host: a length of four bytes in the machine's byte
// order, then that many bytes of JSON in UTF-8.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace pellora {

inline constexpr std::uint32_t kMaxFrameLength = 1 << 20;  // a link with its cookies is far shorter

enum class FrameEnd {
  Frame,     // complete
  End,       // the browser closed the stream between two frames
  CutShort,  // the browser closed the stream within a frame
  Empty,
  TooLong,
};

// Reads one frame, blocking. Of a frame that is too long, only the length is read.
FrameEnd ReadFrame(int descriptor, QByteArray& json);

// False if the browser no longer listens.
bool WriteFrame(int descriptor, const QByteArray& json);

// A request of the extension; `error` is empty if it is valid.
struct HostRequest {
  QString url;
  bool newScheme = false;  // of the web engine; whether the program takes it depends on its settings
  QString referrer;
  QString cookie;
  QString error;
};
HostRequest ParseRequest(const QByteArray& json);

// The reply to the extension: success if `error` is empty.
QByteArray AnswerText(const QString& error);

}  // namespace pellora
