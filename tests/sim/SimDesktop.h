// SimDesktop: the small ports of a simulated desktop: settings, clipboard, dialogs, shell, machine, locale, tray and
// windows. Each records what the program does and reacts as the test says.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "SimDisk.h"
#include "SimLoop.h"
#include "ports/AutoStart.h"
#include "ports/BrowserMenu.h"
#include "ports/Clipboard.h"
#include "ports/Dialogs.h"
#include "ports/Inhibit.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Notices.h"
#include "ports/SettingsStore.h"
#include "ports/Shell.h"
#include "ports/Tray.h"
#include "ui/Views.h"
#include "ui/Window.h"

namespace pellora {

class SimSettings final : public SettingsStore {
 public:
  std::optional<std::string> Get(const std::string& application, const std::string& key) const override;
  void SetAll(const std::string& application, const Values& changed) override;

  std::map<std::pair<std::string, std::string>, std::string> values;  // by application and key
  std::vector<std::pair<std::string, Values>> writes;  // every call that was carried out, under its application
  bool failWrites = false;
};

class SimClipboard final : public Clipboard {
 public:
  std::optional<std::string> Text() const override;

  std::optional<std::string> text;
};

// Boxes stay open until the test answers (AnswerNext) or a rule does (AutoAnswer). Answers are posted.
class SimDialogs final : public Dialogs {
 public:
  explicit SimDialogs(SimLoop& loop) : loop_(loop) {}
  void Ask(const BoxRequest& request, std::function<void(int answer)> answered) override;
  void AskSavePath(const SaveRequest& request, std::function<void(std::optional<std::string> path)> answered) override;
  void AskFolder(const FolderRequest& request,
                 std::function<void(std::optional<std::string> folder)> answered) override;

  // Every box and save dialog ever shown, in order.
  const std::vector<BoxRequest>& Boxes() const { return boxes_; }
  const std::vector<SaveRequest>& Saves() const { return saves_; }
  const std::vector<FolderRequest>& Folders() const { return folders_; }
  bool WasShown(const std::string& part) const;  // some box's text contains it
  // What is open now, oldest first.
  std::size_t OpenCount() const { return open_.size(); }
  std::size_t OpenSaveCount() const { return openSaves_.size(); }
  const BoxRequest& Next() const;
  // The most boxes and dialogs ever open at once.
  std::size_t MostOpen() const { return most_; }

  // Answers the oldest open one. An answer that its buttons do not offer is an error of the test.
  void AnswerNext(int answer);
  void AnswerNextSave(std::optional<std::string> path);
  void AnswerNextFolder(std::optional<std::string> folder);
  // Answers boxes whose text contains `part` ("" is every box), `delay` ms after they open. The first matching rule
  // applies.
  void AutoAnswer(const std::string& part, int answer, std::uint32_t delay = 0);
  void AutoSave(std::function<std::optional<std::string>(const SaveRequest&)> choose) { choose_ = std::move(choose); }

 private:
  template <class Answer>
  struct Open {
    std::uint64_t id = 0;
    BoxRequest request;
    std::function<void(Answer)> answered;
  };
  struct Rule {
    std::string part;
    int answer;
    std::uint32_t delay;
  };
  void AnswerBox(std::uint64_t id, int answer);
  void CountStanding();

  SimLoop& loop_;
  std::vector<BoxRequest> boxes_;
  std::vector<SaveRequest> saves_;
  std::vector<FolderRequest> folders_;
  std::deque<Open<int>> open_;
  std::deque<Open<std::optional<std::string>>> openSaves_;
  std::deque<std::function<void(std::optional<std::string>)>> openFolders_;
  std::vector<Rule> rules_;
  std::function<std::optional<std::string>(const SaveRequest&)> choose_;
  std::uint64_t nextId_ = 1;
  std::size_t most_ = 0;
};

class SimShell final : public Shell {
 public:
  explicit SimShell(SimDisk& disk) : disk_(disk) {}
  void OpenPath(const std::string& path, const std::string& workingFolder) override;
  void OpenUrl(const std::string& url) override;
  void Start(const std::string& program, const std::vector<std::string>& arguments) override;

  std::vector<std::pair<std::string, std::string>> opened;  // path, working folder
  std::vector<std::string> urls;
  std::vector<std::pair<std::string, std::vector<std::string>>> started;

 private:
  SimDisk& disk_;
};

class SimMachine final : public Machine {
 public:
  explicit SimMachine(SimLoop& loop) : loop_(loop) {}
  std::string ProgramFolder() const override { return programFolder; }
  std::string LanguageFolder() const override { return languageFolder.empty() ? programFolder : languageFolder; }
  std::string DataFolder() const override { return dataFolder.empty() ? programFolder : dataFolder; }
  bool IsPackaged() const override { return packaged; }
  std::string DocumentsFolder() const override;
  std::string HomeFolder() const override { return homeFolder; }
  std::string Variable(const std::string& name) const override;
  bool ConnectionUp() const override { return connectionUp; }
  void End(int code) override;

  std::string programFolder = "/prog";
  std::string languageFolder;  // the program's if empty, and so is the next
  std::string dataFolder;
  bool packaged = false;
  std::string documentsFolder = "/home/u/Documents";
  std::string homeFolder = "/home/u";
  std::map<std::string, std::string> variables;
  bool connectionUp = true;
  std::optional<int> endCode;  // the first one; no events after it

 private:
  SimLoop& loop_;
};

// The session's autostart list: whether the program is in it, and how often the list was written.
class SimAutoStart final : public AutoStart {
 public:
  void SetEntry(bool aPresent) override;

  bool present = false;
  int writes = 0;
  bool failWrites = false;
};

class SimInhibit final : public Inhibit {
 public:
  void Hold(const std::string& reason) override;
  void Release() override;

  bool held = false;
  int holds = 0;
  std::string reason;  // of the last hold
  bool fails = false;
};

// A desktop that shows messages and a taskbar.
class SimNotices final : public Notices {
 public:
  void Show(const Notice& notice, std::function<void(const std::string& key)> chosen) override;
  void ShowTaskbar(const TaskbarState& state) override;

  std::vector<Notice> shown;
  std::vector<std::function<void(const std::string& key)>> chosen;  // of each
  TaskbarState taskbar;
  int taskbarChanges = 0;
};

// Decimal point, and dates as 2026-11-21 00:16:00.
class SimLocale final : public Locale {
 public:
  std::string DecimalSeparator() const override { return decimalSeparator; }
  std::string DateTimeText(double serial) const override;

  DateForms ShortForms() const override { return forms; }

  std::string decimalSeparator = ".";
  DateForms forms;
};

// The notification area. A test operates the icon with Mouse.
class SimTray final : public Tray {
 public:
  void Add(const std::string& picture, const std::string& tip, TrayEvents& events) override;
  void SetPicture(const std::string& picture) override;
  void SetTip(const std::string& tip) override;
  void Delete() override;

  bool Shown() const { return events_ != nullptr; }
  void Mouse(int message);

  std::string tip;
  std::string picture;
  std::vector<std::string> tips;  // those set after adding, in order; as with the pictures
  std::vector<std::string> pictures;
  int added = 0;
  int deleted = 0;

 private:
  TrayEvents* events_ = nullptr;
};

class SimBrowserMenu final : public BrowserMenu {
 public:
  void SetEntry(bool present) override;

  bool entry = false;
  bool parentMissing = false;  // writing fails
  int calls = 0;
};

// A menu opened at the mouse pointer, as it looked then.
struct SimPopup {
  std::vector<std::string> captions;
  std::vector<Menu*> entries;
  std::string standard;
};

// What a view was told.
struct SimViewRecord {
  Window* window = nullptr;  // null after the view's end
  std::string typeName;
  bool visible = false;
  int shown = 0;
  int hidden = 0;
  int raised = 0;
  std::vector<WindowState> states;
  std::uint64_t changes = 0;                       // of the window and its controls
  std::map<std::string, std::uint64_t> changesOf;  // by control name
};

// Views that only record. A test operates the models: `window->Command1.Click()`, `window->ViewClosed()`.
class SimWindows final : public WindowSystem {
 public:
  std::unique_ptr<WindowView> NewView(Window& window) override;
  ScreenSize Screen() const override { return screen; }
  void PopUp(const std::vector<Menu*>& entries, const Menu& standard) override;
  void FollowScript(const std::string& word) override { script = word; }

  ScreenSize screen{1280, 1024};
  std::string script;            // the word that windows are laid out for
  std::vector<SimPopup> popups;  // all that were opened, in order

  // The loaded windows, oldest first.
  std::vector<Window*> Loaded() const;
  std::vector<Window*> Loaded(const std::string& typeName) const;
  std::size_t Count(const std::string& typeName) const { return Loaded(typeName).size(); }
  // The only loaded window of that type; null if there is none. More than one is an error of the test.
  template <class WindowType>
  WindowType* Only() const {
    WindowType* only = nullptr;
    for (Window* const window : Loaded()) {
      auto* const match = dynamic_cast<WindowType*>(window);
      if (match && only) throw std::logic_error("more than one window of type " + window->TypeName);
      if (match) only = match;
    }
    return only;
  }
  // The record of a loaded window's view, and those of all views so far.
  const SimViewRecord& Record(const Window& window) const;
  const std::deque<SimViewRecord>& Records() const { return records_; }

  // Drops every loaded window without an event, as at the end of the process.
  void AbandonAll();

 private:
  friend class SimView;
  std::deque<SimViewRecord> records_;
};

}  // namespace pellora
