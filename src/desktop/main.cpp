// The program on the desktop: builds the ports, the App over them, and runs the event loop.
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

// The ports of the desktop, in the order of their needs.
struct Desktop {
  EventGate gate;
  QtEventLoop events{gate};
  SystemClock clock;
  PosixNetwork network{gate, events};
  PosixFiles files;
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
  Platform platform{gate,    events, tasks, clock,   network, files,      settings,   clipboard, dialogs,  shell,
                    machine, locale, tray,  windows, media,   background, &autoStart, &browsers, &folders, &unzip};
};

constexpr int kTextYes = 406;
constexpr int kTextNo = 407;
constexpr int kTextOk = 635;

bool StartedByBus() { return qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE"); }

// Where the runtime folder is not to be trusted, the one beside the list has to do.
std::string RuntimeFolderIfSafe() {
  std::string folder;
  Skip([&] { folder = SingleInstance::RuntimeFolder(); });
  return folder;
}

// A second start says so, brings the first copy forward and ends. It has nothing to show where the first
// copy cannot be reached, and nobody to show it to if the bus started it.
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
                 info.percent, WholeText(info.savedPath), WholeText(info.id), info.silentSeconds});
  }
  return rows;
}

// `app` outlives the door.
BusDoor DoorOf(App& app) {
  BusDoor door;
  door.menuUrl = [&app](std::string url, const std::string& refURL, const std::string& cookie) {
    app.MenuURL(std::move(url), refURL, cookie);
  };
  door.leechUrl = [&app](const std::string& url, const std::string& refURL) { app.LeechURL(url, refURL); };
  door.show = [&app] { app.ShowMainWindow(); };
  door.resumeAll = [&app] { app.ResumeAll(); };
  door.list = [&app] { return Rows(app); };
  door.add = [&app](std::string url, const BusDoor::Added& added) {
    app.Add(std::move(url), [added](const AddAnswer& answer) { added(answer.id, answer.reason); });
  };
  door.pause = [&app](const std::string& id) { return app.Pause(id); };
  door.remove = [&app](const std::string& id) { return app.Remove(id); };
  door.quit = [&app] { app.SaveAndQuit(); };
  return door;
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

  BusService service(desktop.events, DoorOf(app));
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!service.Register(bus)) std::fputs("Pellora: not reachable over the session bus\n", stderr);
  std::unique_ptr<BusEnd> busEnd;
  if (StartedByBus()) busEnd = std::make_unique<BusEnd>(bus, saveAndQuit);

  desktop.events.Post([&app] { app.Start(); });
  const int code = QApplication::exec();
  // Waiting tasks and loaded windows refer to the App and the ports; they go while those stand.
  desktop.tasks.Clear();
  desktop.gate.LetGoOfAll();
  return code;
}

// A service manager or a bus may start the program without HOME, and Qt would then take "/" for it.
void SetMissingHome() {
  if (!qEnvironmentVariableIsEmpty("HOME")) return;
  if (const passwd* const user = getpwuid(getuid())) qputenv("HOME", user->pw_dir);
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  pellora::SetMissingHome();
  // Beyond a limit on the sizes of files a write fails, as on a full disk, and is told of like that.
  std::signal(SIGXFSZ, SIG_IGN);
  // The plain dispatcher serves sockets before timers and starves neither; programs started from here
  // choose for themselves.
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
