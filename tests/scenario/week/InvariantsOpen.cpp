// What is open, running and loaded on the simulated machine must be explained by the records.
#include <algorithm>
#include <functional>

#include "Invariants.h"
#include "mainwin/MainWindow.h"
#include "transfer/ClassicEngine.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Form2.h"

namespace pellora {

namespace {

// The main window's four timers, the retest of waits, and the preview.
constexpr std::size_t kOwnAlarms = 6;
constexpr std::size_t kWindowAlarms = 2;
constexpr std::size_t kFtpAlarms = std::size_t{2} * kMaxLanes;
// A transfer without a slot notices at its next event; its waits are short.
constexpr SimLoop::Micros kOrphanTime = 5 * SimLoop::kSecond;
// Waiting tasks: one for each login of a transfer and a few more, one for each question, and the lists'.
constexpr std::size_t kOwnTasks = 20;
constexpr std::size_t kWindowTasks = 12;

template <class Object>
bool LiesIn(const Object& object, const void* address) {
  const auto* const begin = reinterpret_cast<const char*>(&object);
  const auto* const at = static_cast<const char*>(address);
  return !std::less<>{}(at, begin) && std::less<>{}(at, begin + sizeof(Object));
}

}  // namespace

void Invariants::CheckOpen() {
  CheckWindows();
  CheckSockets();
  CheckFiles();
}

// Each transfer is in the slot of its record or ends soon, at the latest once its box is answered.
void Invariants::CheckWindows() {
  Program& program = app_->program();
  std::erase_if(windows_, [](const LiveWindow& live) { return live.alive.expired(); });
  std::size_t alarms = kOwnAlarms + webWindows_.size() * kWindowAlarms;
  for (LiveWindow& live : windows_) {
    const int index = live.engine->Index();
    const std::shared_ptr<TransferWindow> window = live.window.lock();
    alarms += kWindowAlarms + (live.ftp ? kFtpAlarms : 0);
    const std::shared_ptr<Transfer>& slot = program.TransferWindowAt(index);
    if (window && slot == window) {
      live.orphanSince = -1;
      if (index < 1 || index > program.DownloadCount) {
        Note("a transfer in a slot of no record");
        continue;
      }
      const DownloadRecord& record = program.Download(index);
      live.host = records_[static_cast<std::size_t>(index)].hostId;
      live.ftp = record.Protocol == kFtp;
      continue;
    }
    allowed_[static_cast<std::size_t>(live.host)] += kMaxLanes;
    if (live.ftp) allowed_[static_cast<std::size_t>(HostId::FtpData)] += kMaxLanes;
    const SimLoop::Micros now = sim_->loop().Time();
    // An open box may be its own: its time to end starts with the answer.
    // So does a join's, once the part files' writes before it are done.
    const bool writes = web_ && sim_->background().Pending() > 0;
    if (live.orphanSince < 0 || sim_->dialogs().OpenCount() > 0 || writes) live.orphanSince = now;
    if (now - live.orphanSince >= kOrphanTime && live.host != HostId::Wild) {
      Note("a transfer without a slot stays, showing \"" + (window ? window->state.Caption() : "") + "\"");
    }
  }
  const std::size_t running = sim_->loop().RunningAlarms();
  counts_.mostAlarms = std::max<std::uint64_t>(counts_.mostAlarms, running);
  if (running > alarms) Note(std::to_string(running) + " timers run, where " + std::to_string(alarms) + " may");
  const std::size_t tasks = sim_->tasks().RunningTasks();
  counts_.mostTasks = std::max<std::uint64_t>(counts_.mostTasks, tasks);
  if (tasks > kOwnTasks + (windows_.size() + webWindows_.size()) * kWindowTasks)
    Note(std::to_string(tasks) + " tasks wait");
}

void Invariants::AfterStall() {
  for (LiveWindow& live : windows_) {
    if (live.orphanSince >= 0) live.orphanSince = sim_->loop().Time();
  }
  AfterStallOfWeb();
}

const Invariants::LiveWindow* Invariants::OwnerOfSocket(const ConnectionEvents* events) const {
  const auto at = std::find_if(windows_.begin(), windows_.end(),
                               [&](const LiveWindow& live) { return LiesIn(*live.engine, events); });
  return at == windows_.end() ? nullptr : &*at;
}

// The main connection and the viewer's two are members of their engine and window; the others are segments'.
void Invariants::CheckSockets() {
  std::erase_if(viewers_, [](const auto& viewer) { return viewer.expired(); });
  counts_.mostSockets = std::max<std::uint64_t>(counts_.mostSockets, network_->Open().size());
  if (!web_ && static_cast<std::size_t>(sim_->network().Open()) != network_->Open().size()) {
    Note("the network has another number of sockets open than the program");
  }
  std::array<int, kHosts> open{};
  Program& program = app_->program();
  for (const OpenConnection& one : network_->Open()) {
    if (one.events == nullptr || LiesIn(app_->mainWindow(), one.events)) continue;
    if (const LiveWindow* const owner = OwnerOfSocket(one.events)) {
      if (owner->orphanSince >= 0) continue;
      const DownloadRecord& record = program.Download(owner->engine->Index());
      if (record.Paused || record.Finished) Note(Name(owner->engine->Index()) + "its probe is open");
      continue;
    }
    const bool viewers = std::any_of(viewers_.begin(), viewers_.end(), [&](const auto& viewer) {
      const auto* const window = dynamic_cast<const Form2*>(viewer.lock().get());
      return window && LiesIn(*window, one.events);
    });
    if (!viewers) ++open[static_cast<std::size_t>(one.host)];
  }
  for (std::size_t host = 0; host < open.size(); ++host) {
    if (open[host] <= allowed_[host]) continue;
    Note(std::to_string(open[host]) + " sockets of segments to host " + std::to_string(host) +
         " are open, where the records explain " + std::to_string(allowed_[host]));
  }
}

// Between events only part files are open, each once: over HTTP that of each active segment, and during a pause that of
// the first. While background work is in progress, a join's files may be open too.
void Invariants::CheckFiles() {
  const std::vector<const std::string*>& open = files_->OpenPaths();
  if (open.empty() || sim_->background().Pending() > 0) return;
  const auto orphans = static_cast<std::size_t>(
      std::count_if(windows_.begin(), windows_.end(), [](const LiveWindow& live) { return live.orphanSince >= 0; }));
  std::size_t unexplained = 0;
  for (auto at = open.begin(); at != open.end(); ++at) {
    const std::string& path = **at;
    if (!IsPartFile(path)) Note("left open: " + path);
    if (std::any_of(open.begin(), at, [&](const std::string* other) { return *other == path; })) {
      if (orphans == 0) Note("opened twice: " + path);
    }
    const PartOwner* const owner = OwnerOf(path);
    if (!owner) {
      ++unexplained;
      continue;
    }
    const DownloadRecord& record = app_->program().Download(owner->record);
    const bool atWork = record.Segment(owner->segment).State != kSegmentComplete && record.Protocol == kHttp;
    if (!atWork || (record.Paused && owner->segment != 1)) ++unexplained;
  }
  if (unexplained > orphans * kMaxLanes) {
    Note(std::to_string(unexplained) + " part files are open that no active segment explains");
  }
}

}  // namespace pellora
