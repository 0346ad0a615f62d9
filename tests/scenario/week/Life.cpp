#include "Life.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>

#include "capture/DownloadBasket.h"
#include "core/FileNames.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Form2.h"

namespace pellora {

namespace {

constexpr std::uint64_t kMinute = 60'000;
constexpr std::uint64_t kHour = 60 * kMinute;
constexpr std::uint32_t kSlowDisk = 1500;  // the longest file work, in ms

const SimContent& English() {
  static const SimContent text = [] {
    std::ifstream file(PELLORA_LANGUAGES "/english.txt", std::ios::binary);
    return SimContent(std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>()));
  }();
  return text;
}

}  // namespace

Life::Life(std::uint64_t seed, LifeOptions options)
    : options_(std::move(options)),
      plan_(MakePlan(seed, options_.web)),
      random_(seed ^ 0x5DEECE66DULL),
      origin_(plan_),
      invariants_(origin_, counts_),
      tick_(plan_.startTick) {
  for (const auto& [key, value] : plan_.settings) settings_.values[{"Pellora", key}] = value;
  invariants_.on = options_.invariants;
  counts_.lives = 1;
  if (plan_.web) web_ = std::make_unique<WebOrigin>(plan_);
}

Life::~Life() {
  if (Running()) EndSession();
}

std::string Life::Replay() const {
  std::string line = "bench/soak --seed " + std::to_string(plan_.seed);
  if (plan_.web) line += " --web";
  if (!options_.dropped.empty()) line += " --drop " + WriteNumbers(options_.dropped);
  return line;
}

void Life::Do(const std::function<void()>& event) {
  if (sim_->Ended()) return;
  sim_->Do(event);
  invariants_.AfterEvent(Cause::Act);
}

void Life::BeginSession(int session, const std::vector<const PlanItem*>& wires) {
  ++counts_.sessions;
  sim_ = std::make_unique<SimPlatform>(SimOptions{
      .seed = random_.Next(), .startTick = tick_, .startSerial = serial_, .disk = std::move(disk_), .web = plan_.web});
  if (!options_.printsTrace) sim_->trace().KeepNoEntries();
  if (sim_->Seed() % 3 == 0) sim_->background().SetMaxDelay(kSlowDisk);
  sim_->settings().values = settings_.values;
  if (!sim_->disk().Has("/prog/english.txt")) {
    sim_->disk().Put("/prog/english.txt", English());
    sim_->disk().Put("/prog/updater", SimContent("x"));
    sim_->disk().MakeFolder("/home/u/saved");
  }
  origin_.Serve(*sim_, plan_, session, wires);
  files_ = std::make_unique<WatchedFiles>(*sim_, counts_, options_.planted);
  network_ = std::make_unique<WatchedNetwork>(*sim_, options_.planted);
  if (web_) BeginWeb(session);
  const Platform& all = sim_->platform();
  platform_.reset(new Platform{all.gate,         all.events,    all.tasks,       all.clock,   *network_,
                               *files_,          all.settings,  all.clipboard,   all.dialogs, all.shell,
                               all.machine,      all.locale,    all.tray,        all.windows, all.media,
                               all.background,   all.autoStart, all.browserMenu, &folders_,   fetcher_.get(),
                               downloads_.get(), &unzip_});
  sim_->dialogs().AutoSave([this](const SaveRequest& request) -> std::optional<std::string> {
    if (random_.Below(4) == 0) return std::nullopt;
    return "/home/u/saved/" + request.proposal;
  });
  app_ = std::make_unique<App>(*platform_);
  user_ = std::make_unique<User>(
      *app_, *sim_, [this](SimRandom& random) { return UrlToAdd(random); },
      [this](const std::function<void()>& event) { Do(event); });
  invariants_.BeginSession(*app_, *sim_, *files_, *network_);
  if (web_) invariants_.BeginWeb(*web_, *downloads_, *fetcher_);
}

void Life::BeginWeb(int session) {
  downloads_ = std::make_unique<WatchedDownloadFiles>(*sim_, counts_, options_.planted);
  fetcher_ = std::make_unique<WatchedFetcher>(*sim_, options_.planted);
  web_->Serve(*sim_, plan_.seed * 37 + static_cast<std::uint64_t>(session), counts_);
  const auto at = std::min(static_cast<std::size_t>(session), plan_.webEngine.size() - 1);
  sim_->settings().values[{"Pellora", "WebEngine"}] = std::to_string(plan_.webEngine[at]);
  ++counts_.faults["web: WebEngine=" + std::to_string(plan_.webEngine[at])];
  const std::string foreign(kForeignFile);
  if (!sim_->disk().Has(foreign)) sim_->disk().Put(foreign, std::string(kForeignBytes));
}

// The classic engine's FTP servers speak the real protocol, the web engine's simulated fetcher does not.
std::string Life::UrlToAdd(SimRandom& random) const {
  if (!web_) return origin_.RandomUrl(random);
  if (plan_.onlyWeb || random.Below(3) != 0) return WebOrigin::RandomUrl(random);
  const std::string url = origin_.RandomUrl(random);
  return url.starts_with("ftp:") && plan_.webEngine.back() == 2 ? WebOrigin::RandomUrl(random) : url;
}

void Life::EndSession() {
  invariants_.EndSession();
  hash_ = (hash_ ^ sim_->trace().Hash()) * 0x100000001B3ULL;
  if (options_.printsTrace) {
    std::puts("-- session");
    for (const std::string& line : sim_->trace().Lines()) std::puts(line.c_str());
    const std::string journal(kJournalPath);
    if (sim_->disk().Has(journal)) std::puts(("-- journal\n" + sim_->disk().Get(journal)).c_str());
  }
  origin_.EndSession(counts_);
  serial_ += (sim_->Elapsed() + static_cast<double>(random_.Below(3'600'000))) / 86'400'000;
  tick_ += static_cast<std::uint32_t>(sim_->Elapsed());
  added_ += user_->Added();
  settings_.values = sim_->settings().values;
  sim_->DropProgram();
  user_.reset();
  app_.reset();
  platform_.reset();
  network_.reset();
  files_.reset();
  fetcher_.reset();
  downloads_.reset();
  disk_ = sim_->disk().TakeState();
  sim_.reset();
  if (web_) web_->EndSession();
}

void Life::Quit() {
  Do([this] { app_->SaveAndQuit(); });
  EndSession();
}

void Life::LiveFor(std::uint64_t milliseconds) {
  if (sim_->Elapsed() == 0) {
    Do([this] { app_->Start(); });
    sim_->RunFor(10);
  }
  const double end = sim_->Elapsed() + static_cast<double>(milliseconds);
  while (Running() && sim_->Elapsed() < end) {
    sim_->RunFor(100 + random_.Below(15000));
    if (sim_->Ended()) return EndSession();  // the user quit
    user_->Act(random_.Next());
  }
}

std::vector<std::string> Life::Run() {
  for (int session = 0; session < plan_.sessions && invariants_.Wrong().empty(); ++session) RunSession(session);
  // The last session, in which nothing fails. Arriving updates end the program, so there may be several.
  for (int round = 0; round < 4 && invariants_.Wrong().empty(); ++round) {
    BeginSession(plan_.sessions + round, {});
    Do([this] { app_->Start(); });
    const bool settled = Settle(2 * kHour);
    if (!settled && invariants_.Wrong().empty()) invariants_.Note("something waits forever\n" + Listed());
    constexpr std::uint64_t kSweep = 20'000;  // deletions wait for a slow disk
    if (web_) sim_->RunFor(kSweep);
    const bool ended = sim_->Ended();
    for (const std::string& wrong : Check()) invariants_.Note(wrong);
    if (!ended) invariants_.CheckWebFiles(!powerCut_);  // which brings deleted files back
    if (sim_->Elapsed() > 6000 && !sim_->disk().Has(std::string(kListPath))) invariants_.Note("no list on the disk");
    if (!ended) counts_.finished += app_->mainWindow().ListView2.Rows().size();
    EndSession();
    if (!ended) break;
  }
  return invariants_.Wrong();
}

void Life::RunSession(int session) {
  const PlanItem* whole = nullptr;
  std::vector<const PlanItem*> items;
  std::vector<const PlanItem*> wires;
  for (std::size_t i = 0; i < plan_.items.size(); ++i) {
    const PlanItem& item = plan_.items[i];
    if (item.session != session || options_.dropped.contains(static_cast<int>(i))) continue;
    if (item.kind == PlanKind::Session) {
      whole = &item;
    } else if (item.kind == PlanKind::Wire) {
      wires.push_back(&item);
    } else {
      items.push_back(&item);
    }
  }
  if (!whole) return;
  std::stable_sort(items.begin(), items.end(), [](const PlanItem* a, const PlanItem* b) { return a->at < b->at; });
  BeginSession(session, wires);
  auto item = items.begin();
  for (; item != items.end() && (*item)->at == 0; ++item) Apply(**item);  // faults during the start
  Do([this] { app_->Start(); });
  sim_->RunFor(10);
  invariants_.CheckRestored();
  for (; item != items.end() && !sim_->Ended(); ++item) {
    if (sim_->Elapsed() < (*item)->at) sim_->RunFor((*item)->at - static_cast<std::uint64_t>(sim_->Elapsed()));
    if (!sim_->Ended()) Apply(**item);
  }
  if (sim_->Elapsed() < whole->at) sim_->RunFor(whole->at - static_cast<std::uint64_t>(sim_->Elapsed()));
  EndAsPlanned(*whole);
  if (sim_->Killed() && EndsWithPowerCut(plan_, *whole)) CutPower(*whole);
  if (invariants_.Wrong().empty() && !sim_->Killed()) {
    for (const std::string& wrong : Check()) invariants_.Note(wrong);
  }
  if (invariants_.Wrong().empty()) invariants_.CheckWebFiles(false);
  EndSession();
}

void Life::Apply(const PlanItem& item) {
  SimRandom random(item.salt);
  switch (item.kind) {
    case PlanKind::Act:
      return user_->Act(item.salt);
    case PlanKind::Stall:
      ++counts_.faults["time: a stall"];
      sim_->Stall(random.Coin() ? random.Below(3'000) : random.Below(90'000));
      return invariants_.AfterStall();
    case PlanKind::WallJump: {
      ++counts_.faults["time: the clock is set"];
      const double hours = static_cast<double>(random.Below(60'000)) / 1000 - 30;
      return sim_->SetWallClock(sim_->loop().Now() + (random.Coin() ? hours : hours / 60) / 24);
    }
    case PlanKind::DiskFails:
      return files_->FailCalls(item.salt);
    case PlanKind::DiskFull:
      return files_->FillUp(item.salt);
    case PlanKind::Session:
    case PlanKind::Wire:
      return;
    default:
      return ApplyOfWeb(item);
  }
}

void Life::ApplyOfWeb(const PlanItem& item) {
  SimRandom random(item.salt);
  switch (item.kind) {
    case PlanKind::Add:
      return ActByScript(item.salt);
    case PlanKind::PartsFail:
      return downloads_->FailCalls(item.salt);
    case PlanKind::Certificate: {
      const SimTls kinds[] = {SimTls::Expired, SimTls::WrongHost, SimTls::UnknownAuthority, SimTls::OldVersion,
                              SimTls::None};
      ++counts_.faults["web server: a bad certificate"];
      sim_->fetcher().Host("web.example").tls = kinds[random.Below(5)];
      return sim_->After(random.Below(10'000), [this] { sim_->fetcher().Host("web.example").tls = SimTls::Good; });
    }
    default:
      return web_->Apply(item);
  }
}

// By the bus: mostly an add.
void Life::ActByScript(std::uint64_t salt) {
  SimRandom random(salt);
  Do([&] {
    const std::vector<DownloadInfo> all = app_->List();
    const std::string id = all.empty() ? "" : all[random.Below(all.size())].id;
    switch (random.Below(8)) {
      case 0:
        return (void)app_->Pause(id);
      case 1:
        return random.Coin() ? (void)app_->Remove(id) : app_->ResumeAll();
      default:
        return app_->Add({.url = UrlToAdd(random)}, [](const AddAnswer&) {});
    }
  });
}

// The machine is cut as well as the process.
void Life::CutPower(const PlanItem& session) {
  ++counts_.faults["end: power cut"];
  powerCut_ = invariants_.listMayBeDamaged = true;
  sim_->disk().PowerCut(session.salt);
}

// A kill happens at a disk call, or in the middle of a write.
void Life::EndAsPlanned(const PlanItem& session) {
  if (sim_->Ended()) {
    if (sim_->machine().endCode == 1) ++counts_.faults["end: by a disk failure"];
    return;
  }
  SimRandom random(session.salt / 5);
  switch (EndOf(session)) {
    case SessionEnd::Quit:
      ++counts_.faults["end: quit"];
      return Do([this] { app_->SaveAndQuit(); });
    case SessionEnd::TornKill:
      files_->TearNextWrite();
      break;
    case SessionEnd::Kill:
      sim_->disk().CutAt(sim_->disk().Calls() + 1 + random.Below(60));
      break;
  }
  ++counts_.faults["end: kill"];
  sim_->RunFor(3000);
  if (sim_->Ended()) return;
  sim_->disk().CutNow();
}

bool Life::Unfinished() {
  const std::vector<DownloadInfo> all = app_->List();
  return std::any_of(all.begin(), all.end(), [this](const DownloadInfo& one) {
    const DownloadRecord& record = app_->program().Download(one.index);
    if (web_ && app_->program().Web(one.index) != nullptr) return MustFinish(one.index);
    if (web_ && WebOrigin::FileOf(record.URL) >= 0) return MustFinish(one.index);
    return IsHonest(HostOf(record.Host)) && !record.Finished && !origin_.MayBeMisread(record);
  });
}

// Of the web engine, whose failures stay in the list.
bool Life::MustFinish(int index) {
  const DownloadRecord& record = app_->program().Download(index);
  if (record.Finished) return false;
  const int file = WebOrigin::FileOf(record.URL);
  if (file >= 0) return !WebOrigin::NeedsLogin(file);  // its password may be known to an earlier session alone
  return IsHonest(HostOf(record.Host)) && origin_.Find(NameOf(record.URL)) != nullptr;
}

// Only pause and resume continue a download that went silent or never got an answer, and only the viewer's button one
// that waits for its viewer.
bool Life::Settle(std::uint64_t limit) {
  origin_.NoFaults();
  if (web_) web_->NoFaults();
  sim_->clipboard().text.reset();
  sim_->dialogs().AutoAnswer("already in the list", kAnswerNo, 200);
  sim_->dialogs().AutoAnswer("", kAnswerYes, 200);
  sim_->RunFor(100);
  const double begin = sim_->Elapsed();
  const auto length = static_cast<double>(limit);
  while (!sim_->Ended() && sim_->Elapsed() < begin + length) {
    // One that is silent for ever keeps its place, and those queued after it wait as long.
    if (sim_->Elapsed() > begin + length / 2) app_->program().settings.MaxSimulDownlads = kMaxRecords;
    if (SettleRound()) return true;
  }
  return sim_->Ended() || !Unfinished();
}

bool Life::SettleRound() {
  for (int box = 0; box < 50 && sim_->dialogs().OpenCount() > 0; ++box) {
    user_->AnswerKindly();
    sim_->RunFor(10);
    if (sim_->Ended()) return true;  // the question was whether to quit
  }
  if (!Unfinished()) return true;
  Do([this] { app_->mainWindow().pauseall(); });
  for (Window* const window : sim_->windows().Loaded("TransferWindow")) {
    auto* const transfer = dynamic_cast<TransferWindow*>(window);
    if (!transfer->Asks() && transfer->FinishedMode == 0 && transfer->Command3.Caption() != "Resume Download") {
      Do([transfer] { transfer->Command3.Click(); });
    }
  }
  sim_->RunFor(1000);
  Do([this] { app_->mainWindow().resumeall(); });
  const int seconds = web_ ? 600 : 90;  // the web engine retries by itself
  for (int second = 0; second < seconds && !sim_->Ended(); ++second) {
    sim_->RunFor(1000);
    AnswerInWindows();
    for (Window* const window : sim_->windows().Loaded("Form2")) {
      auto* const viewer = dynamic_cast<Form2*>(window);
      if (viewer->Label1.Caption().ends_with(" packed.)")) Do([viewer] { viewer->Command3.Click(); });
    }
    if (!sim_->Ended() && !Unfinished()) return true;
  }
  return sim_->Ended();
}

// With Yes: begin anew, trust the key.
void Life::AnswerInWindows() {
  for (Window* const window : sim_->windows().Loaded("TransferWindow")) {
    auto* const transfer = dynamic_cast<TransferWindow*>(window);
    if (transfer->Asks()) Do([transfer] { transfer->Command1.Click(); });
  }
}

std::string Life::Listed() {
  std::string text;
  for (const DownloadInfo& one : app_->List()) {
    const DownloadRecord& record = app_->program().Download(one.index);
    text += std::to_string(one.index) + " " + one.url + " " + one.state + " " + std::to_string(one.received) + "/" +
            std::to_string(one.size) + " segments";
    for (int i = 1; i <= record.SegmentCount; ++i) text += " " + std::to_string(record.Segment(i).State);
    text += app_->program().TransferWindowAt(one.index) ? " window " : " ";
    text += one.reason + "\n";
  }
  return text;
}

std::vector<std::string> Life::Check() {
  std::vector<std::string> wrong;
  const DownloadBasket& basket = app_->basket();
  if (basket.Visible() != app_->mainWindow().sdb.Checked()) wrong.emplace_back("the basket's menu entry is wrong");
  const ScreenSize screen = sim_->windows().Screen();
  if (basket.Left < 0 || basket.Top < 0 || basket.Left > screen.width - 32 || basket.Top > screen.height - 32) {
    wrong.emplace_back("the basket left the screen");
  }
  Program& program = app_->program();
  std::set<const void*> windows;
  if (sim_->media().Living() > 1) wrong.emplace_back("more than one preview");
  for (int i = 1; i <= program.DownloadCount; ++i) {
    CheckRecord(i, wrong);
    const auto slot = std::dynamic_pointer_cast<TransferWindow>(program.TransferWindowAt(i));
    if (!slot) continue;
    if (slot->RecordIndex != i) wrong.push_back("slot " + std::to_string(i) + " holds another record's window");
    if (!windows.insert(slot.get()).second) wrong.emplace_back("two slots hold one window");
  }
  for (const std::string& path : sim_->disk().Paths()) {
    // Nothing flushes the list.
    if (path.find(".damaged") != std::string::npos && !powerCut_) wrong.push_back("the list was damaged: " + path);
    if (path.rfind("/home/u/", 0) != 0 && path.rfind("/prog/", 0) != 0) wrong.push_back("a stray file: " + path);
  }
  if (web_ && sim_->disk().Get(std::string(kForeignFile)) != kForeignBytes)
    wrong.emplace_back("a file of the user was overwritten");
  return wrong;
}

void Life::CheckRecord(int index, std::vector<std::string>& wrong) {
  const DownloadRecord& record = app_->program().Download(index);
  const std::string_view* const bytes = origin_.Find(record.FileName);
  if (!record.InUse || !record.Finished || !bytes || !IsHonest(HostOf(record.Host))) return;
  if (powerCut_ && app_->program().Web(index) == nullptr) return;
  if (!sim_->disk().Has(record.SavePath) || sim_->disk().Get(record.SavePath) != *bytes) {
    wrong.push_back("record " + std::to_string(index) + " " + record.URL +
                    ": finished, and not the origin's bytes: " + record.SavePath);
  }
}

}  // namespace pellora
