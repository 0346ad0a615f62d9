#include "core/DownloadNotices.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/Ascii.h"
#include "core/FileNames.h"
#include "core/Numbers.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "core/WebFigures.h"
#include "core/WebTexts.h"
#include "ports/Clock.h"
#include "ports/Files.h"
#include "ports/Shell.h"

namespace pellora {

namespace {

constexpr std::int32_t kTogether = 5000;  // ms
constexpr std::size_t kMostLines = 5;
constexpr const char* kClick = "default";
constexpr const char* kOpen = "open";
constexpr const char* kOpenFolder = "folder";

// By the rule of the lists: what is gone meanwhile is not opened. A desktop may report a choice that was not offered.
void OpenChosen(const Platform& platform, const Notice& notice, const std::string& path, const std::string& key) {
  const auto isOffered = [&key](const Notice::Button& button) { return button.key == key; };
  if (std::none_of(notice.buttons.begin(), notice.buttons.end(), isOffered)) return;
  const std::string folder = FolderOf(path);
  if (key == kOpenFolder) return platform.shell.OpenPath(folder, folder);
  if ((key == kClick || key == kOpen) && platform.files.Exists(path)) platform.shell.OpenPath(path, folder);
}

// A name with line breaks, which its reason may repeat, could look like the lines of other downloads.
std::string InOneLine(std::string text) {
  std::replace_if(text.begin(), text.end(), IsControl, ' ');
  return text;
}

}  // namespace

void DownloadNotices::Watch() {
  if (program_.platform.notices == nullptr || program_.headless) return;
  Look();
  LookAtBoxes();
  const std::uint32_t now = program_.platform.clock.TickCount();
  if (!events_.empty() && TicksSince(now, since_) >= kTogether) Show();
  ShowTaskbar();
}

void DownloadNotices::Look() {
  std::map<std::uint32_t, Stage> stages;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse) continue;
    const WebFigures* const figures = program_.Web(i);
    const bool stopped = figures != nullptr && figures->standing == WebStanding::Stopped && !record.Active;
    const Stage stage = record.Finished ? Stage::Finished : stopped ? Stage::Failed : Stage::Open;
    if (stage == Stage::Open) continue;
    const std::uint32_t serial = program_.Serial(i);
    stages[serial] = stage;
    const auto before = stages_.find(serial);
    if (!hasLooked_ || (before != stages_.end() && before->second == stage) || IsUpdate(record)) continue;
    const bool finished = stage == Stage::Finished;
    Add({record.FileName, finished ? record.SavePath : std::string(), finished ? std::string() : figures->reason});
  }
  stages_ = std::move(stages);
  hasLooked_ = true;
}

void DownloadNotices::LookAtBoxes() {
  const auto& stops = program_.boxedStops;
  for (auto stop = stops.upper_bound(lastBoxed_); stop != stops.end(); ++stop) {
    lastBoxed_ = stop->first;
    Add({stop->second.name, {}, stop->second.text, stop->first});
  }
}

void DownloadNotices::Add(Event event) {
  if (events_.empty()) since_ = program_.platform.clock.TickCount();
  events_.push_back(std::move(event));
}

std::string DownloadNotices::TitleOf(std::size_t finished, std::size_t stopped) const {
  const auto part = [this](std::size_t count, WebText one, WebText many) {
    if (count == 0) return std::string();
    return count == 1 ? TextOf(program_, one) : FillText(TextOf(program_, many), {std::to_string(count)});
  };
  const std::string first = part(finished, WebText::NoticeFinished, WebText::NoticeManyFinished);
  const std::string second = part(stopped, WebText::NoticeStopped, WebText::NoticeManyStopped);
  return first.empty() || second.empty() ? first + second : first + ", " + second;
}

void DownloadNotices::Show() {
  std::vector<Event> events = std::exchange(events_, {});
  std::erase_if(events,
                [this](const Event& event) { return event.boxed != 0 && !program_.boxedStops.contains(event.boxed); });
  if (events.empty() || !program_.settings.ShowNotices) return;
  Notice notice;
  std::string path;  // of the last one that has finished
  std::size_t finished = 0;
  for (std::size_t i = 0; i < events.size(); ++i) {
    const Event& event = events[i];
    finished += event.path.empty() ? 0 : 1;
    if (!event.path.empty()) path = event.path;
    if (i > kMostLines) continue;
    const bool hasBoth = !event.name.empty() && !event.reason.empty();
    const std::string line = InOneLine(event.name + (hasBoth ? ": " : "") + event.reason);
    notice.text += (i == 0 ? "" : "\n") + (i < kMostLines ? line : "...");
  }
  notice.title = TitleOf(finished, events.size() - finished);
  notice.stopped = finished < events.size();
  if (!path.empty() && events.size() == 1) {
    for (const char* const key : {kClick, kOpen}) {
      notice.buttons.push_back({key, TextOf(program_, WebText::NoticeOpen)});
    }
  }
  if (!path.empty()) notice.buttons.push_back({kOpenFolder, TextOf(program_, WebText::NoticeOpenFolder)});
  program_.platform.notices->Show(notice, [platform = &program_.platform, notice, path](const std::string& key) {
    OpenChosen(*platform, notice, path, key);
  });
}

void DownloadNotices::ShowTaskbar() {
  TaskbarState state;
  double received = 0;
  double size = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (!record.InUse || !record.Active) continue;
    ++state.count;
    const WebFigures* const figures = program_.Web(i);
    const auto of = static_cast<double>(figures != nullptr ? figures->size : record.FileSize);
    if (of <= 0) continue;
    size += of;
    received += std::min(of, static_cast<double>(figures != nullptr ? figures->received : record.Received));
  }
  constexpr double kSteps = 100;  // no more messages than anyone would see
  if (size > 0) state.share = static_cast<double>(static_cast<int>(received / size * kSteps)) / kSteps;
  if (std::exchange(taskbar_, state) != state) program_.platform.notices->ShowTaskbar(state);
}

void DownloadNotices::End() {
  if (program_.platform.notices == nullptr || std::exchange(taskbar_, {}) == TaskbarState()) return;
  program_.platform.notices->ShowTaskbar({});
}

}  // namespace pellora
