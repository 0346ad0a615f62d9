// AppStage: the whole program with its real windows, on the simulated machine.
#pragma once

#include <QFile>
#include <functional>
#include <memory>
#include <string>

#include "SimPlatform.h"
#include "Stage.h"
#include "app/App.h"
#include "core/Program.h"
#include "mainwin/MainWindow.h"

namespace pellora::testing_views {

class AppStage {
 public:
  // Nothing is remembered without a memory, which must outlive it.
  explicit AppStage(ViewMemory* memory = nullptr) : AppStage(EnglishTexts(), memory) {}
  // With these texts in place of English.
  explicit AppStage(const std::string& texts, ViewMemory* memory = nullptr) : windows(sim.gate(), memory) {
    sim.disk().Put("/prog/english.txt", SimContent(texts));
    app = std::make_unique<App>(platform);
    Do([this] { app->Start(); });
  }
  ~AppStage() {
    sim.DropProgram();
    app.reset();
    Stage::Settle();
  }
  AppStage(const AppStage&) = delete;
  AppStage& operator=(const AppStage&) = delete;

  // Runs one event of the program, and updates the screen.
  void Do(const std::function<void()>& event) {
    sim.Do(event);
    sim.RunReady();
    Stage::Settle();
  }
  MainWindow& Main() { return app->mainWindow(); }
  QWidget* Form(const Window& window) { return Stage::Form(window); }
  template <class Widget>
  Widget* Find(const Window& window, const char* name) {
    return Form(window)->findChild<Widget*>(QLatin1String(name));
  }

  static std::string EnglishTexts() {
    QFile english(QStringLiteral(PELLORA_LANGUAGES "/english.txt"));
    return english.open(QIODevice::ReadOnly) ? english.readAll().toStdString() : std::string();
  }

  SimPlatform sim;
  QtWindowSystem windows;
  Platform platform{sim.gate(),     sim.loop(),      sim.tasks(),   sim.loop(),      sim.network(), sim.disk(),
                    sim.settings(), sim.clipboard(), sim.dialogs(), sim.shell(),     sim.machine(), sim.locale(),
                    sim.tray(),     windows,         sim.media(),   sim.background()};
  std::unique_ptr<App> app;
};

}  // namespace pellora::testing_views
