// Turns of steps in the real thread of file works, while the loop gives more.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "Support.h"
#include "async/EventGate.h"
#include "desktop/FileWorker.h"
#include "desktop/PosixDownloadFiles.h"
#include "fetch/DiskTurns.h"
#include "fetch/Journal.h"

namespace pellora {
namespace {

class RealDiskTurns : public testing::Test {
 protected:
  // The simulated machine's, but for the files and their thread.
  static Platform With(Platform& other, Background& background, DownloadFiles& files) {
    Platform platform{other.gate,     other.events,    other.tasks,   other.clock, other.network, other.files,
                      other.settings, other.clipboard, other.dialogs, other.shell, other.machine, other.locale,
                      other.tray,     other.windows,   other.media,   background};
    platform.downloadFiles = &files;
    return platform;
  }

  Folder folder;
  SimPlatform sim;
  EventGate gate;
  PosixDownloadFiles files;
  FileWorker worker{gate};
  Platform platform = With(sim.platform(), worker, files);
  DiskTurns turns{platform};
};

// Each step is begun and ended once, in one thread at a time, after all that was given before a kept one.
class Counted final : public DiskStep {
 public:
  Counted(std::shared_ptr<DownloadFile> common, int& begun) : begun_(begun) { file = std::move(common); }
  void Begin(DownloadFiles&) override {
    ++begun_;
    EXPECT_EQ(++begins_, 1);
  }
  void End(DownloadFiles&) override { ++ends_; }
  bool IsOver() const { return begins_ == 1 && ends_ == 1; }

 private:
  int& begun_;
  int begins_ = 0;
  int ends_ = 0;
};

TEST_F(RealDiskTurns, EveryStepIsDoneOnceAndReportedInOrder) {
  constexpr int kSteps = 3000;
  const std::shared_ptr<DownloadFile> file = files.Create(folder.Path("a.part"));
  int begun = 0;
  int works = 0;
  std::vector<int> done;
  for (int i = 0; i < kSteps; ++i) {
    const auto step = std::make_shared<Counted>(i % 7 == 0 ? file : nullptr, begun);
    const auto place = i % 11 == 0 ? DiskTurns::Place::Kept : DiskTurns::Place::OrBefore;
    turns.Give(
        step,
        [&done, step, i](const std::exception_ptr& failure) {
          EXPECT_FALSE(failure);
          EXPECT_TRUE(step->IsOver()) << i;
          done.push_back(i);
        },
        place);
    if (i % 5 == 0) worker.Run([&works] { ++works; }, [](const std::exception_ptr&) {});
    if (i % 100 == 0) QCoreApplication::processEvents();
  }
  ASSERT_TRUE(RunUntil([&] { return done.size() == kSteps; }));
  for (int i = 0; i < kSteps; ++i) ASSERT_EQ(done[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(begun, kSteps);
  EXPECT_EQ(works, kSteps / 5);
}

TEST_F(RealDiskTurns, ManyLinesOfTheJournalAreThereWhenTheyAreReported) {
  constexpr int kLines = 500;
  Journal journal(platform, turns, folder.Path("journal"));
  int written = 0;
  for (int i = 0; i < kLines; ++i) {
    JournalEntry entry;
    entry.key.url = "https://o.example/" + std::to_string(i);
    entry.id = journal.NewId();
    entry.state = JournalState::Paused;
    entry.reason = std::string(5000, 'r');  // so that it is rewritten in between
    journal.Put(entry, [&](bool isWritten) {
      EXPECT_TRUE(isWritten);
      ++written;
    });
    if (i % 50 == 0) QCoreApplication::processEvents();
  }
  ASSERT_TRUE(RunUntil([&] { return written == kLines; }));
  const JournalReading reading = ReadJournal(Content(folder.Path("journal")));
  EXPECT_EQ(reading.badLines, 0U);
  EXPECT_EQ(reading.entries.size(), static_cast<std::size_t>(kLines));
}

}  // namespace
}  // namespace pellora
