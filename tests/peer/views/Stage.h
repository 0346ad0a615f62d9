// Stage: the window system on a platform that has nothing else, for windows that need nothing else.
#pragma once

#include <QApplication>
#include <QCoreApplication>
#include <QWidget>
#include <chrono>
#include <memory>
#include <optional>

#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "desktop/views/QtWindowSystem.h"
#include "ports/Clipboard.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/EventLoop.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Media.h"
#include "ports/Network.h"
#include "ports/Platform.h"
#include "ports/SettingsStore.h"
#include "ports/Shell.h"
#include "ui/Window.h"

namespace pellora::testing_views {

// The windows here do not use these ports; the reference is never read.
template <class Port>
Port& Unused() {
  static std::aligned_storage_t<64, 16> storage;
  return *reinterpret_cast<Port*>(&storage);
}

class Stage {
 public:
  explicit Stage(std::chrono::milliseconds pace = std::chrono::milliseconds(0)) : windows(gate, nullptr, pace) {}

  EventGate gate;
  QtWindowSystem windows;
  Platform platform{gate,
                    Unused<EventLoop>(),
                    Unused<TaskLoop>(),
                    Unused<Clock>(),
                    Unused<Network>(),
                    Unused<Files>(),
                    Unused<SettingsStore>(),
                    Unused<Clipboard>(),
                    Unused<Dialogs>(),
                    Unused<Shell>(),
                    Unused<Machine>(),
                    Unused<Locale>(),
                    Unused<Tray>(),
                    windows,
                    Unused<Media>(),
                    Unused<Background>()};

  // Runs the event loop until nothing is pending.
  static void Settle() {
    for (int turn = 0; turn < 5; ++turn) {
      QCoreApplication::processEvents();
      QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
  }

  // The form of a shown window, found by its class name.
  static QWidget* Form(const Window& window) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      if (widget->objectName() == QString::fromStdString(window.TypeName)) return widget;
    }
    return nullptr;
  }
};

}  // namespace pellora::testing_views
