// The desktop program: builds the ports and the App on top of them, and runs the event loop.
#include <malloc.h>
#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QFileInfo>
#include <QPixmap>
#include <QSessionManager>
#include <QStandardPaths>
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "app/App.h"
#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "core/Version.h"
#include "core/WebAddress.h"
#include "desktop/ActivationToken.h"
#include "desktop/BrowserManifests.h"
#include "desktop/BusService.h"
#include "desktop/DesktopInhibit.h"
#include "desktop/DesktopMachine.h"
#include "desktop/DesktopNotices.h"
#include "desktop/DesktopShell.h"
#include "desktop/DisplayText.h"
#include "desktop/EndSignals.h"
#include "desktop/FileWorker.h"
#include "desktop/FolderVariables.h"
#include "desktop/HeadlessDialogs.h"
#include "desktop/IniSettings.h"
#include "desktop/LibarchiveUnzip.h"
#include "desktop/LocaleFormats.h"
#include "desktop/NewFetcher.h"
#include "desktop/NoDisplay.h"
#include "desktop/OpenSslDigests.h"
#include "desktop/PosixDownloadFiles.h"
#include "desktop/PosixFiles.h"
#include "desktop/PosixFolders.h"
#include "desktop/PosixNetwork.h"
#include "desktop/PosixOutputFolders.h"
#include "desktop/PreviewMedia.h"
#include "desktop/ProgramIcon.h"
#include "desktop/ProgramPlaces.h"
#include "desktop/QtClipboard.h"
#include "desktop/QtEventLoop.h"
#include "desktop/Registration.h"
#include "desktop/ScaleVariables.h"
#include "desktop/SecretService.h"
#include "desktop/SingleInstance.h"
#include "desktop/Spawn.h"
#include "desktop/StandardStreams.h"
#include "desktop/SystemClock.h"
#include "desktop/UnpackerProcess.h"
#include "desktop/XdgAutoStart.h"
#include "desktop/preview/Protocol.h"
#include "desktop/unpack/Protocol.h"
#include "desktop/views/ProgramStyle.h"
#include "desktop/views/QtDialogs.h"
#include "desktop/views/QtTray.h"
#include "desktop/views/QtWindowSystem.h"
#include "desktop/views/ViewMemory.h"
#include "ports/Platform.h"

namespace pellora {
namespace {

// Where windows were and how lists were arranged lies in $XDG_STATE_HOME/pellora, as the XDG Base Directory
// Specification has it.
std::string StateFolder() {
  const std::string home = qgetenv("XDG_STATE_HOME").toStdString();
  const std::string state = home.starts_with('/') ? home : QDir::homePath().toStdString() + "/.local/state";
  return state + "/pellora";
}

// Figures that change more often are too fast for the eye.
constexpr std::chrono::milliseconds kDrawingPace{50};

// The ports that need a display.
struct Display {
  explicit Display(EventGate& gate) : dialogs(gate), windows(gate, &memory, kDrawingPace), tray(windows, gate) {}

  QtClipboard clipboard;
  QtDialogs dialogs;
  IniSettings store{StateFolder(), {}};
  ViewMemory memory{store};
  QtWindowSystem windows;
  QtTray tray;
};

// Their substitutes.
struct NoDisplay {
  explicit NoDisplay(EventLoop& events) : dialogs(events) {}

  NoClipboard clipboard;
  HeadlessDialogs dialogs;
  NoWindows windows;
  NoTray tray;
};

// The ports of the desktop; each may use those above it.
struct Desktop {
  Desktop(bool headless, const ProgramPlaces& where)
      : places{where},
        registers{RegistersItself(where, qgetenv("XDG_DATA_DIRS").toStdString())},
        display{headless ? nullptr : std::make_unique<Display>(gate)} {}

  ProgramPlaces places;
  bool registers = false;
  EventGate gate;
  QtEventLoop events{gate};
  SystemClock clock;
  PosixNetwork network{gate, events};
  // Never destroyed: when the program ends, a file operation in the background may still be using it.
  PosixFiles& files = *new PosixFiles;
  PosixDownloadFiles& downloadFiles = *new PosixDownloadFiles;
  PosixOutputFolders& outputs = *new PosixOutputFolders;
  OpenSslDigests digests;  // before the fetcher
  std::unique_ptr<Fetcher> fetcher = NewFetcher(gate, events);
  FileWorker background{gate};
  PosixFolders folders;
  LibarchiveUnzip unzip;
  IniSettings settings{IniSettings::DefaultFolder(), IniSettings::DefaultSystemFolders()};
  const std::unique_ptr<Display> display;  // null without one
  NoDisplay noDisplay{events};
  DesktopShell shell;
  DesktopMachine machine{network, places};
  UnpackerProcess& unpacker = *new UnpackerProcess(places.program + "/" + kUnpackProgram);  // likewise
  LocaleFormats locale;
  XdgAutoStart autoStart{places.packaged ? kInstalledCommand : places.program + "/Pellora",
                         QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString()};
  BrowserManifests browsers{places.program, QDir::homePath().toStdString(),
                            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString(),
                            registers};
  PreviewMedia media{gate, places.program + "/" + kPreviewProgram};
  DesktopInhibit inhibit{gate};
  TaskLoop tasks{gate, events};
  Platform platform{gate,
                    events,
                    tasks,
                    clock,
                    network,
                    files,
                    settings,
                    display ? static_cast<Clipboard&>(display->clipboard) : noDisplay.clipboard,
                    display ? static_cast<Dialogs&>(display->dialogs) : noDisplay.dialogs,
                    shell,
                    machine,
                    locale,
                    display ? static_cast<Tray&>(display->tray) : noDisplay.tray,
                    display ? static_cast<WindowSystem&>(display->windows) : noDisplay.windows,
                    media,
                    background,
                    &autoStart,
                    &browsers,
                    &folders,
                    fetcher.get(),
                    fetcher ? &downloadFiles : nullptr,
                    &unzip,
                    &unpacker,
                    &outputs,
                    &digests};
};

constexpr int kTextAskKeepTimedOut = 523;
constexpr int kTextYes = 406;
constexpr int kTextNo = 407;
constexpr int kTextOk = 635;

constexpr const char* kUsage =
    "Usage: pellora [--headless] [--add-url] [ADDRESS or FILE]...\n"
    "\n"
    "Starts Pellora, or raises the window of the copy that runs. Addresses are downloaded; those in a file (.meta4, "
    ".txt)\n"
    "are shown for a choice.\n"
    "\n"
    "  --headless  runs without windows and without a display; pelloractl controls it\n"
    "  --add-url   asks for an address\n"
    "  --version   prints the version\n";
constexpr int kWrongArguments = 2;

bool StartedByBus() { return qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE"); }

std::string DataHome() { return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString(); }

// What the program is started for, by the desktop's entry: "Pellora [--add-url] [ADDRESS or FILE]...".
struct Wish {
  bool addUrl = false;
  QStringList addresses;
  bool IsEmpty() const { return !addUrl && addresses.isEmpty(); }
};

bool HasArgument(int argc, char** argv, std::string_view wanted) {
  return std::any_of(argv, argv + argc, [wanted](const char* argument) { return wanted == argument; });
}

// What Qt has not taken: a mistyped option would open windows where none are wanted.
QString UnknownOption(const QStringList& arguments) {
  for (const QString& argument : arguments) {
    if (argument.startsWith('-') && argument != "--add-url" && argument != "--headless") return argument;
  }
  return {};
}

// Files are named by their full paths, since the copy that runs may be in another folder.
Wish WishOf(const QStringList& arguments) {
  Wish wish;
  for (const QString& argument : arguments) {
    if (argument.startsWith("--")) {
      wish.addUrl = wish.addUrl || argument == "--add-url";
    } else {
      const bool isFile = !argument.contains("://") && QFileInfo::exists(argument);
      wish.addresses.append(isFile ? QFileInfo(argument).absoluteFilePath() : argument);
    }
  }
  return wish;
}

// Says what cannot be added, which the copy could show to nobody.
bool AddEachInRunningCopy(const QDBusConnection& bus, const QStringList& addresses) {
  bool all = true;
  for (const QString& address : addresses) {
    const QString reason = AddInRunningCopy(bus, address);
    if (reason.isEmpty()) continue;
    const std::string text = WithoutPassword(address.toStdString()) + ": " + reason.toStdString();
    std::fprintf(stderr, "Pellora: %s\n", qUtf8Printable(WholeLine(text)));
    all = false;
  }
  return all;
}

bool HandOver(const QDBusConnection& bus, const Wish& wish, bool toHeadless) {
  if (toHeadless) return AddEachInRunningCopy(bus, wish.addresses);
  const bool opened = wish.addresses.isEmpty() || OpenInRunningCopy(bus, wish.addresses);
  return opened && (!wish.addUrl || AddUrlInRunningCopy(bus));
}

constexpr std::array kDisplays{"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "QT_QPA_PLATFORM"};
constexpr const char* kSessionType = "XDG_SESSION_TYPE";

// Whether one is named; Qt's own options may name another platform.
bool HasDisplay(int argc, char** argv) {
  if (!std::all_of(kDisplays.begin(), kDisplays.end(), qEnvironmentVariableIsEmpty)) return true;
  if (qgetenv(kSessionType) == "wayland") return true;
  constexpr std::array kOptionsOfQt{"-platform", "--platform", "-display", "--display"};
  return std::any_of(kOptionsOfQt.begin(), kOptionsOfQt.end(),
                     [&](const char* option) { return HasArgument(argc, argv, option); });
}

// What there is to show windows on.
enum class Surface : std::uint8_t {
  Display,
  Unwanted,  // none is used: on request, or because the bus has started the program where there is none
  Missing,
};

Surface SurfaceFor(int argc, char** argv) {
  if (HasArgument(argc, argv, "--headless")) return Surface::Unwanted;
  if (HasDisplay(argc, argv)) return Surface::Display;
  return StartedByBus() ? Surface::Unwanted : Surface::Missing;
}

int RefuseWithoutDisplay() {
  std::fputs("Pellora: There is no display. \"--headless\" runs without one.\n", stderr);
  return 1;
}

// Empty if the runtime folder cannot be trusted; the lock beside the list must do then.
std::string RuntimeFolderIfSafe() {
  std::string folder;
  Skip([&] { folder = SingleInstance::RuntimeFolder(); });
  return folder;
}

// A second start says so, raises the first copy and ends. It shows nothing if the first copy cannot be reached, or if
// the bus started it and no user is waiting.
int RunSecondCopy(Surface surface, const ProgramPlaces& places, const Wish& wish) {
  if (StartedByBus()) return 0;
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!RunningCopyFound(bus)) {
    std::fputs("Pellora: runs already, but not on this session bus\n", stderr);
    return surface == Surface::Display && wish.IsEmpty() ? 0 : 1;
  }
  if (surface == Surface::Unwanted && wish.IsEmpty()) {
    std::fputs("Pellora: runs already\n", stderr);
    return 0;
  }
  const bool wantsWindow = wish.addUrl || wish.IsEmpty();
  const bool toHeadless = RunningCopyIsHeadless(bus);
  const bool inVain = wantsWindow && toHeadless;
  if (!wish.IsEmpty() && !HandOver(bus, wish, toHeadless)) return 1;
  if (!wish.IsEmpty() && !inVain) return 0;
  if (surface == Surface::Missing) return RefuseWithoutDisplay();
  constexpr const char* kNoWindows = "Pellora runs already, without windows. \"pelloractl quit\" ends it.";
  if (surface == Surface::Unwanted) {
    std::fprintf(stderr, "%s\n", kNoWindows);
    return 1;
  }
  // For the window of the first copy: Qt would use it up for the box.
  const QByteArray token = ActivationToken();
  DropActivationToken();
  Desktop desktop(false, places);
  const char* const text = inVain ? kNoWindows : "found";
  desktop.events.Post([&desktop, &bus, &token, text] {
    desktop.platform.dialogs.Ask({text, kProgramName, kOkOnly}, [&](int) {
      SetActivationToken(token);
      RaiseRunningCopy(bus);
      desktop.machine.End(0);
    });
  });
  return QCoreApplication::exec();
}

QList<DownloadRow> RowsOf(const std::vector<DownloadInfo>& list) {
  QList<DownloadRow> rows;
  for (const DownloadInfo& info : list) {
    rows.append({info.index, WholeText(info.name), WholeText(info.url), WholeText(info.state), info.received, info.size,
                 info.percent, WholeText(info.savedPath), WholeText(info.id), info.silentSeconds, info.bytesPerSecond,
                 WholeText(info.reason), info.limit});
  }
  return rows;
}

// `app` must outlive the result.
BusActions BusActionsOf(App& app) {
  BusActions actions;
  actions.menuUrl = [&app](std::string url, std::string refURL, std::string cookie) {
    app.MenuURL(std::move(url), std::move(refURL), std::move(cookie));
  };
  actions.leechUrl = [&app](const std::string& url, const std::string& refURL) { app.LeechURL(url, refURL); };
  actions.show = [&app] { app.ShowMainWindow(); };
  actions.resumeAll = [&app] { app.ResumeAll(); };
  actions.addUrl = [&app] { app.AskForUrl(); };
  actions.open = [&app](std::vector<std::string> addresses) { app.Open(std::move(addresses)); };
  actions.list = [&app]() -> BusActions::Rows {
    return [list = std::make_shared<const std::vector<DownloadInfo>>(app.List())] { return RowsOf(*list); };
  };
  actions.add = [&app](ScriptedAdd wanted, const BusActions::Added& added) {
    app.Add(std::move(wanted), [added](const AddAnswer& answer) { added(answer.ids, answer.reason); });
  };
  actions.takeOver = [&app](ScriptedAdd wanted, const BusActions::Added& added) {
    app.TakeOver(std::move(wanted), [added](const AddAnswer& answer) { added(answer.ids, answer.reason); });
  };
  actions.release = [&app](const std::string& id) { return app.Release(id); };
  actions.listArchive = [&app](ArchiveOrder order, const BusActions::Listed& listed) {
    app.ListArchive(std::move(order), listed);
  };
  actions.callerGone = [&app](const std::string& caller) { app.CallerGone(caller); };
  actions.getFromArchive = [&app](ArchiveOrder order, const BusActions::Added& added) {
    app.GetFromArchive(std::move(order), [added](const AddAnswer& answer) {
      added(answer.id.empty() ? std::vector<std::string>() : std::vector<std::string>{answer.id}, answer.reason);
    });
  };
  actions.pause = [&app](const std::string& id) { return app.Pause(id); };
  actions.pauseAll = [&app] { return app.PauseAll(); };
  actions.resume = [&app](const std::string& id) { return app.Resume(id); };
  actions.remove = [&app](const std::string& id) { return app.Remove(id); };
  actions.showWindow = [&app](const std::string& id) { return app.ShowWindow(id); };
  actions.setLimit = [&app](const std::string& id, std::int32_t limit) { return app.SetLimit(id, limit); };
  actions.limit = [&app] { return app.Limit(); };
  actions.headless = [&app] { return app.program().headless; };
  actions.quit = [&app] { app.SaveAndQuit(); };
  return actions;
}

// Without a display nobody would see what the password store asks.
bool CanPrompt(bool headless) {
  const QString name = QGuiApplication::platformName();
  return !headless && name != QLatin1String("offscreen") && name != QLatin1String("minimal");
}

// An installed program has been registered by its package, for all users.
void Register(Desktop& desktop) {
  if (desktop.registers) return RegisterProgram(desktop.places.program + "/Pellora", DataHome());
  UnregisterPrograms(DataHome());
  if (!desktop.places.writable) desktop.autoStart.TakeOver();
}

void Fulfil(App& app, const Wish& wish) {
  std::vector<std::string> addresses;
  for (const QString& address : wish.addresses) addresses.push_back(address.toStdString());
  if (!addresses.empty()) app.Open(std::move(addresses));
  if (wish.addUrl) app.AskForUrl();
}

int RunProgram(bool headless, const ProgramPlaces& places, const Wish& wish) {
  Desktop desktop(headless, places);
  Register(desktop);

  SecretService secrets(desktop.gate, QDBusConnection::sessionBus(), CanPrompt(headless));
  desktop.platform.secrets = &secrets;
  desktop.platform.inhibit = &desktop.inhibit;
  DesktopNotices notices(desktop.gate, QDBusConnection::sessionBus(), kDesktopId);
  desktop.platform.notices = &notices;
  App app(desktop.platform);
  if (headless) app.SetHeadless();
  // The one question whose No loses something.
  desktop.noDisplay.dialogs.SetYes(
      [&app](const std::string& text) { return text == app.program().Text(kTextAskKeepTimedOut); });
  const auto saveAndQuit = [&] { desktop.gate.Deliver([&] { app.SaveAndQuit(); }); };
  const EndSignals endSignals(saveAndQuit);
  if (desktop.display) {
    desktop.display->dialogs.SetAnswerTexts([&app](int answer) {
      return app.program().Text(answer == kAnswerYes ? kTextYes : answer == kAnswerNo ? kTextNo : kTextOk);
    });
    QObject::connect(
        qGuiApp, &QGuiApplication::commitDataRequest, qGuiApp, [&](QSessionManager&) { saveAndQuit(); },
        Qt::DirectConnection);
  }

  BusService service(desktop.events, BusActionsOf(app));
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!service.Register(bus)) SayOnStandardError("Pellora: not reachable over the session bus");
  std::unique_ptr<BusWatch> busWatch;
  if (headless || StartedByBus()) {
    busWatch = std::make_unique<BusWatch>(bus, [&] {
      SayOnStandardError("Pellora: The session bus has ended.");
      saveAndQuit();
    });
  }

  desktop.events.Post([&app, &wish] {
    app.Start();
    Fulfil(app, wish);
  });
  const int code = QCoreApplication::exec();
  // Waiting tasks and loaded windows refer to the App and the ports, so they are destroyed first.
  desktop.tasks.Clear();
  desktop.gate.LetGoOfAll();
  return code;
}

// By default the C library stops giving back large pieces once it has seen one of them freed: each saved list would
// stay in memory.
void GiveBackLargePieces() {
  mallopt(M_MMAP_THRESHOLD, 512 << 10);  // above the blocks of transfers, which are used again
  mallopt(M_TRIM_THRESHOLD, 16 << 20);
}

// A message to a reader that is gone, as of "pellora --headless 2>&1 | head", must not end the program. A handler, as
// opposed to ignoring the signal, does not pass on to programs started from here.
extern "C" void NoteLostReader(int) {}

// The arguments before Qt has taken its own; a null pointer ends them.
std::vector<char*>& GivenArguments() {
  static std::vector<char*> arguments;
  return arguments;
}

// Starts again as where no display is named: a copy that runs gets the addresses.
[[noreturn]] void StartWithoutDisplay() {
  for (const char* const name : kDisplays) qunsetenv(name);
  qunsetenv(kSessionType);
  std::vector<char*>& arguments = GivenArguments();
  const bool named = HasDisplay(static_cast<int>(arguments.size()) - 1, arguments.data());
  if (!named && !StartedByBus()) execv("/proc/self/exe", arguments.data());
  std::_Exit(RefuseWithoutDisplay());
}

// Qt would end the program with a core dump where the display that it was given does not answer.
void TakeMessageOfQt(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  std::fprintf(stderr, "%s\n", qUtf8Printable(qFormatLogMessage(type, context, text)));
  if (type == QtFatalMsg) StartWithoutDisplay();
}

// Without a display the libraries of windows would only take memory.
std::unique_ptr<QCoreApplication> NewApplication(int& argc, char** argv, bool headless) {
  if (headless) return std::make_unique<QCoreApplication>(argc, argv);
  DropUselessScales();
  DropOverlongActivationToken();
  GivenArguments().assign(argv, argv + argc + 1);
  const QtMessageHandler former = qInstallMessageHandler(TakeMessageOfQt);
  auto application = std::make_unique<QApplication>(argc, argv);
  qInstallMessageHandler(former);
  QGuiApplication::setDesktopFileName(kDesktopId);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setStyle(new ProgramStyle);  // owned by the application
  QPixmap icon;
  icon.loadFromData(ProgramIconFile(64));
  QApplication::setWindowIcon(icon);
  return application;
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  pellora::OpenMissingStreams();
  if (pellora::HasArgument(argc, argv, "--help")) {
    std::fputs(pellora::kUsage, stdout);
    return 0;
  }
  if (pellora::HasArgument(argc, argv, "--version")) {
    std::printf("Pellora %s\n", pellora::kFullVersionText);
    return 0;
  }
  std::signal(SIGPIPE, pellora::NoteLostReader);
  pellora::UseWholeFolders();
  pellora::GiveBackLargePieces();
  // Ignore SIGXFSZ so that exceeding the file size limit reports like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  // The plain dispatcher serves sockets before timers and starves neither. The setting is not passed on to programs
  // started from here.
  const bool chosen = qEnvironmentVariableIsSet("QT_NO_GLIB");
  qputenv("QT_NO_GLIB", "1");
  const pellora::Surface surface = pellora::SurfaceFor(argc, argv);
  const bool headless = surface != pellora::Surface::Display;
  const std::unique_ptr<QCoreApplication> application = pellora::NewApplication(argc, argv, headless);
  if (!chosen) qunsetenv("QT_NO_GLIB");
  QCoreApplication::setApplicationName("Pellora");
  QCoreApplication::setApplicationVersion(pellora::kVersionText);

  const QStringList arguments = QCoreApplication::arguments().mid(1);
  if (const QString unknown = pellora::UnknownOption(arguments); !unknown.isEmpty()) {
    std::fprintf(stderr, "Pellora: unknown option %s; --help lists those that there are\n", qPrintable(unknown));
    return pellora::kWrongArguments;
  }
  const pellora::Wish wish = pellora::WishOf(arguments);
  const pellora::ProgramPlaces places =
      pellora::FindPlaces(pellora::DesktopMachine::FolderOfThisProgram(), pellora::DataHome());
  const pellora::SingleInstance lock(pellora::RuntimeFolderIfSafe(), places.data);
  if (lock.AnotherRuns()) return pellora::RunSecondCopy(surface, places, wish);
  if (surface == pellora::Surface::Missing) return pellora::RefuseWithoutDisplay();
  pellora::RaiseOpenFileLimit();
  return pellora::RunProgram(headless, places, wish);
}
