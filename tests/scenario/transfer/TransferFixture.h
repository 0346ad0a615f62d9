// TransferFixture: one simulated machine, the program's state, and transfer windows without the lists
// and the pump around them. `lists` records what the transfers ask of the main window.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "core/Program.h"
#include "transfer/ParseUrl.h"
#include "transfer/TransferWindow.h"

namespace pellora {

class RecordingLists final : public Lists {
 public:
  struct Refresh {
    std::int16_t index;
    std::int16_t force;
  };
  void RefreshRows(std::int16_t index, std::int16_t force) override { refreshes.push_back({index, force}); }
  void RefreshDownList() override { ++downListRefreshes; }
  void Status(const std::string&) override {}
  Task<> Restart(std::int16_t) override { co_return; }

  std::vector<Refresh> refreshes;
  int downListRefreshes = 0;
};

class TransferFixture : public ::testing::Test {
 protected:
  explicit TransferFixture(SimOptions options = {}) : sim(std::move(options)), program(sim.platform()) {
    program.lists = &lists;
    program.listLoaded = true;
    program.settings.MaxSegments = 4;
    program.settings.MaxSimulDownlads = 3;
    program.settings.DownloadFolder = "/home/u/dl/";
    program.settings.TempFolder = "/home/u/tmp/";
    sim.disk().MakeFolder("/home/u/dl");
    sim.disk().MakeFolder("/home/u/tmp");
    const std::vector<std::pair<int, std::string>> texts = {
        {0, "bytes"},     {1, "kb"},          {2, "mb"},        {3, "gb"},        {4, "h"},         {5, "min"},
        {6, "s"},         {520, "text520"},   {521, "text521"}, {522, "text522"}, {523, "text523"}, {524, "text524"},
        {525, "text525"}, {526, "text526"},   {527, "text527"}, {528, "text528"}, {530, "text530"}, {531, "text531"},
        {534, "text534"}, {535, "text535 ("}, {536, "text536"}, {537, "text537"}, {951, "\""}};
    for (const auto& [number, text] : texts) program.LangStrings.at(static_cast<std::size_t>(number)) = text;
  }
  ~TransferFixture() override { sim.DropProgram(); }

  // A new record for `url` and its window, with the probe under way. Returns the record's index.
  std::int16_t Start(const std::string& url) {
    const std::int16_t index = Add(url);
    sim.Do([&] {
      const auto window = std::make_shared<TransferWindow>(program);
      program.TransferWindowAt(index) = window;
      window->SetRecordIndex(index);
      program.platform.tasks.Spawn(window->InitConnection());
    });
    return index;
  }

  // A record as the add routine fills it, in a new slot.
  std::int16_t Add(const std::string& url) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    const std::int16_t index = program.DownloadCount;
    program.RaiseSerial(index);
    const ParsedUrl parsed = ParseUrl(url);
    EXPECT_EQ(parsed.result, 100) << url;
    DownloadRecord record;
    record.Segments.resize(1);
    record.FileName = parsed.fileName;
    record.Path = parsed.path;
    record.Host = parsed.host;
    record.Port = parsed.port;
    record.URL = url;
    record.Protocol = parsed.protocol;
    record.UserName = parsed.user;
    record.Password = parsed.password;
    record.InUse = record.Valid = true;
    program.Download(index) = record;
    return index;
  }

  DownloadRecord& Record(int index = 1) { return program.Download(index); }
  // The window in the slot; null if it is empty.
  std::shared_ptr<TransferWindow> WindowOf(int index = 1) {
    return std::dynamic_pointer_cast<TransferWindow>(program.TransferWindowAt(index));
  }
  bool RunUntilFinished(int index = 1, std::uint64_t limit = 600'000) {
    return sim.RunUntil([&] { return Record(index).Finished; }, limit);
  }

  SimPlatform sim;
  Program program;
  RecordingLists lists;
};

}  // namespace pellora
