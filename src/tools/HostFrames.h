// HostFrames: the frames in which a browser and a native messaging host talk: a length of four bytes in the
// machine's order, then that many bytes of JSON in UTF-8.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace pellora {

inline constexpr std::uint32_t kLongestFrame = 1 << 20;  // a link with its cookies is far shorter

enum class FrameEnd {
  Frame,     // a whole one was read
  End,       // the browser has closed its side between two frames
  CutShort,  // or within one
  Empty,
  TooLong,
};

// Reads one frame, waiting for it. Nothing of a frame that is too long is read beyond its length.
FrameEnd ReadFrame(int descriptor, QByteArray& json);

// False if the browser no longer listens.
bool WriteFrame(int descriptor, const QByteArray& json);

// What the extension asks for; `error` is empty if it is a request that can be handed on.
struct HostRequest {
  QString url;
  QString referrer;
  QString cookie;
  QString error;
};
HostRequest ParseRequest(const QByteArray& json);

// The answer to the extension: success for an empty error.
QByteArray AnswerText(const QString& error);

}  // namespace pellora
