// Protocol: the messages between the program and its preview process, over the process's standard input and output.
//
// To the process, one line each: "open WIDTH HEIGHT PATH" first, with the path in percent encoding, upon which the
// process confines itself to this file (Confine.h); then "run", "cue", "stop", "volume N" (hundredths of a decibel),
// "size WIDTH HEIGHT" and, for each frame, "seen". The end of its input ends the process at once.
// From the process: a header, and after the header of a frame its pixels, 0xffRRGGBB, top row first. Frames fit the
// requested size, and the next frame is sent only after "seen".
#pragma once

#include <chrono>
#include <cstdint>

namespace pellora {

inline constexpr const char* kPreviewProgram = "pellora-preview";

// The exit code of a process that could not be confined; the reason is on its standard error.
inline constexpr int kPreviewUnconfined = 3;

enum PreviewMessage : std::uint32_t {
  kPreviewRendered = 1,  // the file can be played or shown
  kPreviewFrame = 2,
  kPreviewEnded = 3,  // played to its end
};

struct PreviewHead {
  std::uint32_t message = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

inline constexpr std::uint32_t kMaxPreviewSide = 4096;

// The processor time that the process may use before its first frame, and again after each.
inline constexpr std::chrono::seconds kPreviewProcessorTime{30};

}  // namespace pellora
