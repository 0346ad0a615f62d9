// The desktop program: builds the ports and the App on top of them, and runs the event loop.
#include <pwd.h>
#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QSessionManager>
#include <QStandardPaths>
#include <csignal>
#include <cstdio>
#include <memory>
#include <utility>

#include "app/App.h"
#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "core/Version.h"
#include "desktop/BrowserManifests.h"
#include "desktop/BusService.h"
#include "desktop/DesktopMachine.h"
#include "desktop/DesktopShell.h"
#include "desktop/DisplayText.h"
#include "desktop/EndSignals.h"
#include "desktop/FileWorker.h"
#include "desktop/IniSettings.h"
#include "desktop/LibarchiveUnzip.h"
#include "desktop/LocaleFormats.h"
#include "desktop/NewFetcher.h"
#include "desktop/OpenSslDigests.h"
#include "desktop/PosixDownloadFiles.h"
#include "desktop/PosixFiles.h"
#include "desktop/PosixFolders.h"
#include "desktop/PosixNetwork.h"
#include "desktop/PreviewMedia.h"
#include "desktop/ProgramIcon.h"
#include "desktop/QtClipboard.h"
#include "desktop/QtEventLoop.h"
#include "desktop/Registration.h"
#include "desktop/SingleInstance.h"
#include "desktop/Spawn.h"
#include "desktop/SystemClock.h"
#include "desktop/XdgAutoStart.h"
#include "desktop/preview/Protocol.h"
#include "desktop/views/QtDialogs.h"
#include "desktop/views/QtTray.h"
#include "desktop/views/QtWindowSystem.h"
#include "ports/Platform.h"

namespace pellora {
namespace {

// The ports of the desktop; each may use those above it.
struct Desktop {
  EventGate gate;
  QtEventLoop events{gate};
  SystemClock clock;
  PosixNetwork network{gate, events};
  // Never destroyed: when the program ends, a file operation in the background may still be using it.
  PosixFiles& files = *new PosixFiles;
  PosixDownloadFiles& downloadFiles = *new PosixDownloadFiles;
  OpenSslDigests digests;  // before the fetcher
  std::unique_ptr<Fetcher> fetcher = NewFetcher(gate, events);
  FileWorker background{gate};
  PosixFolders folders;
  LibarchiveUnzip unzip;
  IniSettings settings{IniSettings::DefaultFolder()};
  QtClipboard clipboard;
  QtDialogs dialogs{gate};
  DesktopShell shell;
  DesktopMachine machine{network};
  LocaleFormats locale;
  QtWindowSystem windows{gate};
  XdgAutoStart autoStart{machine.ProgramFolder() + "/Pellora",
                         QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString()};
  QtTray tray{windows, gate};
  BrowserManifests browsers{machine.ProgramFolder(), QDir::homePath().toStdString(),
                            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString()};
  PreviewMedia media{gate, machine.ProgramFolder() + "/" + kPreviewProgram};
  TaskLoop tasks{gate, events};
  Platform platform{
      gate,      events,     tasks,      clock,     network,  files,         settings,
      clipboard, dialogs,    shell,      machine,   locale,   tray,          windows,
      media,     background, &autoStart, &browsers, &folders, fetcher.get(), fetcher ? &downloadFiles : nullptr,
      &unzip,    &digests};
};

constexpr int kTextYes = 406;
constexpr int kTextNo = 407;
constexpr int kTextOk = 635;

bool StartedByBus() { return qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE"); }

// Empty if the runtime folder cannot be trusted; the lock beside the list must do then.
std::string RuntimeFolderIfSafe() {
  std::string folder;
  Skip([&] { folder = SingleInstance::RuntimeFolder(); });
  return folder;
}

// A second start says so, raises the first copy and ends. It shows nothing if the first copy cannot be reached, or if
// the bus started it and no user is waiting.
int RunSecondCopy() {
  if (StartedByBus()) return 0;
  if (!RunningCopyFound(QDBusConnection::sessionBus())) {
    std::fputs("Pellora: runs already, but not on this session bus\n", stderr);
    return 0;
  }
  Desktop desktop;
  desktop.events.Post([&] {
    desktop.dialogs.Ask({"found", kProgramName, kOkOnly}, [&](int) {
      RaiseRunningCopy(QDBusConnection::sessionBus());
      desktop.machine.End(0);
    });
  });
  return QApplication::exec();
}

QList<DownloadRow> Rows(const App& app) {
  QList<DownloadRow> rows;
  for (const DownloadInfo& info : app.List()) {
    rows.append({info.index, WholeText(info.name), WholeText(info.url), WholeText(info.state), info.received, info.size,
                 info.percent, WholeText(info.savedPath), WholeText(info.id), info.silentSeconds, info.bytesPerSecond,
                 WholeText(info.reason)});
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
  actions.list = [&app] { return Rows(app); };
  actions.add = [&app](std::string url, const BusActions::Added& added) {
    app.Add(std::move(url), [added](const AddAnswer& answer) { added(answer.id, answer.reason); });
  };
  actions.pause = [&app](const std::string& id) { return app.Pause(id); };
  actions.remove = [&app](const std::string& id) { return app.Remove(id); };
  actions.quit = [&app] { app.SaveAndQuit(); };
  return actions;
}

int RunProgram(QApplication& application) {
  Desktop desktop;
  const std::string program = desktop.machine.ProgramFolder() + "/Pellora";
  RegisterProgram(program, QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString());

  App app(desktop.platform);
  desktop.dialogs.SetAnswerTexts([&app](int answer) {
    return app.program().Text(answer == kAnswerYes ? kTextYes : answer == kAnswerNo ? kTextNo : kTextOk);
  });
  const auto saveAndQuit = [&] { desktop.gate.Deliver([&] { app.SaveAndQuit(); }); };
  const EndSignals endSignals(saveAndQuit);
  QObject::connect(
      &application, &QGuiApplication::commitDataRequest, &application, [&](QSessionManager&) { saveAndQuit(); },
      Qt::DirectConnection);

  BusService service(desktop.events, BusActionsOf(app));
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!service.Register(bus)) std::fputs("Pellora: not reachable over the session bus\n", stderr);
  std::unique_ptr<BusWatch> busWatch;
  if (StartedByBus()) busWatch = std::make_unique<BusWatch>(bus, saveAndQuit);

  desktop.events.Post([&app] { app.Start(); });
  const int code = QApplication::exec();
  // Waiting tasks and loaded windows refer to the App and the ports, so they are destroyed first.
  desktop.tasks.Clear();
  desktop.gate.LetGoOfAll();
  return code;
}

// A service manager or a bus may start the program without HOME; Qt would use "/" then.
void SetMissingHome() {
  if (!qEnvironmentVariableIsEmpty("HOME")) return;
  if (const passwd* const user = getpwuid(getuid())) qputenv("HOME", user->pw_dir);
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  pellora::SetMissingHome();
  // Ignore SIGXFSZ so that exceeding the file size limit reports like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  // The plain dispatcher serves sockets before timers and starves neither. The setting is not passed on to programs
  // started from here.
  const bool chosen = qEnvironmentVariableIsSet("QT_NO_GLIB");
  qputenv("QT_NO_GLIB", "1");
  QApplication application(argc, argv);
  if (!chosen) qunsetenv("QT_NO_GLIB");
  QApplication::setApplicationName("Pellora");
  QApplication::setApplicationVersion(pellora::kVersionText);
  QGuiApplication::setDesktopFileName("pellora");
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(pellora::ProgramIcon(64));

  const pellora::SingleInstance lock(pellora::RuntimeFolderIfSafe(), pellora::DesktopMachine::FolderOfThisProgram());
  if (lock.AnotherRuns()) return pellora::RunSecondCopy();
  pellora::RaiseOpenFileLimit();
  return pellora::RunProgram(application);
}
