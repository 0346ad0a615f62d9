#include "Life.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>

#include "core/Stop.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

constexpr int kHonestFiles = 6;
constexpr int kMoodyFiles = 6;
constexpr int kRedirected = 2;
constexpr const char* kList = "/prog/Pellora.dat";

std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

}  // namespace

Life::Life(std::uint64_t seed) : seed_(seed), random_(seed), tick_(static_cast<std::uint32_t>(random_.Next())) {
  MakeServers();
  const auto set = [this](const char* key, const std::string& value) { settings_.values[{"Pellora", key}] = value; };
  set("MaxSegments", std::to_string(random_.Between(1, 8)));
  set("MaxSimulDownlads", std::to_string(random_.Between(1, 4)));
  set("Schedule", "True");
  set("ScheduleOption", std::to_string(random_.Below(2)));
  set("ScheduleHour", "10:00");
  set("SaveAs", random_.Below(4) == 0 ? "True" : "False");
}

Life::~Life() {
  if (Running()) EndSession();
}

std::uint64_t Life::Random(std::uint64_t below) { return random_.Below(below); }

void Life::MakeServers() {
  const auto file = [this](SimHttpServer& server, const std::string& name) {
    const std::uint64_t sizes[] = {1 + Random(9999), 10000 + Random(90000), 100000 + Random(400000)};
    const SimContent content = SimContent::Generated(sizes[Random(3)], 1 + Random(1000));
    server.File("/" + name, content);
    files_.push_back(content);
    names_.push_back(name);
  };
  for (int i = 0; i < kHonestFiles; ++i) file(honest_, "f" + std::to_string(i) + ".bin");
  for (int i = 0; i < kMoodyFiles; ++i) file(moody_, "m" + std::to_string(i) + ".bin");
  for (int i = 0; i < kRedirected; ++i) {
    const std::string name = "g" + std::to_string(i) + ".bin";
    file(honest_, name);
    honest_.Redirect("/r" + std::to_string(i), "http://honest.example/" + name);
  }
  honest_.Page("/gone", 404, "text/plain", "no");
  honest_.Page("/page", 200, "text/html", "<html></html>");
}

// Faults that an honest server may have. An error reply to a segment is none of them: its text would go
// into the file, as it does for every server that refuses a range.
void Life::ChooseFaults() {
  moody_.NoFaults();
  for (int connection = 1; connection <= 200; ++connection) {
    HttpFault fault;
    fault.wire.bytesPerSecond = 20000 + Random(400000);
    switch (Random(8)) {
      case 0:
        fault.wire.refuse = true;
        break;
      case 1:
        fault.wire.hangBeforeAccept = true;
        break;
      case 2:
        fault.wire.hangAfterAccept = true;
        break;
      case 3:
        fault.dropInBody = Random(20000);
        break;
      case 4:
        fault.hangInBody = Random(20000);
        break;
      default:
        break;
    }
    moody_.OnConnection(moody_.Connections() + connection, fault);
  }
  HttpFault slow;
  slow.wire.bytesPerSecond = 50000 + Random(500000);
  slow.wire.latency = static_cast<std::uint32_t>(Random(150));
  honest_.Always(slow);
}

void Life::Begin() {
  sim_ = std::make_unique<SimPlatform>(
      SimOptions{.seed = random_.Next(), .startTick = tick_, .startSerial = serial_, .disk = std::move(disk_)});
  sim_->settings().values = settings_.values;
  if (!sim_->disk().Has("/prog/english.txt")) {
    sim_->disk().Put("/prog/english.txt", SimContent(FileText(PELLORA_LANGUAGES "/english.txt")));
    sim_->disk().MakeFolder("/home/u/saved");
  }
  sim_->network().Serve("honest.example", 80, honest_);
  sim_->network().Serve("moody.example", 80, moody_);
  ChooseFaults();
  sim_->dialogs().AutoSave([this](const SaveRequest& request) -> std::optional<std::string> {
    if (Random(4) == 0) return std::nullopt;
    return "/home/u/saved/" + request.proposal;
  });
  app_ = std::make_unique<App>(sim_->platform());
  sim_->Do([this] { app_->Start(); });
  sim_->RunFor(10);
}

void Life::EndSession() {
  serial_ += (sim_->Elapsed() + static_cast<double>(Random(3'600'000))) / 86'400'000;
  tick_ += static_cast<std::uint32_t>(sim_->Elapsed());
  sim_->DropProgram();
  app_.reset();
  disk_ = sim_->disk().TakeState();
  sim_.reset();
}

void Life::Quit() {
  sim_->Do([this] { app_->SaveAndQuit(); });
  EndSession();
}

void Life::Kill() {
  sim_->disk().CutNow();
  sim_->RunFor(1);
  EndSession();
}

void Life::LiveFor(std::uint64_t milliseconds) {
  const double end = sim_->Elapsed() + static_cast<double>(milliseconds);
  while (Running() && sim_->Elapsed() < end) {
    sim_->RunFor(100 + Random(15000));
    if (sim_->Ended()) {  // the user quit
      EndSession();
      return;
    }
    Act();
  }
}

void Life::Act() {
  if (sim_->dialogs().Standing() > 0 && Random(3) != 0) return ActOnQuestion();
  switch (Random(6)) {
    case 0:
      return CopyUrl();
    case 1:
    case 2: {
      ++added_;
      const std::string url = RandomUrl();
      return sim_->Do([&] { app_->MenuURL(url, "", ""); });
    }
    case 3:
      return ActOnWindow();
    default:
      return ActOnList();
  }
}

std::string Life::RandomUrl() {
  switch (Random(12)) {
    case 0:
      return "http://honest.example/gone";
    case 1:
      return "http://honest.example/page";
    case 2:
      return "http://nobody.example/x.bin";
    case 3:
    case 4:
      return "http://honest.example/r" + std::to_string(Random(kRedirected));
    case 5:
    case 6:
    case 7:
      return "http://moody.example/m" + std::to_string(Random(kMoodyFiles)) + ".bin";
    default:
      return "http://honest.example/f" + std::to_string(Random(kHonestFiles)) + ".bin";
  }
}

void Life::CopyUrl() { sim_->clipboard().text = RandomUrl(); }

void Life::ActOnQuestion() {
  const BoxRequest& box = sim_->dialogs().Next();
  const bool yesNo = (box.style & kYesNo) != 0;
  const int answer = !yesNo ? kAnswerOk : Random(3) == 0 ? kAnswerNo : kAnswerYes;
  sim_->dialogs().AnswerNext(answer);
}

void Life::ActOnList() {
  MainWindow& window = app_->mainWindow();
  ListView& list = Random(4) == 0 ? window.ListView2 : window.ListView1;
  if (!list.Rows().empty()) {
    const std::size_t row = Random(list.Rows().size());
    sim_->Do([&] { list.SelectByUser({row}); });
  }
  sim_->Do([&] {
    switch (Random(12)) {
      case 0:
        return window.RunAction(MainWindow::kDelete);
      case 1:
      case 2:
        return window.RunAction(MainWindow::kPause);
      case 3:
        return window.RunAction(MainWindow::kPauseAll);
      case 4:
      case 5:
        return window.RunAction(MainWindow::kResumeAll);
      case 6:
        return list.DoubleClick();
      case 7:
        list.RightClick();
        return window.shedulded.Click();
      case 8:
        return list.PressDelete();
      case 9:
        return Random(2) == 0 ? window.sdw.Click() : ActOnPane(window);
      case 10:
        return Random(10) == 0 ? window.RunAction(MainWindow::kResetList) : list.Click();
      default:
        return Random(10) == 0 ? window.RunAction(MainWindow::kQuit) : window.clearall.Click();
    }
  });
}

void Life::ActOnPane(MainWindow& window) {
  switch (Random(6)) {
    case 0:
      return window.Command2.Click();
    case 1:
      return window.Command3.Click();
    case 2:
      return window.Slider1.SetByUser(static_cast<int>(Random(101)));
    case 3:
      return window.TabStrip1.SelectByUser(static_cast<int>(Random(2)));
    case 4:
      return window.ListView2.Click();
    default:
      return window.Command4.Click();
  }
}

void Life::ActOnWindow() {
  if (auto* const question = sim_->windows().Only<WantDown>(); question && question->Visible()) {
    return sim_->Do([&] {
      switch (Random(3)) {
        case 0:
          return question->Command1.Click();
        case 1:
          return question->Command2.Click();
        default:
          return question->ViewClosed();
      }
    });
  }
  const std::vector<Window*> windows = sim_->windows().Loaded("TransferWindow");
  if (windows.empty()) return;
  auto* const transfer = dynamic_cast<TransferWindow*>(windows[Random(windows.size())]);
  sim_->Do([&] {
    switch (Random(6)) {
      case 0:
        return transfer->ViewClosed();
      case 1:
        return transfer->Command2.Click();
      case 2:
        return transfer->Command4.Click();
      case 3:
        return transfer->ViewResized(600, 400, 590, 380);
      default:
        return transfer->Command3.Click();
    }
  });
}

bool Life::Settle(std::uint64_t limit) {
  moody_.NoFaults();
  honest_.NoFaults();
  sim_->clipboard().text.reset();
  sim_->dialogs().AutoAnswer("already in the list", kAnswerNo, 200);
  sim_->dialogs().AutoAnswer("", kAnswerYes, 200);
  const auto left = [this] {
    const std::vector<DownloadInfo> all = app_->List();
    return std::any_of(all.begin(), all.end(), [](const DownloadInfo& one) {
      const bool served = one.url.find("//honest.example/") != std::string::npos ||
                          one.url.find("//moody.example/") != std::string::npos;
      return served && one.state != "finished";
    });
  };
  const double end = sim_->Elapsed() + static_cast<double>(limit);
  while (sim_->Elapsed() < end) {
    while (sim_->dialogs().Standing() > 0) {
      const bool listed = sim_->dialogs().Next().text.find("already in the list") != std::string::npos;
      const bool yesNo = (sim_->dialogs().Next().style & kYesNo) != 0;
      sim_->dialogs().AnswerNext(!yesNo ? kAnswerOk : listed ? kAnswerNo : kAnswerYes);
      sim_->RunFor(10);
      if (sim_->Ended()) return true;  // the question was whether to quit
    }
    if (!left()) return true;
    // What went silent under way, or hangs before its first answer, is only helped by a pause and a resume.
    sim_->Do([this] { app_->mainWindow().pauseall(); });
    for (Window* const window : sim_->windows().Loaded("TransferWindow")) {
      auto* const transfer = dynamic_cast<TransferWindow*>(window);
      if (transfer->FinishedMode == 0 && transfer->Command3.Caption() != "Resume Download") {
        sim_->Do([transfer] { transfer->Command3.Click(); });
      }
    }
    sim_->RunFor(1000);
    sim_->Do([this] { app_->mainWindow().resumeall(); });
    sim_->RunFor(120'000);
    if (sim_->Ended()) return true;
  }
  return !left();
}

std::string Life::Listed() const {
  std::string text;
  for (const DownloadInfo& one : app_->List()) {
    DownloadRecord& record = app_->program().Download(one.index);
    text += std::to_string(one.index) + " " + one.url + " " + one.state + " " + std::to_string(one.received) + "/" +
            std::to_string(one.size) + " segments";
    for (int i = 1; i <= record.SegmentCount; ++i) text += " " + std::to_string(record.Segment(i).State);
    text += app_->program().TransferWindowAt(one.index) ? " window\n" : "\n";
  }
  return text;
}

std::vector<std::string> Life::Check() {
  std::vector<std::string> wrong;
  Program& program = app_->program();
  std::set<const void*> windows;
  if (sim_->media().Living() > 1) wrong.push_back("more than one preview");
  for (int i = 1; i <= program.DownloadCount; ++i) {
    CheckRecord(i, wrong);
    const auto slot = std::dynamic_pointer_cast<TransferWindow>(program.TransferWindowAt(i));
    if (!slot) continue;
    if (slot->RecordIndex != i) wrong.push_back("slot " + std::to_string(i) + " holds another record's window");
    if (!windows.insert(slot.get()).second) wrong.push_back("two slots hold one window");
  }
  for (const std::string& path : sim_->disk().Paths()) {
    if (path.find(".damaged") != std::string::npos) wrong.push_back("the list was damaged: " + path);
    if (path.rfind("/home/u/", 0) != 0 && path.rfind("/prog/", 0) != 0) wrong.push_back("a stray file: " + path);
  }
  if (!sim_->disk().Has(kList) && sim_->Elapsed() > 6000) wrong.emplace_back("no list on the disk");
  return wrong;
}

void Life::CheckRecord(int index, std::vector<std::string>& wrong) {
  const DownloadRecord& record = app_->program().Download(index);
  const std::string name = "record " + std::to_string(index) + " " + record.URL + ": ";
  if (!record.InUse) return;
  if (record.Active && record.Paused) wrong.push_back(name + "active and paused");
  if (record.Active && record.Finished) wrong.push_back(name + "active and finished");
  if (!record.Finished) {
    for (int i = 1; i <= record.SegmentCount; ++i) {
      const SegmentRecord& segment = record.Segment(i);
      if (segment.RangeEnd + segment.ReceivedTotal - segment.RangeStart + 1 != segment.RangeSize) {
        wrong.push_back(name + "segment " + std::to_string(i) + " lost its place");
      }
    }
    return;
  }
  const auto at = std::find(names_.begin(), names_.end(), record.FileName);
  if (at == names_.end()) return;
  if (!sim_->disk().Holds(record.SavePath, files_[static_cast<std::size_t>(at - names_.begin())])) {
    wrong.push_back(name + "finished, and not the origin's bytes: " + record.SavePath);
  }
}

}  // namespace pellora
