// SimPlatform: a whole simulated machine for one run of the program, in virtual time.
//
//   SimPlatform sim;                             // or SimPlatform sim({.seed = 7, .startTick = ...});
//   SimHttpServer origin(sim.network(), "origin.example");
//   origin.File("/a.bin", SimContent::Generated(100001));
//   origin.OnConnection(2, {.dropInBody = 500});
//   ... build the program's objects over sim.platform() ...
//   sim.Do([&] { app.MenuURL("http://origin.example/a.bin", "", ""); });   // one event
//   EXPECT_TRUE(sim.RunUntil([&] { return done; }, 60'000)) << sim.Replay();
//
// Running: RunUntil stops at the event that made its condition true; at its limit, and after RunFor, the clock is
// exactly there. A run ends for good when the program calls Machine::End, or when the disk is cut (Killed): nothing
// more is delivered then and every run call returns at once. At/After let the test act at a time. A run with too many
// events throws SimRunaway.
//
// Time: `startTick` and `startSerial` set the clocks at the start (kTickNearSign and kTickNearWrap are 10 s before 2^31
// and 2^32); SetWallClock moves the wall clock, and Stall makes the program oversleep.
//
// End: call DropProgram before the objects that tasks and windows refer to are destroyed: it destroys waiting tasks and
// drops loaded windows without an event. The destructor does it for the rest.
//
// Kill and restart: disk().CutAt(n); run; SimPlatform next({.disk = first.disk().TakeState()}). Of a power cut:
// disk().PowerCut(seed) before TakeState.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SimBackground.h"
#include "SimContent.h"
#include "SimDesktop.h"
#include "SimDigests.h"
#include "SimDisk.h"
#include "SimDownloadFiles.h"
#include "SimFetcher.h"
#include "SimHttpServer.h"
#include "SimLoop.h"
#include "SimMedia.h"
#include "SimNetwork.h"
#include "SimOutputFolders.h"
#include "SimRandom.h"
#include "SimSecrets.h"
#include "SimUnpacker.h"
#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "ports/Platform.h"

namespace pellora {

constexpr std::uint32_t kTickNearSign = 0x80000000U - 10000U;
constexpr std::uint32_t kTickNearWrap = 0U - 10000U;

// The seed in the environment variable PELLORA_SEED, else `usual`.
std::uint64_t SeedOr(std::uint64_t usual);

struct SimOptions {
  std::uint64_t seed = SeedOr(1);
  std::uint32_t startTick = 123456789;
  double startSerial = 46000.4;  // 9 December 2025, 9:36 local time
  SimDiskState disk = {};        // an empty one gets the usual folders
  bool web = false;              // the platform has the web engine's ports
};

class SimPlatform {
 public:
  SimPlatform() : SimPlatform(SimOptions()) {}
  explicit SimPlatform(SimOptions options);
  ~SimPlatform();
  SimPlatform(const SimPlatform&) = delete;
  SimPlatform& operator=(const SimPlatform&) = delete;

  Platform& platform() { return *platform_; }
  EventGate& gate() { return gate_; }
  SimLoop& loop() { return loop_; }
  TaskLoop& tasks() { return *tasks_; }
  SimNetwork& network() { return network_; }
  SimDisk& disk() { return disk_; }
  SimSettings& settings() { return settings_; }
  SimClipboard& clipboard() { return clipboard_; }
  SimDialogs& dialogs() { return dialogs_; }
  SimShell& shell() { return shell_; }
  SimMachine& machine() { return machine_; }
  SimLocale& locale() { return locale_; }
  SimAutoStart& autoStart() { return autoStart_; }
  SimTray& tray() { return tray_; }
  SimInhibit& inhibit() { return inhibit_; }
  SimNotices& notices() { return notices_; }
  SimBrowserMenu& browserMenu() { return browserMenu_; }
  SimWindows& windows() { return windows_; }
  SimMedia& media() { return media_; }
  SimBackground& background() { return background_; }
  SimFetcher& fetcher() { return fetcher_; }
  SimDownloadFiles& downloadFiles() { return downloadFiles_; }
  SimSecrets& secrets() { return secrets_; }
  SimDigests& digests() { return digests_; }
  SimUnpacker& unpacker() { return unpacker_; }
  SimOutputFolders& outputs() { return outputs_; }
  SimRandom& random() { return random_; }
  SimTrace& trace() { return loop_.Trace(); }

  // Milliseconds of virtual time. Each returns at once when the run has ended.
  bool RunUntil(const std::function<bool()>& condition, std::uint64_t limit = 3'600'000);
  void RunFor(std::uint64_t milliseconds);
  void RunReady() { loop_.RunReady(); }  // runs what is ready now, without time moving
  // Runs until nothing is pending or scheduled; never true while a repeating alarm runs.
  bool RunUntilIdle(std::uint64_t limit = 3'600'000);

  // Runs one event of the program now. Failures end it, as they end every event.
  void Do(const std::function<void()>& event);
  // Schedules an action of the test `milliseconds` from now. It is not an event of the program.
  void After(std::uint64_t milliseconds, std::function<void()> action);

  double Elapsed() const;  // milliseconds since the start of the run
  void SetWallClock(double serial) { loop_.SetWallClock(serial); }
  void SetTimeOfDay(double seconds);  // of the present day
  void Stall(std::uint64_t milliseconds) { loop_.Stall(Span(milliseconds)); }

  bool Ended() const { return loop_.Ended(); }
  bool Killed() const { return loop_.Killed(); }
  std::uint64_t Seed() const { return seed_; }
  std::string Replay() const;  // how to repeat this run, for messages

  void DropProgram();

  // Checks the program before it is dropped; set by tests that build one.
  std::function<std::vector<std::string>()> examine;

 private:
  static SimLoop::Micros Span(std::uint64_t milliseconds) {
    return static_cast<SimLoop::Micros>(milliseconds) * SimLoop::kMillisecond;
  }

  std::uint64_t seed_;
  SimRandom random_;
  EventGate gate_;
  SimLoop loop_;
  SimNetwork network_;
  SimDisk disk_;
  SimSettings settings_;
  SimClipboard clipboard_;
  SimDialogs dialogs_;
  SimShell shell_;
  SimMachine machine_;
  SimLocale locale_;
  SimAutoStart autoStart_;
  SimTray tray_;
  SimInhibit inhibit_;
  SimNotices notices_;
  SimBrowserMenu browserMenu_;
  SimWindows windows_;
  SimMedia media_;
  SimBackground background_;
  SimFetcher fetcher_;
  SimDownloadFiles downloadFiles_;
  SimSecrets secrets_;
  SimDigests digests_;
  SimUnpacker unpacker_;
  SimOutputFolders outputs_;
  std::unique_ptr<TaskLoop> tasks_;
  std::unique_ptr<Platform> platform_;
};

}  // namespace pellora
