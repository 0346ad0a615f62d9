#include "MainWindowFixture.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "SimExamine.h"
#include "async/TaskLoop.h"
#include "mainwin/AddDownload.h"

namespace pellora {

void FakeTransfer::SetRecordIndex(std::int16_t theIndex) { index = theIndex; }

Task<> FakeTransfer::InitConnection() {
  ++probes;
  co_return;
}

Task<> FakeTransfer::ConnectSegmented() { co_return; }

void FakeTransfer::PauseDownload() {
  ++pauses;
  program_.Download(index).Active = false;
  program_.Download(index).Paused = true;
  program_.lists->RefreshRows(0, 1);
}

Task<> FakeTransfer::ResumeDownload() {
  ++resumes;
  program_.Download(index).Active = true;
  program_.Download(index).Paused = false;
  if (busyFor == 0) co_return;
  const std::uint32_t start = program_.platform.clock.TickCount();
  std::function<bool()> over = [this, start] { return program_.platform.clock.TickCount() - start >= busyFor; };
  co_await program_.platform.tasks.Until(std::move(over));
}

MainWindowFixture::MainWindowFixture(SimOptions options) : sim(std::move(options)) {
  std::ifstream file(PELLORA_LANGUAGES "/english.txt", std::ios::binary);
  const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  sim.disk().Put("/prog/english.txt", SimContent(content));
  app = std::make_unique<App>(sim.platform());
  sim.examine = [this] { return app ? FindViolations(program(), sim) : std::vector<std::string>(); };
  app->program().newTransferWindow = [this](std::int16_t) {
    transfers.push_back(std::make_shared<FakeTransfer>(app->program()));
    return transfers.back();
  };
}

MainWindowFixture::~MainWindowFixture() {
  sim.DropProgram();
  app.reset();
}

void MainWindowFixture::Start() {
  sim.Do([&] { app->Start(); });
  sim.RunFor(1);
}

std::int16_t MainWindowFixture::Record(const std::string& url, const std::function<void(DownloadRecord&)>& change) {
  const auto index = static_cast<std::int16_t>(program().DownloadCount + 1);
  program().ResizeDownloads(index);
  DownloadRecord& record = Rec(index);
  record.Segments.resize(1);
  record.URL = url;
  record.FileName = url.substr(url.rfind('/') + 1);
  record.Host = "origin.example";
  record.InUse = true;
  record.Valid = true;
  record.DateAdded = 46000.5;
  if (change) change(record);
  program().RaiseSerial(index);
  return index;
}

std::int16_t MainWindowFixture::Finished(const std::string& name, bool onDisk) {
  constexpr std::int32_t kSize = 4096;
  if (onDisk) sim.disk().Put("/d/" + name, SimContent(std::string(kSize, 'x')));
  const std::int16_t index = Record("http://h/" + name, [&](DownloadRecord& r) {
    r.Finished = true;
    r.SavePath = "/d/" + name;
    r.FileSize = kSize;
    r.ElapsedSeconds = 2;
  });
  Do([&] { window().RefreshDownList(); });
  return index;
}

void MainWindowFixture::Add(const std::string& url) {
  Do([&] { app->MenuURL(url, "", ""); });
}

void MainWindowFixture::AddLater(const std::string& url) {
  Do([&] { sim.tasks().Spawn(AddDownload(&program(), {.url = url, .later = true, .caller = this})); });
}

FakeTransfer& MainWindowFixture::Transferring(std::int16_t index) {
  transfers.push_back(std::make_shared<FakeTransfer>(program()));
  transfers.back()->index = index;
  program().TransferWindowAt(index) = transfers.back();
  Rec(index).Active = true;
  return *transfers.back();
}

FakeTransfer* MainWindowFixture::InSlot(int index) {
  return dynamic_cast<FakeTransfer*>(program().TransferWindowAt(index).get());
}

const ListRow* MainWindowFixture::Row(const ListView& list, std::int16_t record) {
  for (const ListRow& row : list.Rows()) {
    if (row.record == record) return &row;
  }
  return nullptr;
}

bool MainWindowFixture::Select(ListView& list, std::int16_t record) {
  for (std::size_t at = 0; at < list.Rows().size(); ++at) {
    if (list.Rows()[at].record != record) continue;
    list.SelectByUser({at});
    return true;
  }
  return false;
}

std::vector<std::string> MainWindowFixture::Names(const ListView& list) {
  std::vector<std::string> names;
  for (const ListRow& row : list.Rows()) names.push_back(row.text);
  return names;
}

void MainWindowFixture::Answer(int answer) {
  if (sim.dialogs().OpenCount() == 0) {
    ADD_FAILURE() << "no box is open";
    return;
  }
  sim.dialogs().AnswerNext(answer);
  sim.RunReady();
}

}  // namespace pellora
