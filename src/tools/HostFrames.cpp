#include "tools/HostFrames.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

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

}  // namespace pellora
