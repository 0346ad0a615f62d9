// App: puts the pieces together over one Platform: the program's state, its windows, the start sequence
// and the ways in from outside. The desktop's main() and the simulator's tests both run this App.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Program.h"

namespace pellora {

class DownloadBasket;
class MainWindow;
class PelloraCatcher;

// What a script sees of one listed record.
struct DownloadInfo {
  std::int16_t index = 0;
  std::string name;
  std::string url;
  std::string state;          // one of "finished", "active", "scheduled", "failed", "queued", "paused", "waiting"
  std::int32_t received = 0;  // bytes
  std::int32_t size = 0;      // bytes; 0 if unknown
  double percent = 0;
  std::string savedPath;  // empty until finished
};

class App {
 public:
  explicit App(Platform& platform);
  ~App();
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  // The start sequence behind the single-instance test, as a running task: folders, settings, language,
  // list, windows. Failures are ignored step by step.
  void Start();

  // The automation class. Both return at once; calls that arrive before the start sequence is over wait
  // for its end. The second and third arguments are accepted and ignored.
  void MenuURL(std::string url, const std::string& refURL, const std::string& cookie);
  void LeechURL(const std::string& url, const std::string& refURL);

  // Starts or queues every waiting download, as the toolbar does. During the start sequence: at its end.
  void ResumeAll();

  // A second start leads here: the main window is shown and raised.
  void ShowMainWindow();
  // Session end or a termination signal: pauses, saves and ends without a question.
  void SaveAndQuit();

  // Every listed record (InUse), in record order.
  std::vector<DownloadInfo> List() const;

  Program& program();
  MainWindow& mainWindow();
  PelloraCatcher& catcher();
  DownloadBasket& basket();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace pellora
