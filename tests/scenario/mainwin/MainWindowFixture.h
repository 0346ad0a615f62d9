// MainWindowFixture: the program started in virtual time, with transfer objects that only do what the lists and the
// queue need.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SimPlatform.h"
#include "app/App.h"
#include "core/Program.h"
#include "mainwin/MainWindow.h"

namespace pellora {

// Keeps the record's flags as a transfer does, and counts calls.
class FakeTransfer final : public Transfer {
 public:
  explicit FakeTransfer(Program& program) : program_(program) {}
  void SetRecordIndex(std::int16_t index) override;
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override;
  void PauseDownload() override;
  Task<> ResumeDownload() override;
  std::uint32_t SilentFor() const override { return silentFor; }
  void ShowWindow() override { shown = true; }
  void HideWindow() override { shown = false; }
  void UnloadWindow() override { unloaded = true; }

  std::int16_t index = 0;
  int probes = 0;
  int pauses = 0;
  int resumes = 0;
  bool shown = false;
  bool unloaded = false;
  std::uint32_t busyFor = 0;  // milliseconds that a resume takes
  std::uint32_t silentFor = 0;

 private:
  Program& program_;
};

class MainWindowFixture : public ::testing::Test {
 protected:
  MainWindowFixture() : MainWindowFixture(SimOptions()) {}
  explicit MainWindowFixture(SimOptions options);
  ~MainWindowFixture() override;

  // The start sequence, and 1 ms.
  void Start();
  // Runs past the limit of refreshes and the tick that draws postponed ones.
  void Settle() { sim.RunFor(1100); }
  // Lists a record without the add routine.
  std::int16_t Record(const std::string& url, const std::function<void(DownloadRecord&)>& change = {});
  // Lists a finished download of "http://h/" + name, saved in "/d/".
  std::int16_t Finished(const std::string& name, bool onDisk = true);
  // Adds as the browser does.
  void Add(const std::string& url);
  void AddLater(const std::string& url);
  // Gives a record a transfer, as if it had been started.
  FakeTransfer& Transferring(std::int16_t index);

  Program& program() { return app->program(); }
  MainWindow& window() { return app->mainWindow(); }
  DownloadRecord& Rec(int index) { return program().Download(index); }
  FakeTransfer* InSlot(int index);
  // False if the record has no row there.
  bool Select(ListView& list, std::int16_t record);
  const ListRow* Row(const ListView& list, std::int16_t record);
  std::vector<std::string> Names(const ListView& list);
  const std::string& Text(int number) { return program().Text(number); }
  std::string Panel(std::size_t number) { return window().StatusBar1.Panels().at(number - 1); }
  // The open box's text; "" if none is open.
  std::string Box() { return sim.dialogs().OpenCount() == 0 ? "" : sim.dialogs().Next().text; }
  void Answer(int answer);
  void Do(const std::function<void()>& event) {
    sim.Do(event);
    sim.RunReady();
  }

  SimPlatform sim;
  std::unique_ptr<App> app;
  std::vector<std::shared_ptr<FakeTransfer>> transfers;  // all ever created
};

// The program on another simulated machine, usually its next run.
class OtherRun {
 public:
  explicit OtherRun(SimOptions options = {}) : sim(std::move(options)), app(sim.platform()) {}
  ~OtherRun() { sim.DropProgram(); }
  OtherRun(const OtherRun&) = delete;
  OtherRun& operator=(const OtherRun&) = delete;
  void Start(std::uint64_t milliseconds = 1) {
    sim.Do([&] { app.Start(); });
    sim.RunFor(milliseconds);
  }

  SimPlatform sim;
  App app;
};

}  // namespace pellora
