#include "SimDesktop.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "SimFaults.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ui/Controls.h"

namespace pellora {

std::optional<std::string> SimSettings::Get(const std::string& application, const std::string& key) const {
  if (SimFails("settings read", key)) throw Failure(FailureNumber::File, application + ".ini: cannot be read");
  const auto at = values.find({application, key});
  if (at == values.end()) return std::nullopt;
  return at->second;
}

void SimSettings::SetAll(const std::string& application, const Values& changed) {
  const std::string file = application + ".ini";
  if (SimFails("settings write", file) || failWrites) throw Failure(FailureNumber::File, file + ": cannot be written");
  for (const auto& [key, text] : changed) values[{application, key}] = text;
  writes.emplace_back(application, changed);
}

std::optional<std::string> SimClipboard::Text() const {
  constexpr std::size_t kLongest = 1U << 16;
  if (SimFails("clipboard") || !text || text->size() > kLongest) return std::nullopt;
  return text;
}

void SimDialogs::Ask(const BoxRequest& request, std::function<void(int answer)> answered) {
  const std::uint64_t id = nextId_++;
  boxes_.push_back(request);
  open_.push_back({id, request, std::move(answered)});
  CountStanding();
  loop_.Trace().Note(loop_.Time(), "box", id, 0, request.text);
  // A box fails to be answered by being closed; a box with two buttons and no icon cannot be closed.
  if ((request.style & ~kYesNo) != 0 || request.style == kOkOnly) {
    if (SimFails("box", request.text)) {
      const int left = (request.style & kYesNo) == 0 ? kAnswerOk : kAnswerNo;
      return loop_.InWorld(loop_.Time(), [this, id, left] { AnswerBox(id, left); });
    }
  }
  for (const Rule& rule : rules_) {
    if (request.text.find(rule.part) == std::string::npos) continue;
    const int answer = (request.style & kYesNo) == 0 ? kAnswerOk : rule.answer;
    const SimLoop::Micros at = loop_.Time() + static_cast<SimLoop::Micros>(rule.delay) * SimLoop::kMillisecond;
    loop_.InWorld(at, [this, id, answer] { AnswerBox(id, answer); });
    return;
  }
}

void SimDialogs::AskSavePath(const SaveRequest& request,
                             std::function<void(std::optional<std::string> path)> answered) {
  const std::uint64_t id = nextId_++;
  saves_.push_back(request);
  loop_.Trace().Note(loop_.Time(), "save", id, 0, request.proposal);
  openSaves_.push_back({id, {}, std::move(answered)});
  CountStanding();
  if (SimFails("save dialog", request.proposal)) {
    return loop_.InWorld(loop_.Time(), [this, id] {
      if (!openSaves_.empty() && openSaves_.front().id == id) AnswerNextSave(std::nullopt);
    });
  }
  if (choose_) {
    loop_.InWorld(loop_.Time(), [this, id, path = choose_(request)] {
      if (!openSaves_.empty() && openSaves_.front().id == id) AnswerNextSave(path);
    });
  }
}

void SimDialogs::AskFolder(const FolderRequest& request,
                           std::function<void(std::optional<std::string> folder)> answered) {
  folders_.push_back(request);
  loop_.Trace().Note(loop_.Time(), "folder", folders_.size(), 0, request.start);
  openFolders_.push_back(std::move(answered));
  CountStanding();
  if (SimFails("folder dialog", request.start)) {
    loop_.InWorld(loop_.Time(), [this] {
      if (!openFolders_.empty()) AnswerNextFolder(std::nullopt);
    });
  }
}

bool SimDialogs::WasShown(const std::string& part) const {
  return std::any_of(boxes_.begin(), boxes_.end(),
                     [&](const BoxRequest& box) { return box.text.find(part) != std::string::npos; });
}

const BoxRequest& SimDialogs::Next() const {
  if (open_.empty()) throw std::logic_error("no box is open");
  return open_.front().request;
}

void SimDialogs::AnswerNext(int answer) {
  const bool yesNo = (Next().style & kYesNo) != 0;
  if (yesNo ? answer != kAnswerYes && answer != kAnswerNo : answer != kAnswerOk) {
    throw std::logic_error("the box has no button for that answer: " + Next().text);
  }
  AnswerBox(open_.front().id, answer);
}

void SimDialogs::AnswerNextSave(std::optional<std::string> path) {
  if (openSaves_.empty()) throw std::logic_error("no save dialog is open");
  auto answered = std::move(openSaves_.front().answered);
  openSaves_.pop_front();
  loop_.Post([answered = std::move(answered), path = std::move(path)] { answered(path); });
}

void SimDialogs::AnswerNextFolder(std::optional<std::string> folder) {
  if (openFolders_.empty()) throw std::logic_error("no folder dialog is open");
  auto answered = std::move(openFolders_.front());
  openFolders_.pop_front();
  loop_.Post([answered = std::move(answered), folder = std::move(folder)] { answered(folder); });
}

void SimDialogs::AutoAnswer(const std::string& part, int answer, std::uint32_t delay) {
  rules_.push_back({part, answer, delay});
}

void SimDialogs::AnswerBox(std::uint64_t id, int answer) {
  const auto at = std::find_if(open_.begin(), open_.end(), [id](const auto& box) { return box.id == id; });
  if (at == open_.end()) return;
  auto answered = std::move(at->answered);
  open_.erase(at);
  loop_.Post([answered = std::move(answered), answer] { answered(answer); });
}

void SimDialogs::CountStanding() { most_ = std::max(most_, open_.size() + openSaves_.size() + openFolders_.size()); }

void SimShell::OpenPath(const std::string& path, const std::string& workingFolder) {
  if (SimFails("shell open", path)) throw Failure(FailureNumber::File, path + ": no such file");
  opened.emplace_back(path, workingFolder);
}

void SimShell::OpenUrl(const std::string& url) {
  if (SimFails("shell open address", url)) throw Failure(FailureNumber::File, "xdg-open: no such program");
  for (const char* scheme : {"http://", "https://", "ftp://"}) {
    if (url.rfind(scheme, 0) == 0) {
      urls.push_back(url);
      return;
    }
  }
}

void SimShell::Start(const std::string& program, const std::vector<std::string>& arguments) {
  if (SimFails("shell start", program) || !disk_.Has(program))
    throw Failure(FailureNumber::File, program + ": no such program");
  started.emplace_back(program, arguments);
}

std::string SimMachine::DocumentsFolder() const {
  return SimFails("documents folder") ? std::string() : documentsFolder;
}

std::string SimMachine::Variable(const std::string& name) const {
  const auto found = variables.find(name);
  return found == variables.end() ? std::string() : found->second;
}

void SimMachine::End(int code) {
  if (!endCode) endCode = code;
  loop_.End();
}

void SimAutoStart::SetEntry(bool aPresent) {
  ++writes;
  if (SimFails("auto start") || failWrites) {
    throw Failure(FailureNumber::File, "PelloraAutoStart.desktop: cannot be written");
  }
  present = aPresent;
}

void SimInhibit::Hold(const std::string& aReason) {
  if (held) throw std::logic_error("Inhibit: held already");
  if (SimFails("inhibit") || fails) throw Failure(FailureNumber::File, "the desktop cannot be asked");
  held = true;
  ++holds;
  reason = aReason;
}

void SimInhibit::Release() { held = false; }

void SimNotices::Show(const Notice& notice, std::function<void(const std::string& key)> aChosen) {
  shown.push_back(notice);
  chosen.push_back(std::move(aChosen));
}

void SimNotices::ShowTaskbar(const TaskbarState& state) {
  taskbar = state;
  ++taskbarChanges;
}

std::string SimLocale::DateTimeText(double serial) const {
  constexpr double kLastDay = 2958465;  // 9999-12-31
  if (!(serial > -657435.0) || !(serial < kLastDay + 1)) return "";
  const double day = std::floor(serial);
  const int seconds = static_cast<int>(std::lround((serial - day) * 86400.0));
  const auto two = [](int n) { return (n < 10 ? "0" : "") + std::to_string(n); };
  std::string text;
  if (day != 0) {
    // Days since 1 March 0000, in eras of 400 years.
    const auto z = static_cast<std::int64_t>(day) - 25569 + 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto inEra = static_cast<int>(z - era * 146097);
    const int year = (inEra - inEra / 1460 + inEra / 36524 - inEra / 146096) / 365;
    const int inYear = inEra - (365 * year + year / 4 - year / 100);
    const int shifted = (5 * inYear + 2) / 153;
    const int month = shifted < 10 ? shifted + 3 : shifted - 9;
    const std::int64_t fullYear = year + era * 400 + (month <= 2 ? 1 : 0);
    text = std::to_string(fullYear) + "-" + two(month) + "-" + two(inYear - (153 * shifted + 2) / 5 + 1);
  }
  if (seconds == 0 && day != 0) return text;
  if (!text.empty()) text += " ";
  return text + two(seconds / 3600) + ":" + two(seconds / 60 % 60) + ":" + two(seconds % 60);
}

void SimTray::Add(const std::string& aPicture, const std::string& aTip, TrayEvents& events) {
  picture = aPicture;
  tip = aTip;
  events_ = &events;
  ++added;
}

void SimTray::SetPicture(const std::string& aPicture) {
  picture = aPicture;
  pictures.push_back(aPicture);
}

void SimTray::SetTip(const std::string& aTip) {
  tip = aTip;
  tips.push_back(aTip);
}

void SimTray::Delete() {
  events_ = nullptr;
  ++deleted;
}

void SimTray::Mouse(int message) {
  if (!events_) throw std::logic_error("there is no icon");
  events_->TrayMouseEvent(message);
}

void SimBrowserMenu::SetEntry(bool present) {
  ++calls;
  if (SimFails("browser menu") || parentMissing) throw Failure(FailureNumber::File, "no browser");
  entry = present;
}

class SimView final : public WindowView {
 public:
  explicit SimView(SimViewRecord& record) : record_(record) {}
  ~SimView() override {
    record_.window = nullptr;
    record_.visible = false;
  }
  void Show() override {
    record_.visible = true;
    ++record_.shown;
  }
  void Hide() override {
    record_.visible = false;
    ++record_.hidden;
  }
  void Raise() override { ++record_.raised; }
  void SetState(WindowState state) override { record_.states.push_back(state); }
  void Changed(const Control* control) override {
    ++record_.changes;
    if (control) ++record_.changesOf[control->Name];
  }

 private:
  SimViewRecord& record_;
};

std::unique_ptr<WindowView> SimWindows::NewView(Window& window) {
  SimViewRecord& record = records_.emplace_back();
  record.window = &window;
  record.typeName = window.TypeName;
  return std::make_unique<SimView>(record);
}

void SimWindows::PopUp(const std::vector<Menu*>& entries, const Menu& standard) {
  SimPopup& popup = popups.emplace_back();
  popup.standard = standard.Name;
  for (Menu* const entry : entries) {
    if (!entry->Visible()) continue;
    popup.entries.push_back(entry);
    popup.captions.push_back(entry->Caption);
  }
}

std::vector<Window*> SimWindows::Loaded() const {
  std::vector<Window*> windows;
  for (const SimViewRecord& record : records_) {
    if (record.window && record.window->Loaded()) windows.push_back(record.window);
  }
  return windows;
}

std::vector<Window*> SimWindows::Loaded(const std::string& typeName) const {
  std::vector<Window*> windows = Loaded();
  std::erase_if(windows, [&](const Window* window) { return window->TypeName != typeName; });
  return windows;
}

const SimViewRecord& SimWindows::Record(const Window& window) const {
  for (auto record = records_.rbegin(); record != records_.rend(); ++record) {
    if (record->window == &window) return *record;
  }
  throw std::logic_error("the window has no view");
}

void SimWindows::AbandonAll() {
  // Letting go of one window may end others.
  for (std::vector<Window*> windows = Loaded(); !windows.empty(); windows = Loaded()) windows.front()->Abandon();
}

}  // namespace pellora
