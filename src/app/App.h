// App: puts the pieces together over one Platform: the program's state, its windows, the start sequence
// and the ways in from outside. The desktop's main() and the simulator's tests both run this App.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
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
  std::string id;  // of this record alone: never that of another one in the same slot, nor of another run's
  std::string name;
  std::string url;
  std::string state;          // one of "finished", "active", "scheduled", "failed", "queued", "paused", "waiting"
  std::int32_t received = 0;  // bytes
  std::int32_t size = 0;      // bytes; 0 if unknown
  double percent = 0;
  std::string savedPath;  // empty until finished
  // Whole seconds since a byte came, or since the start or the resume; nothing unless it is active.
  std::optional<std::uint32_t> silentSeconds;
};

// What became of an address that a script has handed over.
struct AddAnswer {
  std::string id;      // empty if it was refused
  std::string reason;  // in one sentence
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

  // For scripts: adds an address without ever asking, and starts or queues it. Called before the start sequence is
  // over it is answered at its end; one that the end of the program overtakes is not answered.
  void Add(std::string url, std::function<void(AddAnswer)> answered);
  // For scripts, without a question. Each returns why nothing was done, or an empty text. Removing a finished download
  // keeps its file; removing an unfinished one deletes its parts.
  std::string Pause(const std::string& id);
  std::string Remove(const std::string& id);

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
