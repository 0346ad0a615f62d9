// Media: the port that renders a file for the preview.
//
// A graph renders one file at most. Decoding is slow and its input may be hostile, so a platform does it
// where it can neither stall nor end the program: no call here waits, and a decoder that dies leaves a
// graph whose Run and Stop fail and a blank surface.
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
  virtual ~MediaGraph() = default;  // what it plays ends at once, and its surface becomes blank
  // Once. `rendered` is posted: True once the file can be played or shown, False if it cannot. It is not
  // called any more after the graph's end. No file is too long to wait for: a decoder that does not
  // come to an end counts as one that cannot.
  virtual void RenderFile(const std::string& path, std::function<void(bool rendered)> done) = 0;
  // `surface` outlives the graph. To attach the one that it has costs nothing but a look at its size.
  virtual void SetOwner(MediaSurface& surface) = 0;
  virtual void Run() = 0;   // plays, from the beginning after the end or a Stop
  virtual void Stop() = 0;  // back to the beginning
  // Straight behind Run: the first picture shows, and the graph stands stopped.
  virtual void StopWhenReady() = 0;
  virtual void SetVolume(int hundredthsOfDecibel) = 0;  // 0 is full; -2000 is a tenth of the amplitude
};

class Media {
 public:
  virtual ~Media() = default;
  virtual std::unique_ptr<MediaGraph> NewGraph() = 0;  // an empty one
};

}  // namespace pellora
