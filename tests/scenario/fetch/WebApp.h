// WebApp: the whole program with the web engine on the simulated machine.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "SimHttpServer.h"
#include "SimPlatform.h"
#include "app/App.h"
#include "core/Program.h"
#include "mainwin/MainWindow.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

class WebApp {
 public:
  explicit WebApp(SimOptions options = {}) : sim(WithWeb(std::move(options))), app(sim.platform()) {}
  ~WebApp() { sim.DropProgram(); }
  WebApp(const WebApp&) = delete;
  WebApp& operator=(const WebApp&) = delete;

  // The start sequence, and one second.
  void Start() {
    sim.Do([&] { app.Start(); });
    sim.RunFor(1000);
  }
  void Add(const std::string& url) {
    sim.Do([&] { app.MenuURL(url, "", ""); });
    sim.RunReady();
  }
  void Answer(int answer) {
    sim.dialogs().AnswerNext(answer);
    sim.RunReady();
  }
  // Answers the question in the record's window.
  void Decide(bool yes, int index = 1) {
    const auto transfer = WindowOf(index);
    sim.Do([&] { (yes ? transfer->Command1 : transfer->Command3).Click(); });
    sim.RunReady();
  }
  std::shared_ptr<TransferWindow> WindowOf(int index = 1) {
    return std::dynamic_pointer_cast<TransferWindow>(program().TransferWindowAt(index));
  }
  Program& program() { return app.program(); }
  MainWindow& window() { return app.mainWindow(); }
  DownloadRecord& Record(int index = 1) { return program().Download(index); }
  WebFigures& Web(int index = 1) { return *program().Web(index); }
  std::string Folder() { return program().settings.DownloadFolder; }
  std::string StateWord(int index = 1) {
    for (const DownloadInfo& info : app.List()) {
      if (info.index == index) return info.state;
    }
    return {};
  }
  bool RunUntilFinished(int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return Record(index).Finished; }, limit);
  }
  bool RunUntilReceived(std::int64_t bytes, int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return program().Web(index) && Web(index).received >= bytes; }, limit);
  }

  SimPlatform sim;
  App app;

 private:
  static SimOptions WithWeb(SimOptions options) {
    options.web = true;
    return options;
  }
};

}  // namespace pellora
