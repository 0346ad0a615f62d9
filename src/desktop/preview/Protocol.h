// Protocol: what the program and its preview process say to each other over the process's standard input
// and output.
//
// To the process, one line each: "open WIDTH HEIGHT PATH" first, with the path in percent encoding, on which the
// process confines itself to this file (Confine.h), then "run", "cue", "stop", "volume N" (hundredths of a decibel),
// "size WIDTH HEIGHT" and, for each frame, "seen". The end of its input ends the process at once, whatever it is doing.
// From the process, a head, and behind the head of a frame its pixels, 0xffRRGGBB, top row first. Frames fit
// the size that it was told, and after a frame none follows before it was seen.
#pragma once

#include <chrono>
#include <cstdint>

namespace pellora {

inline constexpr const char* kPreviewProgram = "pellora-preview";

// The exit code of a process that could not be confined, and says on its standard error why.
inline constexpr int kPreviewUnconfined = 3;

enum PreviewMessage : std::uint32_t {
  kPreviewRendered = 1,  // the file can be played or shown
  kPreviewFrame = 2,
  kPreviewEnded = 3,  // it was played to its end
};

struct PreviewHead {
  std::uint32_t message = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

inline constexpr std::uint32_t kLargestPreviewSide = 4096;

// What the process may use of the processors before its first frame, and again after each.
inline constexpr std::chrono::seconds kPreviewProcessorTime{30};

}  // namespace pellora
