#include "app/App.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app/LoginWindows.h"
#include "app/NewTransferWindow.h"
#include "async/TaskLoop.h"
#include "capture/DownloadBasket.h"
#include "capture/PelloraCatcher.h"
#include "capture/SetBrowserMenu.h"
#include "core/DownloadIds.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/ListFile.h"
#include "core/OrphanedParts.h"
#include "core/RecordLife.h"
#include "core/SpeedLimit.h"
#include "core/SpeedLimits.h"
#include "core/Stop.h"
#include "core/WebTexts.h"
#include "fetch/WebArchives.h"
#include "fetch/WebEngine.h"
#include "fetch/WebProspects.h"
#include "fetch/WebRecords.h"
#include "fetch/WebServices.h"
#include "lang/Language.h"
#include "mainwin/AddDownload.h"
#include "mainwin/ListFiles.h"
#include "mainwin/MainWindow.h"
#include "mainwin/MetalinkAdds.h"
#include "mainwin/TakeOver.h"
#include "options/Options.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Platform.h"
#include "ports/SettingsStore.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Form2.h"
#include "zipview/UpdateHandOver.h"

namespace pellora {

namespace {

constexpr const char* kNoSuchDownload = "There is no such download.";
constexpr const char* kNoWebEngine = "This copy of Pellora does not have the engine that looks inside archives.";

// What `act` returns, or the reason of its Failure.
template <class Act>
std::string ReasonOf(Act&& act) {
  try {
    return std::forward<Act>(act)();
  } catch (const Failure& failure) {
    return failure.what();
  }
}

Task<> Say(Program* program, std::string text, int style = kCritical) {
  BoxRequest request{std::move(text), kProgramName, style};
  (void)co_await program->boxes.Ask(program, std::move(request));
}

// Runs a step of the start. A failing file is reported: the user could not guess why settings or downloads are missing.
template <class Step>
void TryAndReport(Program& program, const std::string& what, Step&& step) {
  try {
    std::forward<Step>(step)();
  } catch (const Failure& failure) {
    if (failure.Number() != FailureNumber::File && failure.Number() != FailureNumber::ForeignFile) return;
    program.platform.tasks.Spawn(Say(&program, what + "\n" + failure.what()));
  }
}

}  // namespace

struct App::Parts {
  explicit Parts(Platform& platform) : program(platform) {}

  // Runs a call from outside, or keeps it until the start sequence is over. Ignores it once the program is ending.
  void WhenStarted(std::function<void()> call) {
    if (stopped) return;
    if (!started) return earlyCalls.push_back(std::move(call));
    call();
  }

  template <class Act>
  std::string WithRecord(const std::string& id, Act&& act);

  // Created at first use, together with the tray icon's window and the basket.
  MainWindow& Main() {
    if (!mainWindow) {
      mainWindow = std::make_shared<MainWindow>(program);
      program.lists = mainWindow.get();
      catcher = std::make_shared<PelloraCatcher>(program, mainWindow);
      program.catcher = catcher.get();
      basket = std::make_shared<DownloadBasket>(program, mainWindow, catcher);
      program.basket = basket.get();
    }
    return *mainWindow;
  }

  void Stop() {
    if (stopped) return;
    stopped = true;
    if (loginWindows) loginWindows->UnloadAll();
    if (archiveWindows) archiveWindows->UnloadAll();
    std::vector<std::shared_ptr<Window>> windows;
    if (mainWindow) {
      mainWindow->StopTimers();
      mainWindow->EndResumeAll();
      mainWindow->EndRefreshes();
      RemoveUndecided(program, *mainWindow);
      windows = {catcher, mainWindow->wantDown};
    }
    PauseAndSave(program, [&windows] {
      for (const auto& window : windows) Skip([&] { window->Unload(); });
    });
    if (web) FinishJournal(program, *web);  // what was added, paused or removed just now
    End(program);
  }

  void CreateFolders() {
    // Without a documents folder these are at the root of the disk, like the defaults of the two folders.
    const std::string documents = program.platform.machine.DocumentsFolder();
    for (const char* name : {"/Pellora", "/Pellora/downloads", "/Pellora/temp"}) {
      Skip([&] { program.platform.files.CreateFolder(documents + name); });
    }
  }

  void OpenOne(const std::string& address) {
    // Without windows nobody could choose among those of a file.
    if (program.headless && ListFileOf(address)) {
      return Add({.url = address, .opensFile = true}, [this, address](const AddAnswer& answer) {
        if (!answer.reason.empty()) program.platform.tasks.Spawn(Say(&program, address + ": " + answer.reason));
      });
    }
    if (!program.headless && Main().TakeText(address, false, this)) return;
    AddRequest request{.url = address, .caller = this};
    program.platform.tasks.Spawn(AddDownload(&program, std::move(request)));
  }

  // A few at a time, since a caller may have thousands: other events come between them.
  static Task<> OpenEach(Parts* parts, std::vector<std::string> addresses) {
    constexpr std::size_t kAtOnce = 8;
    for (std::size_t i = 0; i < addresses.size() && !parts->stopped; ++i) {
      Skip([&] { parts->OpenOne(addresses[i]); });
      if (i % kAtOnce == kAtOnce - 1) co_await parts->program.platform.tasks.Yield();
    }
  }

  // Returns why something was refused.
  std::string AddForScript(const ScriptedAdd& wanted, std::vector<std::string>& ids) {
    const std::vector<AddOutcome> outcomes = pellora::AddForScript(program, wanted);
    std::string reasons;
    for (const AddOutcome& outcome : outcomes) {
      if (outcome.index == 0) {
        if (!reasons.empty()) reasons += '\n';
        reasons += outcome.reason;
        continue;
      }
      ids.push_back(IdOf(program, outcome.index));
      scripted.insert(program.Serial(outcome.index));
    }
    return reasons;
  }

  void Add(const ScriptedAdd& wanted, const std::function<void(AddAnswer)>& answered) {
    const auto ids = std::make_shared<std::vector<std::string>>();
    std::function<std::string(const ScriptedAdd&)> add = [this, ids](const ScriptedAdd& one) {
      if (stopped) return std::string("Pellora has ended.");
      return ReasonOf([&] { return AddForScript(one, *ids); });
    };
    std::function<void(const std::string&)> done = [ids, answered](const std::string& reason) {
      answered({ids->empty() ? std::string() : ids->front(), reason, *ids});
    };
    std::optional<std::string> file;
    if (wanted.opensFile && program.headless) file = ListFileOf(wanted.url);
    if (!file) return done(add(wanted));
    program.platform.tasks.Spawn(AddFromListFile(&program, wanted, *file, std::move(add), std::move(done)));
  }

  // In the place of the Metalink at `index`.
  void ReplaceByFiles(std::int16_t index, const MetalinkFiles& metalink) {
    std::vector<ListedAdd> adds = ListedAddsOf(program, metalink);
    const bool isScripted = scripted.contains(program.Serial(index));
    const double added = program.Download(index).DateAdded;
    for (ListedAdd& add : adds) add.request.queuePlace = program.QueuePlace(index);
    EmptyPlace(program, index);
    pellora::Release(program, index, kDeleted);
    Main().RefreshRows(kAllRows, kUnforced);
    AddFiles(std::move(adds), isScripted, added);
  }

  // Several are shown first, and one that cannot be added, unless a script has added the Metalink.
  void AddFiles(std::vector<ListedAdd> adds, bool unasked, double added) {
    if (program.headless || unasked) return AddUnasked(std::move(adds), added);
    if (adds.size() != 1 || LosesChecksum(program, adds.front().request))
      return Main().addList->Offer(std::move(adds), false);
    adds.front().request.added = added;
    program.platform.tasks.Spawn(AddDownload(&program, std::move(adds.front().request)));
  }

  // Nobody could choose among them. The first that is added keeps the id.
  void AddUnasked(std::vector<ListedAdd> adds, double added) {
    bool any = false;
    for (ListedAdd& add : adds) {
      if (!any) add.request.added = added;
      const AddOutcome outcome = AddFileUnasked(program, add.request);
      if (outcome.index != 0) {
        any = true;
        scripted.insert(program.Serial(outcome.index));
        continue;
      }
      std::string text = add.request.name + ": " + outcome.reason;
      if (!program.headless) {
        Main().Status(text);
      } else {
        program.platform.tasks.Spawn(Say(&program, std::move(text)));
      }
    }
  }

  void MakeWebServices() {
    const Platform& platform = program.platform;
    if (platform.fetcher == nullptr || platform.downloadFiles == nullptr) return;
    const auto seed = std::bit_cast<std::uint64_t>(platform.clock.Now());
    web = std::make_shared<WebServices>(platform, JournalPath(program), seed);
    loginWindows = std::make_unique<LoginWindows>(program, web->logins);
    web->logins.ask = [this](LoginQuestion question) { loginWindows->Ask(std::move(question)); };
    web->logins.notRemembered = [this] {
      program.platform.tasks.Spawn(Say(&program, TextOf(program, WebText::NotRemembered), kInformation));
    };
    program.newWebEngine = [this](Program&) { return std::make_shared<WebEngine>(program, web); };
    program.listSaved = [this] { SweepJournal(program, *web); };
    program.webAdded = [this](std::int16_t index, const WebAdd& add) { RememberAdd(program, *web, index, add); };
    program.speedLimitSet = [this](std::int16_t index) { KeepSpeedLimit(program, *web, index); };
    program.decided = [this](std::int16_t index, std::function<void()> kept) {
      RememberDecision(program, *web, index, std::move(kept));
    };
    program.takeAddress = [this](std::int16_t index, const AddressReading& address) {
      RememberAddress(program, *web, index, address);
    };
    program.queuePlaceSet = [this](std::int16_t index) { RememberPlace(program, *web, index); };
    program.takesHandOver = [this](std::int16_t index, const HandOver& handOver) {
      return TakeHandOver(program, *web, index, handOver);
    };
    web->metalinkArrived = [this](std::int16_t index, const MetalinkFiles& metalink) {
      ReplaceByFiles(index, metalink);
    };
    prospects = NewWebProspects(program, *web);
    program.prospects = prospects.get();
    archives = NewWebArchives(program, *web);
    archiveWindows = std::make_unique<ArchiveWindows>(program, *archives);
    program.lookInside = [this](const ArchiveLook& look) { LookInto(look); };
    program.isSelection = [this](int index) {
      const DownloadRecord& record = program.Download(index);
      const JournalEntry* const entry = web->journal.Find(JournalKeyOf(record.URL, record.DateAdded));
      return entry != nullptr && !entry->selection.empty();
    };
    program.isUnjournaled = [this](int index) { return LacksJournalLine(program, *web, index); };
    program.hasJournalEntry = [this](const std::string& url, double added) {
      return web->journal.Find(JournalKeyOf(url, added)) != nullptr;
    };
  }

  void LookInto(ArchiveLook look) {
    if (stopped) return;
    if (program.Holds(look.record, look.serial)) look.add = AddOf(program, *web, look.record);
    archiveWindows->Open(look);
  }

  Program program;
  std::shared_ptr<WebServices> web;  // null without a fetcher
  std::unique_ptr<LoginWindows> loginWindows;
  std::unique_ptr<Prospects> prospects;            // null without a fetcher
  std::unique_ptr<RemoteArchives> archives;        // null without a fetcher
  std::unique_ptr<ArchiveWindows> archiveWindows;  // null without a fetcher
  std::shared_ptr<MainWindow> mainWindow;
  std::shared_ptr<PelloraCatcher> catcher;
  std::shared_ptr<DownloadBasket> basket;
  Taken taken;  // from browsers
  // By caller: those that wait for a take-over; true once the caller is gone.
  std::multimap<std::string, std::shared_ptr<bool>> browsers;
  std::set<std::uint32_t> scripted;  // serials of records that scripts have added in this run
  std::vector<std::function<void()>> earlyCalls;
  bool started = false;
  bool stopped = false;

  // A step that fails does nothing, and the next one runs.
  static Task<> Start(Parts* parts);
};

Task<> App::Parts::Start(Parts* parts) {
  Program& program = parts->program;
  Platform& platform = program.platform;
  parts->CreateFolders();
  TryAndReport(program, "The settings cannot be read.",
               [&] { LoadSettings(program.settings, platform.settings, platform.machine, platform.clock); });
  LoadWebSettings(program.settings, platform.settings);
  program.speed->Update();  // the first download may begin before the first tick
  Skip([&] { LoadLanguage(program, program.settings.Language); });
  if (platform.browserMenu) SetBrowserMenu(*platform.browserMenu, program.settings.BrowserIngeration);
  Skip([&] { platform.settings.Set("Pellora", "AppPath", platform.machine.ProgramFolder()); });
  program.ShowTransferWindow = !program.headless && !program.settings.HideTransferWindows;
  TryAndReport(program, "The list cannot be read, and is left as it is: downloads added now are not saved.", [&] {
    AdoptList(program);
    LoadList(program);
  });
  if (parts->web) {
    const std::string unreadable = FillText(TextOf(program, WebText::JournalUnreadable), {parts->web->journal.Path()});
    TryAndReport(program, unreadable, [&] { RestoreWebRecords(program, *parts->web); });
  }
  Skip([&] { RemoveOrphanedParts(program); });
  MainWindow& window = parts->Main();
  Skip([&] { window.RefreshRows(kAllRows, kUnforced); });
  Skip([&] { window.Load(); });
  if (!program.headless) Skip([&] { window.Show(); });
  window.StartTimers();
  co_await platform.tasks.Yield();
  if (parts->stopped) co_return;
  Skip([&] { window.RefreshDownList(); });
  parts->started = true;
  for (const std::function<void()>& call : std::exchange(parts->earlyCalls, {})) Skip(call);
}

App::App(Platform& platform) : parts_(std::make_unique<Parts>(platform)) {
  Parts* const parts = parts_.get();
  Program& program = parts->program;
  program.newTransferWindow = [&program](std::int16_t index) { return NewTransferWindow(program, index); };
  parts->MakeWebServices();
  program.newZipViewer = [parts] { return std::make_shared<Form2>(parts->program, parts->program.platform.folders); };
  if (platform.unzip != nullptr) {
    program.handOverUpdate = [&program](std::int16_t index) {
      program.platform.tasks.Spawn(HandOverUpdate(&program, program.platform.unzip, index));
    };
  }
  program.saveAndQuit = [parts] { parts->Stop(); };
  program.listNotSaved = [parts](const std::string& reason) {
    if (parts->stopped) return;  // nobody could read it any more
    Program& own = parts->program;
    own.platform.tasks.Spawn(Say(&own, TextOf(own, WebText::ListNotSaved) + "\n" + reason));
  };
  program.languageWindows = [parts] {
    MainWindow& window = parts->Main();
    std::vector<std::shared_ptr<Window>> windows{parts->mainWindow, window.optionsWindow, window.wantDown,
                                                 parts->catcher,    window.form1,         window.askLine,
                                                 window.addList,    parts->basket};
    if (!parts->loginWindows) return windows;
    for (std::shared_ptr<Window>& login : parts->loginWindows->Windows()) windows.push_back(std::move(login));
    return windows;
  };
}

App::~App() = default;

void App::SetHeadless() {
  Program& program = parts_->program;
  program.headless = true;
  program.newZipViewer = {};
  program.lookInside = {};
}

void App::Start() { parts_->program.platform.tasks.Spawn(Parts::Start(parts_.get())); }

// `parts` as the caller: many calls with a bad URL show one message.
void App::MenuURL(std::string url, std::string refURL, std::string cookie) {
  Parts* const parts = parts_.get();
  AddRequest request{.url = std::move(url), .caller = parts};
  request.web.handOver = {std::move(refURL), std::move(cookie)};
  parts->WhenStarted([parts, request = std::move(request)] {
    Program& program = parts->program;
    program.platform.tasks.Spawn(AddDownload(&program, request));
  });
}

void App::LeechURL(const std::string&, const std::string&) {}

void App::Add(ScriptedAdd wanted, std::function<void(AddAnswer)> answered) {
  Parts* const parts = parts_.get();
  parts->WhenStarted(
      [parts, wanted = std::move(wanted), answered = std::move(answered)] { parts->Add(wanted, answered); });
}

void App::TakeOver(ScriptedAdd wanted, std::function<void(AddAnswer)> answered) {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts, wanted = std::move(wanted), answered = std::move(answered)] {
    Program& program = parts->program;
    const auto gone = std::make_shared<bool>(false);
    const auto done = [parts, &program, gone, answered](const AddOutcome& outcome) {
      std::erase_if(parts->browsers, [&](const auto& one) { return one.second == gone; });
      const bool taken = outcome.index != 0;
      const std::string id = taken ? IdOf(program, outcome.index) : std::string();
      answered({id, outcome.reason, taken ? std::vector<std::string>{id} : std::vector<std::string>()});
    };
    parts->browsers.emplace(wanted.caller, gone);
    program.platform.tasks.Spawn(pellora::TakeOver(&program, &parts->Main(), &parts->taken, wanted, gone, done));
  });
}

void App::ListArchive(ArchiveOrder order, std::function<void(ListedArchive)> answered) {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts, order = std::move(order), answered = std::move(answered)] {
    if (!parts->archiveWindows) return answered({{}, kNoWebEngine});
    parts->archiveWindows->List(order, answered);
  });
}

void App::CallerGone(const std::string& caller) {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts, caller] {
    if (parts->archiveWindows) parts->archiveWindows->CallerGone(caller);
    const auto [first, last] = parts->browsers.equal_range(caller);
    std::for_each(first, last, [](const auto& one) { *one.second = true; });
  });
}

void App::GetFromArchive(ArchiveOrder order, std::function<void(AddAnswer)> answered) {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts, order = std::move(order), answered = std::move(answered)] {
    if (!parts->archiveWindows) return answered({{}, kNoWebEngine, {}});
    parts->archiveWindows->Get(order, [parts, answered](const AddOutcome& outcome) {
      AddAnswer answer{{}, outcome.reason, {}};
      if (outcome.index != 0) {
        answer.id = IdOf(parts->program, outcome.index);
        parts->scripted.insert(parts->program.Serial(outcome.index));
      }
      answered(std::move(answer));
    });
  });
}

// Runs `act` on the listed record with that id.
template <class Act>
std::string App::Parts::WithRecord(const std::string& id, Act&& act) {
  const std::int16_t index = FindId(program, id);
  if (index == 0) return kNoSuchDownload;
  return ReasonOf([&] { return std::forward<Act>(act)(index); });
}

std::string App::Pause(const std::string& id) {
  return parts_->WithRecord(id, [this](std::int16_t index) -> std::string {
    return parts_->Main().PauseRecord(index) ? "" : "It is not running.";
  });
}

std::string App::PauseAll() {
  return ReasonOf([this]() -> std::string {
    parts_->Main().pauseall();
    return "";
  });
}

std::string App::Resume(const std::string& id) {
  return parts_->WithRecord(id, [this](std::int16_t index) -> std::string {
    Program& program = parts_->program;
    const DownloadRecord& record = program.Download(index);
    if (record.Finished) return "It is finished.";
    if (record.Active) return "It is running already.";
    if (ChooseEngine(program, index).engine == EngineName::None) return pellora::ReasonOf(program, index);
    program.platform.tasks.Spawn(parts_->Main().Restart(index));
    return "";
  });
}

std::string App::Remove(const std::string& id) {
  return parts_->WithRecord(id, [this](std::int16_t index) -> std::string {
    parts_->Main().RemoveRecord(index);
    return "";
  });
}

std::string App::Release(const std::string& id) {
  return parts_->WithRecord(
      id, [this](std::int16_t index) { return ReleaseTaken(parts_->program, parts_->Main(), parts_->taken, index); });
}

std::string App::SetLimit(const std::string& id, std::int32_t limit) {
  if (limit < 0 || limit > kHighestSpeedLimit) return "This is no limit of speed.";
  Program& program = parts_->program;
  if (!id.empty()) {
    return parts_->WithRecord(id, [&program, limit](std::int16_t index) -> std::string {
      SetSpeedLimitOf(program, index, limit * kBytesOfKiB);
      return "";
    });
  }
  return ReasonOf([&program, limit]() -> std::string {
    SetSpeedLimit(program, limit);
    return "";
  });
}

std::int32_t App::Limit() const { return parts_->program.settings.SpeedLimit; }

std::string App::ShowWindow(const std::string& id) {
  if (parts_->program.headless) return "Pellora runs without windows.";
  if (id.empty()) {
    ShowMainWindow();
    return {};
  }
  return parts_->WithRecord(id, [this](std::int16_t index) -> std::string {
    const std::shared_ptr<Transfer> transfer = parts_->program.TransferWindowAt(index);
    if (!transfer) return "It has no window before it is started.";
    transfer->ShowWindow();
    return "";
  });
}

void App::ResumeAll() {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts] { parts->Main().resumeall(); });
}

void App::Open(std::vector<std::string> addresses) {
  Parts* const parts = parts_.get();
  parts->WhenStarted([parts, addresses = std::move(addresses)] {
    parts->program.platform.tasks.Spawn(Parts::OpenEach(parts, addresses));
  });
}

void App::AskForUrl() {
  Parts* const parts = parts_.get();
  parts->WhenStarted([this, parts] {
    if (parts->program.headless) return;
    ShowMainWindow();
    parts->Main().RunAction(MainWindow::kAdd);
  });
}

void App::ShowMainWindow() {
  if (parts_->stopped || parts_->program.headless) return;
  MainWindow& window = parts_->Main();
  if (!window.Loaded()) return;  // the start sequence is about to show it
  window.Show();
  window.Raise();
}

void App::SaveAndQuit() { parts_->Stop(); }

std::vector<DownloadInfo> App::List() const {
  Program& program = parts_->program;
  const DownloadIds ids(program);
  std::vector<DownloadInfo> list;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse) continue;
    DownloadInfo info;
    info.index = static_cast<std::int16_t>(i);
    info.name = record.FileName;
    info.id = ids.Of(i);
    info.url = record.URL;
    info.state = StateWord(program, i);
    info.received = record.Received;
    info.size = record.FileSize;
    info.reason = ReasonForScripts(program, i);
    if (const WebFigures* const figures = program.Web(i)) {
      info.received = figures->received;
      info.size = std::max(figures->size, std::int64_t{0});
      if (record.Active) info.bytesPerSecond = figures->bytesPerSecond;
    }
    info.limit = static_cast<std::int32_t>(SpeedLimitOf(program, i) / kBytesOfKiB);
    info.percent = static_cast<double>(record.Percent);
    if (record.Finished) info.savedPath = record.SavePath;
    const std::shared_ptr<Transfer>& transfer = program.TransferWindowAt(i);
    if (record.Active && transfer) info.silentSeconds = transfer->SilentFor() / 1000;
    list.push_back(std::move(info));
  }
  return list;
}

Program& App::program() { return parts_->program; }
MainWindow& App::mainWindow() { return parts_->Main(); }

PelloraCatcher& App::catcher() {
  parts_->Main();
  return *parts_->catcher;
}

DownloadBasket& App::basket() {
  parts_->Main();
  return *parts_->basket;
}

}  // namespace pellora
