// Media: renders a file for the preview.
//
// A graph renders at most one file. Decoding is slow and its input may be hostile, so a platform decodes where that can
// neither stall nor crash the program: no call here waits, and a decoder that dies leaves a blank surface and a graph
// whose Run and Stop fail.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pellora {

class MediaSurface;

// One picture: rows of 0xffRRGGBB, the top one first.
struct MediaFrame {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;
};

// Run, Stop, StopWhenReady and SetVolume are a Failure(InvalidCall) on a graph that holds no rendered file.
class MediaGraph {
 public:
  virtual ~MediaGraph() = default;  // stops playing at once and blanks its surface
  // Called once. `done` is posted: True when the file can be played or shown, False if it cannot; never after the
  // graph's destruction. A decoder that does not finish counts as a failed one, so the answer always comes.
  virtual void RenderFile(const std::string& path, std::function<void(bool rendered)> done) = 0;
  // `surface` outlives the graph. Attaching the present one again costs only a look at its size.
  virtual void SetOwner(MediaSurface& surface) = 0;
  virtual void Run() = 0;   // from the beginning, after the end or a Stop
  virtual void Stop() = 0;  // back to the beginning
  // Directly after Run: shows the first picture and stops there.
  virtual void StopWhenReady() = 0;
  virtual void SetVolume(int hundredthsOfDecibel) = 0;  // 0 is full; -2000 is a tenth of the amplitude
};

class Media {
 public:
  virtual ~Media() = default;
  virtual std::unique_ptr<MediaGraph> NewGraph() = 0;  // an empty one
};

}  // namespace pellora
