// WebFixture: the program started in virtual time with a web engine that fetches nothing: the test says what it does.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "MainWindowFixture.h"
#include "SimSchemes.h"
#include "core/Engine.h"

namespace pellora {

// Keeps the flags and figures of its record as a web engine does, and counts calls.
class FakeEngine final : public Engine {
 public:
  explicit FakeEngine(Program& program) : program_(program) {}

  // What the test makes it do.
  void Receive(std::int64_t received, std::int64_t size);
  void Stop(const std::string& reason);
  void Finish(const std::string& path, std::int64_t size);

  void Begin(const Slot& slot, EngineView& view) override;
  void DropView() override { view_ = nullptr; }
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override { co_return; }
  Task<> ConnectFromViewer() override { co_return; }
  Task<> ResumeDownload() override;
  void PauseDownload() override;
  void Retire() override;
  bool Current() const override { return !retired && slot_.Held(); }
  bool StillCurrent() override;
  std::uint32_t SilentFor() const override { return 0; }
  int LaneCount() const override { return 0; }
  Lane LaneAt(int, LaneForm) const override { return {}; }
  Totals Figures() override { return {}; }

  int starts = 0;
  int resumes = 0;
  bool retired = false;

 private:
  DownloadRecord& Record() { return slot_.Record(); }
  WebFigures& Web() { return program_.AddWeb(slot_.Index()); }
  void End(WebStanding standing);

  Program& program_;
  Slot slot_;
  EngineView* view_ = nullptr;
};

class WebFixture : public MainWindowFixture {
 protected:
  // With the real transfer windows. `setting` is stored unless it is the default.
  explicit WebFixture(std::int32_t setting = kWebEngineNewSchemes);
  ~WebFixture() override { sim.platform().fetcher = nullptr; }

  // The engine of an added download; null if it has another one or none.
  FakeEngine* EngineOf(int index);
  const ListRow& CurrentRow(int index);
  DownloadInfo InfoOf(int index);
  std::vector<AddAnswer> AddFromScript(const std::string& url);

  SimSchemes fetcher;
  std::vector<std::shared_ptr<FakeEngine>> engines;  // all ever created
};

}  // namespace pellora
