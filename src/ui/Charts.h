// Charts: models of the two pictures in a transfer's window: its speed over time, and the map of its file. What each
// shows is also said in words, for assistive technology and as a tool tip.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ui/Controls.h"

namespace pellora {

class SpeedChart : public Control {
 public:
  SpeedChart(Window* window, std::string name)
      : Control(window, std::move(name), "PictureBox", 0), Speeds(this, {}), Most(this, ""), Words(this, "") {}
  Property<std::vector<float>> Speeds;  // one for each step of time, the newest last
  Property<std::string> Most;           // the highest of them, as a text
  Property<std::string> Words;
};

// A part of the file, in shares of it.
struct MapSpan {
  double begin = 0;
  double end = 0;
  bool operator==(const MapSpan&) const = default;
};

class FileMapChart : public Control {
 public:
  FileMapChart(Window* window, std::string name)
      : Control(window, std::move(name), "PictureBox", 0), Held(this, {}), Awaited(this, {}), Words(this, "") {}
  Property<std::vector<MapSpan>> Held;     // apart and ascending
  Property<std::vector<MapSpan>> Awaited;  // of each connection that receives: from its next byte on
  Property<std::string> Words;
};

}  // namespace pellora
