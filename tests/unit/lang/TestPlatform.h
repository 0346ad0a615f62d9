// A platform for tests that need files and the program's folder only: every other port refuses its use.
#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "ports/Background.h"
#include "ports/Clipboard.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/EventLoop.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Media.h"
#include "ports/Network.h"
#include "ports/Platform.h"
#include "ports/SettingsStore.h"
#include "ports/Shell.h"
#include "ports/Tray.h"
#include "ui/Views.h"

namespace pellora {

[[noreturn]] inline void Unused() { throw std::logic_error("a port that this test does not have"); }

class NoEvents final : public EventLoop {
 public:
  void Post(std::function<void()>) override { Unused(); }
  std::unique_ptr<Alarm> NewAlarm(std::function<void()>) override { return std::make_unique<StoppedAlarm>(); }

 private:
  class StoppedAlarm final : public Alarm {
   public:
    void Start(std::uint32_t, bool) override { Unused(); }
    void Stop() override {}
  };
};

class NoClock final : public Clock {
 public:
  std::uint32_t TickCount() const override { Unused(); }
  double SecondsSinceMidnight() const override { Unused(); }
  double Now() const override { Unused(); }
};

class NoNetwork final : public Network {
 public:
  std::unique_ptr<Connection> Connect(const std::string&, std::int32_t, ConnectionEvents&) override { Unused(); }
  bool HasConnection() const override { Unused(); }
};

class NoSettings final : public SettingsStore {
 public:
  std::optional<std::string> Get(const std::string&, const std::string&) const override { Unused(); }
  void SetAll(const std::string&, const Values&) override { Unused(); }
};

class NoClipboard final : public Clipboard {
 public:
  std::optional<std::string> Text() const override { Unused(); }
};

class NoDialogs final : public Dialogs {
 public:
  void Ask(const BoxRequest&, std::function<void(int)>) override { Unused(); }
  void AskSavePath(const SaveRequest&, std::function<void(std::optional<std::string>)>) override { Unused(); }
  void AskFolder(const FolderRequest&, std::function<void(std::optional<std::string>)>) override { Unused(); }
};

class NoShell final : public Shell {
 public:
  void OpenPath(const std::string&, const std::string&) override { Unused(); }
  void OpenUrl(const std::string&) override { Unused(); }
  void Start(const std::string&, const std::vector<std::string>&) override { Unused(); }
};

class FixedMachine final : public Machine {
 public:
  std::string ProgramFolder() const override { return "/opt/Pellora"; }
  std::string DocumentsFolder() const override { Unused(); }
  void End(int) override { Unused(); }
};

class NoLocale final : public Locale {
 public:
  std::string DecimalSeparator() const override { Unused(); }
  std::string DateTimeText(double) const override { Unused(); }
};

class NoTray final : public Tray {
 public:
  void Add(const std::string&, const std::string&, TrayEvents&) override { Unused(); }
  void SetPicture(const std::string&) override { Unused(); }
  void SetTip(const std::string&) override { Unused(); }
  void Delete() override { Unused(); }
};

class NoWindows final : public WindowSystem {
 public:
  std::unique_ptr<WindowView> NewView(Window&) override { Unused(); }
  ScreenSize Screen() const override { Unused(); }
  void PopUp(const std::vector<Menu*>&, const Menu&) override { Unused(); }
};

class NoMedia final : public Media {
 public:
  std::unique_ptr<MediaGraph> NewGraph() override { Unused(); }
};

// Files to read; the path is the key.
class TextFiles final : public Files {
 public:
  std::map<std::string, std::string> contents;

  std::unique_ptr<File> Open(const std::string&, FileKind) override { Unused(); }
  PartName LookAtPart(const std::string&) const override { Unused(); }
  std::unique_ptr<File> OpenForReading(const std::string& path) override {
    const auto found = contents.find(path);
    if (found == contents.end()) throw Failure(FailureNumber::File, path + ": no such file");
    return std::make_unique<TextFile>(found->second);
  }
  void Delete(const std::string&) override { Unused(); }
  void CreateFolder(const std::string&) override { Unused(); }
  bool Exists(const std::string& path) const override { return contents.contains(path); }
  std::uint64_t LengthOf(const std::string&) const override { Unused(); }
  std::vector<std::string> FilesIn(const std::string&) const override { Unused(); }

 private:
  class TextFile final : public File {
   public:
    explicit TextFile(std::string text) : text_(std::move(text)) {}
    void WriteAt(std::uint64_t, std::string_view) override { Unused(); }
    std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
      return text_.copy(buffer.data(), buffer.size(), static_cast<std::size_t>(offset));
    }
    std::uint64_t Length() override { return text_.size(); }
    void Reserve(std::uint64_t) override { Unused(); }

   private:
    std::string text_;
  };
};

class NoBackground final : public Background {
 public:
  void Run(Work, Done) override { Unused(); }
};

// Owns all of it.
struct TestPlatform {
  EventGate gate;
  NoEvents events;
  TaskLoop tasks{gate, events};
  NoClock clock;
  NoNetwork network;
  TextFiles files;
  NoSettings settings;
  NoClipboard clipboard;
  NoDialogs dialogs;
  NoShell shell;
  FixedMachine machine;
  NoLocale locale;
  NoTray tray;
  NoWindows windows;
  NoMedia media;
  NoBackground background;
  Platform platform{gate,    events, tasks,   clock,  network, files,   settings, clipboard,
                    dialogs, shell,  machine, locale, tray,    windows, media,    background};
};

}  // namespace pellora
