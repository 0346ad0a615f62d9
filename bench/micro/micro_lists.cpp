// Measures the main window with the full list: 32,767 records of eight segments each. One tick of the queue in its
// several forms, a full rebuild of each list, the update of one row, one save to the disk.
// Prints milliseconds (median and most of several rounds, and the median of the processor time, which does not depend
// on the load of the machine) and fails if a median of the processor time reaches 50 ms.
//
// The program runs on a simulated desktop, so that no drawing is measured; clock and files of the save are real.
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "SampleRecord.h"
#include "SimPlatform.h"
#include "core/ListFile.h"
#include "core/Program.h"
#include "desktop/PosixFiles.h"
#include "mainwin/MainWindow.h"

namespace {

using pellora::DownloadRecord;

constexpr int kRecords = pellora::kMaxRecords;
constexpr int kRounds = 9;  // ticks; the tenth would coincide with a save
constexpr double kMaxMilliseconds = 50;

bool withinLimit = true;

double ProcessorMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void Measure(const char* what, const std::function<void()>& prepare, const std::function<void()>& work) {
  std::vector<double> rounds;
  std::vector<double> processor;
  for (int i = 0; i < kRounds; ++i) {
    prepare();
    const auto begin = std::chrono::steady_clock::now();
    const double processorBegin = ProcessorMilliseconds();
    work();
    processor.push_back(ProcessorMilliseconds() - processorBegin);
    rounds.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  std::sort(rounds.begin(), rounds.end());
  std::sort(processor.begin(), processor.end());
  const double median = processor[kRounds / 2];
  std::cout << what << ": median " << rounds[kRounds / 2] << " ms, most " << rounds.back() << " ms, processor "
            << median << " ms\n";
  withinLimit = withinLimit && median < kMaxMilliseconds;
}

DownloadRecord ListedSample(int number) {
  DownloadRecord record = pellora::Sample(number);
  record.FileSize = pellora::kSampleSegments * 1000000;
  record.Percent = static_cast<float>(number % 1000) / 10;
  record.RemainingSeconds = static_cast<float>(number % 5000);
  record.DateAdded = 46000 + number / 86400.0;
  return record;
}

// The program with its window; it ticks only on request.
struct Bench {
  explicit Bench(const std::string& folder)
      : platform{sim.gate(),     sim.loop(),      sim.tasks(),   sim.loop(),      sim.network(), files,
                 sim.settings(), sim.clipboard(), sim.dialogs(), sim.shell(),     sim.machine(), sim.locale(),
                 sim.tray(),     sim.windows(),   sim.media(),   sim.background()},
        program(platform) {
    sim.machine().programFolder = folder;
    program.listLoaded = true;
    program.settings.MaxSimulDownlads = 0;
    program.settings.CheckClipboard = true;
    program.settings.IgnoreString = "HTM,HTML,ASP,PHP,CGI";
    program.ResizeDownloads(pellora::kMaxRecords);
    for (int i = 1; i <= kRecords; ++i) program.Download(i) = ListedSample(i);
    window = std::make_shared<pellora::MainWindow>(program);
    program.lists = window.get();
    window->Load();
    window->RefreshRows(0, 1);
  }
  ~Bench() { sim.DropProgram(); }

  void ForAll(const std::function<void(DownloadRecord&)>& change) {
    for (int i = 1; i <= kRecords; ++i) change(program.Download(i));
  }
  void MeasureTick(const char* what, const std::function<void()>& prepare) {
    window->StopTimers();
    window->StartTimers();
    Measure(what, prepare, [this] { sim.RunFor(500); });
  }

  pellora::SimPlatform sim;
  pellora::PosixFiles files;
  pellora::Platform platform;
  pellora::Program program;
  std::shared_ptr<pellora::MainWindow> window;
};

void MeasureAll(Bench& bench) {
  pellora::Program& program = bench.program;
  pellora::MainWindow& window = *bench.window;
  const auto nothing = [] {};

  bench.MeasureTick("tick", nothing);
  bench.MeasureTick("tick that reads a listed URL from the clipboard", [&, round = 0]() mutable {
    bench.sim.clipboard().text = program.Download(kRecords - round++).URL;
  });
  bench.MeasureTick("tick that makes up for refused rows", [&] {
    window.RefreshRows(0, 1);
    window.RefreshRows(0, 0);
  });
  program.settings.Schedule = true;
  program.settings.ScheduleDate = 1;
  bench.MeasureTick("tick that queues every record by its schedule",
                    [&] { bench.ForAll([](DownloadRecord& record) { record.Scheduled = 1, record.Queued = 0; }); });
  program.settings.Schedule = false;
  window.StopTimers();

  Measure("full rebuild of the current downloads", nothing, [&] { window.RefreshRows(0, 1); });
  Measure("update of one row", nothing, [&] { window.RefreshRows(kRecords, 1); });
  // As at a start: the list is on the disk and loaded.
  SaveList(program);
  std::string().swap(program.listBytes);
  LoadList(program);
  Measure("save, written to the disk", nothing, [&] { SaveList(program); });

  bench.ForAll([](DownloadRecord& record) { record.Finished = true; });
  Measure(
      "full rebuild of the finished files", [&] { bench.sim.RunReady(); }, [&] { window.RefreshDownList(); });
  bench.sim.RunFor(1000);  // the slices that check every file, and the rows that left the other list
  bench.MeasureTick("tick with finished files only", nothing);
  window.StopTimers();
}

}  // namespace

int main() {
  std::string folder = (std::filesystem::temp_directory_path() / "pellora-micro-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return EXIT_FAILURE;
  {
    Bench bench(folder);
    MeasureAll(bench);
  }
  std::filesystem::remove_all(folder);
  if (!withinLimit) std::cerr << "a median of the processor time is not below " << kMaxMilliseconds << " ms\n";
  return withinLimit ? EXIT_SUCCESS : EXIT_FAILURE;
}
