// WebRig: downloads by the web engine on the simulated machine.
//
// A rig is one run of the program. Next gives what is left of it to another one: after a quit, a kill or a power cut.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "SimHttpServer.h"
#include "SimPlatform.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "core/Transfer.h"
#include "core/WebAdd.h"
#include "fetch/WebServices.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

// The lists as far as downloads need them.
class CountingLists : public Lists {
 public:
  void RefreshRows(std::int16_t, std::int16_t) override { ++refreshes; }
  void RefreshDownList() override { ++downListRefreshes; }
  void RefreshFinishedSoon() override { RefreshDownList(); }
  void Status(const std::string&) override {}
  Task<> Restart(std::int16_t) override { co_return; }

  int refreshes = 0;
  int downListRefreshes = 0;
};

class WebRig {
 public:
  explicit WebRig(SimOptions options = {});
  ~WebRig() { sim.DropProgram(); }
  WebRig(const WebRig&) = delete;
  WebRig& operator=(const WebRig&) = delete;

  // A new record and its window, with the first request under way. Returns the record's index.
  std::int16_t Start(const std::string& url, const WebAdd& add = {});
  void Pause(std::int16_t index = 1);
  void Resume(std::int16_t index = 1);
  void Answer(bool yes, std::int16_t index = 1);  // the question in the record's window
  bool Asks(int index = 1);                       // it has one
  // Loads list and journal, as at a start, and resumes the record.
  void Load();

  // The record in use with that URL, or 0.
  std::int16_t IndexOf(const std::string& url) {
    for (std::int16_t i = 1; i <= program.DownloadCount; ++i) {
      if (Record(i).InUse && Record(i).URL == url) return i;
    }
    return 0;
  }
  DownloadRecord& Record(int index = 1) { return program.Download(index); }
  WebFigures& Web(int index = 1) { return *program.Web(index); }
  std::shared_ptr<TransferWindow> WindowOf(int index = 1) {
    return std::dynamic_pointer_cast<TransferWindow>(program.TransferWindowAt(index));
  }
  bool RunUntilFinished(int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return Record(index).Finished; }, limit);
  }
  bool RunUntilStopped(int index = 1, std::uint64_t limit = 3'600'000) {
    return sim.RunUntil([&] { return program.Web(index) && Web(index).standing == WebStanding::Stopped; }, limit);
  }
  bool RunUntilReceived(std::int64_t bytes, int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return program.Web(index) && Web(index).received >= bytes; }, limit);
  }
  bool RunUntilAsked(int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return Asks(index); }, limit);
  }
  // What lies in the download folder, part files too.
  std::vector<std::string> InFolder() { return sim.platform().files.FilesIn("/home/u/dl"); }

  SimPlatform sim;
  Program program;
  CountingLists lists;
  std::shared_ptr<WebServices> services;
};

}  // namespace pellora
