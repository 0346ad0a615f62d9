// Platform: references to all ports. Outlives every object of the logic.
#pragma once

namespace pellora {

class AutoStart;
class Background;
class BrowserMenu;
class Clipboard;
class Clock;
class Dialogs;
class Digests;
class DownloadFiles;
class EventGate;
class EventLoop;
class Fetcher;
class Files;
class Folders;
class Inhibit;
class Locale;
class Machine;
class Media;
class Network;
class Notices;
class OutputFolders;
class Secrets;
class SettingsStore;
class Shell;
class TaskLoop;
class Tray;
class Unpacker;
class Unzip;
class WindowSystem;

struct Platform {
  EventGate& gate;
  EventLoop& events;
  TaskLoop& tasks;
  Clock& clock;
  Network& network;
  Files& files;
  SettingsStore& settings;
  Clipboard& clipboard;
  Dialogs& dialogs;
  Shell& shell;
  Machine& machine;
  Locale& locale;
  Tray& tray;
  WindowSystem& windows;
  Media& media;
  Background& background;
  AutoStart* autoStart = nullptr;          // null where no program can start with the user's session
  BrowserMenu* browserMenu = nullptr;      // null where there are no browsers
  const Folders* folders = nullptr;        // null where there are none to choose from
  Fetcher* fetcher = nullptr;              // null where the program was built without it: no https
  DownloadFiles* downloadFiles = nullptr;  // null where there is no fetcher
  Unzip* unzip = nullptr;                  // null where no archive can be unpacked: update packages stay packed
  Unpacker* unpacker = nullptr;            // null where no entry of an archive can be unpacked by itself
  OutputFolders* outputs = nullptr;        // null where there is no unpacker
  Digests* digests = nullptr;              // null where there is no fetcher
  Secrets* secrets = nullptr;              // null where the desktop keeps no passwords
  Notices* notices = nullptr;              // null where the desktop shows none
  Inhibit* inhibit = nullptr;              // null where nobody can be asked not to suspend
};

}  // namespace pellora
