// DownloadNotices: says on the desktop which downloads have finished or stopped by themselves, and shows the progress
// of those that run on the taskbar.
//
// What happens within five seconds is one message. Of one download it offers to open file and folder, of several the
// folder of the last one that has finished. A stop that a box reports is named only if the box is still open then.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ports/Notices.h"

namespace pellora {

class Program;

class DownloadNotices {
 public:
  explicit DownloadNotices(Program& program) : program_(program) {}

  // At the start, when it only looks at what there is, and at every tick.
  void Watch();
  // The program ends.
  void End();

 private:
  enum class Stage : std::uint8_t { Open, Finished, Failed };
  struct Event {
    std::string name;
    std::string path;         // of what has finished; else empty
    std::string reason;       // of what has stopped
    std::uint64_t boxed = 0;  // of a stop that a box reports: its number in Program::boxedStops
  };

  void Look();
  void LookAtBoxes();
  void Add(Event event);
  void Show();
  void ShowTaskbar();
  std::string TitleOf(std::size_t finished, std::size_t stopped) const;

  Program& program_;
  bool hasLooked_ = false;
  std::map<std::uint32_t, Stage> stages_;  // by the serials of listed records; those not in it are Open
  std::vector<Event> events_;              // that no message has named yet
  std::uint32_t since_ = 0;                // tick count of the first of them
  std::uint64_t lastBoxed_ = 0;            // the newest stop of a box that has become an event
  TaskbarState taskbar_;
};

}  // namespace pellora
