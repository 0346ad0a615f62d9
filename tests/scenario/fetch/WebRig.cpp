#include "WebRig.h"

#include "SimExamine.h"
#include "app/NewTransferWindow.h"
#include "async/EventGate.h"
#include "core/ListFile.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "fetch/WebEngine.h"
#include "fetch/WebRecords.h"

namespace pellora {

namespace {

SimOptions WithWeb(SimOptions options) {
  options.web = true;
  return options;
}

}  // namespace

WebRig::WebRig(SimOptions options) : sim(WithWeb(std::move(options))), program(sim.platform()) {
  sim.examine = [this] { return FindViolations(program, sim); };
  program.lists = &lists;
  program.listLoaded = true;
  program.languageRead = true;
  program.settings.MaxSegments = 4;
  program.settings.MaxSimulDownlads = 3;
  program.settings.DownloadFolder = "/home/u/dl/";
  program.settings.TempFolder = "/home/u/tmp/";
  sim.disk().MakeFolder("/home/u/dl");
  services = std::make_shared<WebServices>(sim.platform(), "/prog/Pellora.fetch", sim.Seed());
  program.newWebEngine = [this](Program&) { return std::make_shared<WebEngine>(program, services); };
  program.newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program, index); };
  program.listSaved = [this] { SweepJournal(program, *services); };
  program.isUnjournaled = [this](int index) { return LacksJournalLine(program, *services, index); };
  FillWebTexts(program.LangStrings);
  for (const int number : {520, 521, 525, 526, 527, 528, 534}) {
    program.LangStrings.at(static_cast<std::size_t>(number)) = "text" + std::to_string(number);
  }
}

std::int16_t WebRig::Start(const std::string& url, const WebAdd& add) {
  const std::optional<WebAddress> address = ParseWebAddress(url);
  EXPECT_TRUE(address) << url;
  program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
  const std::int16_t index = program.DownloadCount;
  program.RaiseSerial(index);
  DownloadRecord& record = Record(index);
  record.Segments.resize(1);
  record.URL = WithoutPassword(url);
  record.Host = address->host;
  record.UserName = address->user;
  record.Password = address->password;
  record.InUse = true;
  record.Valid = true;
  record.DateAdded = sim.platform().clock.Now();
  sim.Do([&] {
    RememberAdd(program, *services, index, add);
    sim.tasks().Spawn(StartTransfer(&program, index, pellora::Start::Added));
  });
  return index;
}

void WebRig::Pause(std::int16_t index) {
  sim.Do([&] { program.TransferWindowAt(index)->PauseDownload(); });
}

void WebRig::Resume(std::int16_t index) {
  if (program.TransferWindowAt(index)) {
    sim.Do([&] { sim.tasks().Spawn(program.TransferWindowAt(index)->ResumeDownload()); });
  } else {
    sim.Do([&] { sim.tasks().Spawn(StartTransfer(&program, index, pellora::Start::Listed)); });
  }
}

void WebRig::Answer(bool yes, std::int16_t index) {
  const auto window = WindowOf(index);
  sim.Do([&] { (yes ? window->Command1 : window->Command3).Click(); });
}

bool WebRig::Asks(int index) {
  const auto window = WindowOf(index);
  return window && window->Asks();
}

void WebRig::Load() {
  sim.Do([&] {
    LoadList(program);
    RestoreWebRecords(program, *services);
  });
}

}  // namespace pellora
