#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

constexpr std::uint32_t kLargestSide = 32;
constexpr std::size_t kLargestArea = std::size_t{kLargestSide} * kLargestSide;

std::uint32_t Number(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value * 256 + static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// The messages in the bytes, one letter for each, and the pixels of all frames in sequence.
struct Messages {
  std::string messages;
  std::string pixels;
  bool operator==(const Messages&) const = default;
};

Messages Expected(std::string_view bytes) {
  Messages result;
  while (bytes.size() >= 12) {
    const std::uint32_t width = Number(bytes, 4);
    const std::uint32_t height = Number(bytes, 8);
    const std::uint32_t message = Number(bytes, 0);
    bytes.remove_prefix(12);
    if (message == 1 || message == 3) {
      result.messages += message == 1 ? 'r' : 'e';
      continue;
    }
    if (message != 2 || width - 1 >= kLargestSide || height - 1 >= kLargestSide) {
      result.messages += '?';
      break;
    }
    const std::size_t size = std::size_t{4} * width * height;
    if (bytes.size() < size) break;
    result.messages += 'f';
    result.pixels += bytes.substr(0, size);
    bytes.remove_prefix(size);
  }
  return result;
}

Messages Read(std::string_view bytes, std::size_t piece, const PreviewReceived& received) {
  Messages result;
  PreviewFrames frames(kLargestSide);
  while (!bytes.empty() && !frames.WriteArea().empty()) {
    const std::span<char> area = frames.WriteArea();
    const std::size_t count = std::min({area.size(), bytes.size(), piece});
    std::memcpy(area.data(), bytes.data(), count);
    bytes.remove_prefix(count);
    const PreviewFrames::Event event = received(frames, count);
    if (event == PreviewFrames::Event::Nothing) continue;
    result.messages += "?ref?"[static_cast<std::size_t>(event)];
    if (event != PreviewFrames::Event::Frame) continue;
    const auto frame = frames.TakeFrame();
    Demand(frame &&
               frame->pixels.size() == static_cast<std::size_t>(frame->width) * static_cast<std::size_t>(frame->height),
           "a frame is whole");
    result.pixels.append(reinterpret_cast<const char*>(frame->pixels.data()), frame->pixels.size() * 4);
  }
  return result;
}

}  // namespace

void FuzzPreview(std::string_view bytes, const PreviewReceived& received) {
  Choices choices(bytes);
  const std::size_t piece = 1 + choices.Byte();
  const std::string_view payload = choices.Rest();
  const Messages expected = Expected(payload);
  const AllocationMeter meter;
  const Messages inPieces = Read(payload, piece, received);
  Demand(meter.Bytes() <= 8 * payload.size() + 8 * kLargestArea + 4096, "frames take memory in proportion");
  Demand(inPieces == expected, "pieces give the same messages");
  Demand(Read(event, payload.size(), received) == expected, "the process is understood in one go");
}

}  // namespace pellora
