// App: puts the pieces together over one Platform: the program's state, its windows, the start sequence and the calls
// from outside. Both the desktop's main() and the simulator's tests run this App.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ArchiveWindows.h"
#include "core/Program.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class DownloadBasket;
class MainWindow;
class PelloraCatcher;

// What a script sees of one listed record.
struct DownloadInfo {
  std::int16_t index = 0;
  std::string id;  // core/DownloadIds.h
  std::string name;
  std::string url;
  std::string state;          // one of "finished", "active", "scheduled", "failed", "queued", "paused", "waiting"
  std::int64_t received = 0;  // bytes
  std::int64_t size = 0;      // bytes; 0 if unknown
  double percent = 0;
  std::string savedPath;  // empty until finished
  // Whole seconds since the last byte, or since the start or resume; none unless active.
  std::optional<std::uint32_t> silentSeconds;
  std::optional<double> bytesPerSecond;  // of the web engine's, while active
  std::int32_t limit = 0;                // KiB/s; 0: none
  std::string reason;                    // why it was stopped, waits or cannot be started; else empty
};

// The result of an address, or a Metalink, that a script has added.
struct AddAnswer {
  std::string id;                // empty if it was refused
  std::string reason;            // in one sentence; of a Metalink a line for each file that was refused
  std::vector<std::string> ids;  // of a Metalink's files, the first one too
};

class App {
 public:
  explicit App(Platform& platform);
  ~App();
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  // Before Start, for a run without a display: no window is shown and nothing is watched for, and what ran when the
  // last such run ended continues. Questions are for the Dialogs of such a platform to answer.
  void SetHeadless();

  // The start sequence after the single-instance check, as a task: folders, settings, language, list, windows. Failures
  // are ignored step by step.
  void Start();

  // The automation class. Both return at once; calls before the end of the start sequence take effect at its end. The
  // second and third arguments are for the web engine; the classic one ignores them.
  void MenuURL(std::string url, std::string refURL, std::string cookie);
  void LeechURL(const std::string& url, const std::string& refURL);

  // For scripts: adds an address without asking, and starts or queues it. Calls before the end of the start sequence
  // are answered at its end, or never if the program ends first.
  void Add(ScriptedAdd wanted, std::function<void(AddAnswer)> answered);
  // For browsers: takes over a download that the browser has begun, as `wanted` expects it. Answered once that is
  // certain, or with the reason why the browser is to keep it; or never if the program ends first.
  void TakeOver(ScriptedAdd wanted, std::function<void(AddAnswer)> answered);
  // The user has cancelled the browser's download meanwhile. Returns why it stays in the list.
  std::string Release(const std::string& id);
  // For scripts: what an archive holds, and a download of files in it. Calls before the end of the start sequence are
  // answered after its end, or never if the program ends first.
  void ListArchive(ArchiveOrder order, std::function<void(ListedArchive)> answered);
  void GetFromArchive(ArchiveOrder order, std::function<void(AddAnswer)> answered);
  // The caller of ListArchive or TakeOver waits no more.
  void CallerGone(const std::string& caller);
  // For scripts, without asking. Each returns why nothing was done, or an empty text. Removing a finished download
  // keeps its file; removing an unfinished one deletes its parts.
  std::string Pause(const std::string& id);
  std::string PauseAll();  // all that are running, like the toolbar
  std::string Resume(const std::string& id);
  std::string Remove(const std::string& id);
  // KiB/s; 0: none. Of all downloads together if the id is empty.
  std::string SetLimit(const std::string& id, std::int32_t limit);
  std::int32_t Limit() const;
  // That of a download, or the main window if the id is empty.
  std::string ShowWindow(const std::string& id);

  // Starts or queues every waiting download, like the toolbar; at the end of the start sequence if called during it.
  void ResumeAll();

  // For the desktop: an address, or a local file of addresses, as dropped on the main window. Several are taken one by
  // one. At the end of the start sequence if called during it, like the next.
  void Open(std::vector<std::string> addresses);
  // For the desktop: the dialog for a new address.
  void AskForUrl();

  // For a second start: shows and raises the main window.
  void ShowMainWindow();
  // For the session's end or a termination signal: pauses, saves and ends without asking.
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
