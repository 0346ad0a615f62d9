// Platform: everything the system gives, by reference. Outlives every object of the logic.
#pragma once

namespace pellora {

class Clipboard;
class Clock;
class Dialogs;
class EventGate;
class EventLoop;
class Files;
class Locale;
class Machine;
class Media;
class Network;
class SettingsStore;
class Shell;
class TaskLoop;
class Tray;
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
};

}  // namespace pellora
