// MemoryPlatform: the least platform on which the core's unit tests run. Files, settings, folders and the
// clock are plain values that a test sets and reads; whatever the core must not touch does nothing.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
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

namespace pellora::test {

// Files whose calls are recorded as "open /x", "write /x 0 98", ...; calls that begin with an entry of
// `failing` fail.
class MemoryFiles final : public Files {
 public:
  std::map<std::string, std::string> contents;
  std::vector<std::string> calls;
  std::set<std::string> failing;
  std::set<std::string> denied;   // there, and said not to be
  std::set<std::string> foreign;  // what no part file may be
  std::set<std::string> closed;   // to others, as opened for the list

  std::unique_ptr<File> Open(const std::string& path, FileKind kind) override {
    Call("open " + path);
    if (kind == FileKind::List) closed.insert(path);
    contents.try_emplace(path);
    return std::make_unique<OpenFile>(*this, path);
  }
  PartName LookAtPart(const std::string& path) const override {
    if (foreign.contains(path)) return PartName::Foreign;
    return contents.contains(path) ? PartName::Own : PartName::Free;
  }
  std::unique_ptr<File> OpenForReading(const std::string& path) override {
    Call("read " + path);
    if (!Exists(path)) throw Failure(FailureNumber::File, path);
    return std::make_unique<OpenFile>(*this, path);
  }
  void Delete(const std::string& path) override {
    Call("delete " + path);
    if (contents.erase(path) == 0) throw Failure(FailureNumber::File, path);
  }
  void CreateFolder(const std::string& path) override { Call("folder " + path); }
  bool Exists(const std::string& path) const override { return contents.count(path) != 0 && denied.count(path) == 0; }
  std::uint64_t LengthOf(const std::string& path) const override {
    const auto found = contents.find(path);
    if (found == contents.end()) throw Failure(FailureNumber::File, path);
    return found->second.size();
  }
  std::vector<std::string> FilesIn(const std::string& folder) const override {
    const std::string start = folder + "/";
    std::vector<std::string> names;
    for (const auto& [path, content] : contents) {
      if (path.starts_with(start) && path.find('/', start.size()) == std::string::npos) {
        names.push_back(path.substr(start.size()));
      }
    }
    return names;
  }

 private:
  class OpenFile final : public File {
   public:
    OpenFile(MemoryFiles& files, std::string path) : files_(files), path_(std::move(path)) {}
    void WriteAt(std::uint64_t offset, std::string_view bytes) override {
      files_.Call("write " + path_ + " " + std::to_string(offset) + " " + std::to_string(bytes.size()));
      std::string& content = files_.contents[path_];
      content.resize(std::max<std::size_t>(content.size(), offset + bytes.size()));
      content.replace(offset, bytes.size(), bytes);
    }
    std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) override {
      const std::string& content = files_.contents[path_];
      if (offset >= content.size()) return 0;
      const std::size_t count = std::min<std::size_t>(buffer.size(), content.size() - offset);
      std::memcpy(buffer.data(), content.data() + offset, count);
      return count;
    }
    std::uint64_t Length() override { return files_.contents[path_].size(); }
    void Reserve(std::uint64_t size) override {
      files_.Call("reserve " + path_ + " " + std::to_string(size));
      std::string& content = files_.contents[path_];
      content.resize(std::max<std::size_t>(content.size(), size));
    }

   private:
    MemoryFiles& files_;
    std::string path_;
  };

  void Call(const std::string& call) {
    calls.push_back(call);
    for (const std::string& start : failing) {
      if (call.compare(0, start.size(), start) == 0) throw Failure(FailureNumber::File, call);
    }
  }
};

class MemorySettings final : public SettingsStore {
 public:
  std::map<std::pair<std::string, std::string>, std::string> values;  // by application and key
  std::vector<std::pair<std::string, Values>> writes;                 // every call, under its application

  std::optional<std::string> Get(const std::string& application, const std::string& key) const override {
    const auto found = values.find({application, key});
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void SetAll(const std::string& application, const Values& changed) override {
    writes.emplace_back(application, changed);
    for (const auto& [key, text] : changed) values[{application, key}] = text;
  }
};

class FixedClock final : public Clock {
 public:
  double now = 46000.4;
  std::uint32_t TickCount() const override { return 1; }
  double SecondsSinceMidnight() const override { return 0; }
  double Now() const override { return now; }
};

class FixedMachine final : public Machine {
 public:
  std::string documents = "/home/user/Documents";
  std::string ProgramFolder() const override { return "/program"; }
  std::string DocumentsFolder() const override { return documents; }
  void End(int /*code*/) override {}
};

class IdleAlarm final : public Alarm {
 public:
  void Start(std::uint32_t /*milliseconds*/, bool /*repeating*/) override {}
  void Stop() override {}
};

class IdleEvents final : public EventLoop {
 public:
  void Post(std::function<void()> /*event*/) override {}
  std::unique_ptr<Alarm> NewAlarm(std::function<void()> /*tick*/) override { return std::make_unique<IdleAlarm>(); }
};

class NoNetwork final : public Network {
 public:
  std::unique_ptr<Connection> Connect(const std::string& host, std::int32_t, ConnectionEvents&) override {
    throw Failure(FailureNumber::Socket, host);
  }
  bool HasConnection() const override { return false; }
};

class NoClipboard final : public Clipboard {
 public:
  std::optional<std::string> Text() const override { return std::nullopt; }
};

class NoDialogs final : public Dialogs {
 public:
  void Ask(const BoxRequest&, std::function<void(int)>) override {}
  void AskSavePath(const SaveRequest&, std::function<void(std::optional<std::string>)>) override {}
  void AskFolder(const FolderRequest&, std::function<void(std::optional<std::string>)>) override {}
};

class NoShell final : public Shell {
 public:
  void OpenPath(const std::string&, const std::string&) override {}
  void OpenUrl(const std::string&) override {}
  void Start(const std::string&, const std::vector<std::string>&) override {}
};

class PlainLocale final : public Locale {
 public:
  std::string DecimalSeparator() const override { return "."; }
  std::string DateTimeText(double /*serial*/) const override { return {}; }
};

class NoTray final : public Tray {
 public:
  void Add(const std::string&, const std::string&, TrayEvents&) override {}
  void SetPicture(const std::string&) override {}
  void SetTip(const std::string&) override {}
  void Delete() override {}
};

class NoWindows final : public WindowSystem {
 public:
  std::unique_ptr<WindowView> NewView(Window&) override { return nullptr; }
  ScreenSize Screen() const override { return {}; }
  void PopUp(const std::vector<Menu*>&, const Menu&) override {}
};

class NoMedia final : public Media {
 public:
  std::unique_ptr<MediaGraph> NewGraph() override { return nullptr; }
};

class NoBackground final : public Background {
 public:
  void Run(Work, Done) override {}
};

struct MemoryPlatform {
  MemoryFiles files;
  MemorySettings settings;
  FixedClock clock;
  FixedMachine machine;
  EventGate gate;
  IdleEvents events;
  TaskLoop tasks{gate, events};
  NoNetwork network;
  NoClipboard clipboard;
  NoDialogs dialogs;
  NoShell shell;
  PlainLocale locale;
  NoTray tray;
  NoWindows windows;
  NoMedia media;
  NoBackground background;
  Platform platform{gate,    events, tasks,   clock,  network, files,   settings, clipboard,
                    dialogs, shell,  machine, locale, tray,    windows, media,    background};
};

}  // namespace pellora::test
