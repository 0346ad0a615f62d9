// The graph and the map in a transfer's window, which the user can show. What was chosen last is kept in the settings'
// store, for the windows that open from then on.
#include <algorithm>
#include <string>
#include <vector>

#include "core/Numbers.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "ports/SettingsStore.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

namespace {

constexpr const char* kApplication = "Pellora";
constexpr const char* kKey = "ShowGraph";
constexpr const char* kYes = "True";
constexpr const char* kNo = "False";

// Gaps narrower than this cannot be seen.
constexpr double kFinest = 1.0 / 2048;

std::vector<MapSpan> SpansOf(const std::vector<Range>& ranges, std::int64_t size) {
  std::vector<MapSpan> spans;
  for (const Range& range : ranges) {
    const MapSpan span{static_cast<double>(range.begin) / static_cast<double>(size),
                       static_cast<double>(range.end) / static_cast<double>(size)};
    if (!spans.empty() && span.begin >= spans.back().end && span.begin - spans.back().end < kFinest) {
      spans.back().end = span.end;
    } else {
      spans.push_back(span);
    }
  }
  return spans;
}

}  // namespace

void TransferWindow::ConnectCharts() {
  Graph1.Visible = false;
  Map1.Visible = false;
  showgraph.OnClick = [this] { ToggleGraph(); };
  silence_.OnTimer = [this] { FollowSilence(); };
}

void TransferWindow::LoadGraphSetting() {
  Skip([this] { showgraph.Checked = platform_.settings.Get(kApplication, kKey) == kYes; });
  ShowCharts();
}

void TransferWindow::ToggleGraph() {
  showgraph.Checked = !showgraph.Checked();
  Skip([this] { platform_.settings.Set(kApplication, kKey, showgraph.Checked ? kYes : kNo); });
  ShowCharts();
}

void TransferWindow::TakeSpeed(std::int64_t received) {
  // What comes after the end is no speed, but the map is whole then.
  if (FinishedMode == 1 || speeds_.Take(platform_.clock.TickCount(), received)) ShowCharts();
}

void TransferWindow::FollowSilence() {
  if (engine_->Current() && slot_.Record().Active) return TakeSpeed(engine_->Figures().received);
  silence_.SetEnabled(false);
}

void TransferWindow::ShowCharts() {
  silence_.SetEnabled(showgraph.Checked() && engine_->Current() && slot_.Record().Active);
  Graph1.Visible = showgraph.Checked();
  const FileMap map = showgraph.Checked && engine_->Current() ? engine_->Map() : FileMap();
  Map1.Visible = map.size > 0;
  if (!showgraph.Checked) return;
  DrawGraph();
  if (map.size > 0) DrawMap(map);
}

void TransferWindow::DrawGraph() {
  const std::string decimal = platform_.locale.DecimalSeparator();
  const auto speed = [&](float bytes) {
    return FormatSize(RoundTiesToEven(static_cast<double>(bytes)), program_.LangStrings, decimal) + "/s";
  };
  const std::vector<float>& speeds = speeds_.Speeds();
  const float most = speeds.empty() ? 0.0F : *std::max_element(speeds.begin(), speeds.end());
  Graph1.Speeds = speeds;
  Graph1.Most = speed(most);
  Graph1.Words =
      FillText(TextOf(program_, WebText::GraphFigures), {speed(speeds.empty() ? 0.0F : speeds.back()), speed(most)});
}

void TransferWindow::DrawMap(const FileMap& map) {
  const std::string decimal = platform_.locale.DecimalSeparator();
  std::int64_t held = 0;
  for (const Range& range : map.held) held += range.Length();
  const double percent = static_cast<double>(held) * 100 / static_cast<double>(map.size);
  Map1.Held = SpansOf(map.held, map.size);
  Map1.Awaited = SpansOf(map.awaited, map.size);
  Map1.Words = FillText(TextOf(program_, WebText::MapFigures),
                        {FormatPercent(percent, decimal) + "%", std::to_string(map.awaited.size())});
}

}  // namespace pellora
