// HostFrames: the frames between a browser and a native messaging host: a length of four bytes in the machine's byte
// order, then that many bytes of JSON in UTF-8.
#pragma once

#include <QByteArray>
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

}  // namespace pellora
