// TransferRig: one simulated machine, the program's state, and transfer windows without the lists and the
// pump around them. `lists` records what the transfers ask of the main window. A test that needs several
// machines (a kill and the start after it) makes several rigs; most use the fixture.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SimPlatform.h"
#include "app/NewTransferWindow.h"
#include "core/Program.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

class RecordingLists final : public Lists {
 public:
  struct Refresh {
    std::int16_t index;
    std::int16_t force;
  };
  void RefreshRows(std::int16_t index, std::int16_t force) override { refreshes.push_back({index, force}); }
  void RefreshDownList() override { ++downListRefreshes; }
  void RefreshFinishedSoon() override { RefreshDownList(); }
  void Status(const std::string&) override {}
  Task<> Restart(std::int16_t) override { co_return; }

  std::vector<Refresh> refreshes;
  int downListRefreshes = 0;
};

class TransferRig {
 public:
  explicit TransferRig(SimOptions options = {});
  ~TransferRig() { sim.DropProgram(); }

  // A new record for `url` and its window, with the probe under way. Returns the record's index.
  std::int16_t Start(const std::string& url);
  // A record as the add routine fills it, in a new slot.
  std::int16_t Add(const std::string& url);
  // The same in a slot that an earlier download had; that slot holds no window then.
  void Refill(std::int16_t index, const std::string& url);
  // Starts a listed record as the queue does: with its plan folded and kept, if it has one.
  void StartListed(std::int16_t index);
  // What the lists do to a record that is deleted.
  void Delete(std::int16_t index);
  // A record, paused, whose segments are all complete, with these bytes in their part files.
  std::int16_t AddComplete(const std::vector<std::string>& parts, const std::string& url = "http://o.example/a.zip");
  // Its window as after a failed build: a resume joins the parts.
  void GiveWindow(std::int16_t index = 1);
  // The list is saved every 5 s, as the main window's timer does it.
  void SaveEveryFiveSeconds();

  // The user clicks, or the lists pause and resume; each is one event.
  void Click(CommandButton& button) {
    sim.Do([&] { button.Click(); });
  }
  void Pause(std::int16_t index = 1);
  void Resume(std::int16_t index = 1);
  // The oldest box that stands is answered, and the answer arrives.
  void Answer(int answer);

  DownloadRecord& Record(int index = 1) { return program.Download(index); }
  SegmentRecord& Segment(int i, int index = 1) { return Record(index).Segment(i); }
  // The window in the slot; null if it is empty.
  std::shared_ptr<TransferWindow> WindowOf(int index = 1) {
    return std::dynamic_pointer_cast<TransferWindow>(program.TransferWindowAt(index));
  }
  bool RunUntilFinished(int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return Record(index).Finished; }, limit);
  }
  bool RunUntilABoxStands(std::uint64_t limit = 60'000) {
    return sim.RunUntil([&] { return sim.dialogs().OpenCount() > 0; }, limit);
  }
  std::string Output(int index = 1) { return sim.disk().Get(Record(index).SavePath); }
  // Nothing of a transfer is left: no window, no connection, no task.
  bool NothingRuns() {
    return sim.network().Open() == 0 && sim.tasks().RunningTasks() == 0 && sim.windows().Loaded().empty();
  }
  // What does not hold of the record's plan and its part files; empty if all does.
  std::string Broken(int index = 1);

  SimPlatform sim;
  Program program;
  RecordingLists lists;

 private:
  DownloadRecord Filled(const std::string& url);
};

}  // namespace pellora
