#include "platform/Controls.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/EventGate.h"
#include "platform/Platform.h"

namespace pellora {

namespace {

std::uint64_t RecordIdentity(const ListRow& row) {
  return (static_cast<std::uint64_t>(row.serial) << 16U) | static_cast<std::uint16_t>(row.record);
}

}  // namespace

std::string TagText(int number) { return number == 0 ? std::string() : std::to_string(number); }

Control::Control(Window* window, std::string name, std::string typeName, int number)
    : Name(std::move(name)),
      TypeName(std::move(typeName)),
      Tag(this, TagText(number)),
      Visible(this, true),
      Enabled(this, true),
      Left(this, 0),
      Top(this, 0),
      Width(this, 0),
      Height(this, 0),
      ToolTipText(this, ""),
      window_(window) {
  window_->controls_.push_back(this);
}

void Control::Fire(const std::function<void()>& event) {
  if (!event) return;
  const auto hold = window_->shared_from_this();
  window_->platform_.gate.Deliver(event);
}

void Toolbar::ClickButton(const std::string& key) {
  if (!OnButtonClick || !Enabled) return;
  for (const ControlPart& button : Buttons()) {
    if (button.key == key && button.enabled) return Fire([this, key] { OnButtonClick(key); });
  }
}

void StatusBar::SetPanel(std::size_t panel, const std::string& text) {
  std::vector<std::string> panels = Panels;
  panels.at(panel - 1) = text;
  Panels = std::move(panels);
}

// A row is the same as before if it stands for the same record, even if its key has changed, or if it
// has the same place among the records and the same key.
std::vector<ListRow> ListView::SetRows(std::vector<ListRow> rows) {
  std::unordered_set<std::uint64_t> selectedRecords;
  std::unordered_map<std::string, std::int16_t> selectedKeys;
  for (const std::size_t at : selection_) {
    const ListRow& row = rows_[at];
    if (row.record != 0) selectedRecords.insert(RecordIdentity(row));
    selectedKeys.emplace(row.key, row.record);
  }
  rows_.swap(rows);
  const std::size_t selected = selection_.size();
  selection_.clear();
  for (std::size_t at = 0; at < rows_.size() && selection_.size() < selected; ++at) {
    const ListRow& row = rows_[at];
    const auto key = selectedKeys.find(row.key);
    const bool sameKey = key != selectedKeys.end() && key->second == row.record;
    if (sameKey || (row.record != 0 && selectedRecords.contains(RecordIdentity(row)))) selection_.push_back(at);
  }
  changedRows_.clear();
  ++rowsVersion_;
  PropertyChanged();
  return rows;
}

void ListView::SetRow(std::size_t at, ListRow row) {
  if (rows_.at(at) == row) return;
  rows_[at] = std::move(row);
  changedRows_.push_back(at);
  PropertyChanged();
}

void ListView::Select(std::vector<std::size_t> rows) {
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  std::erase_if(rows, [this](std::size_t at) { return at >= rows_.size(); });
  if (rows == selection_) return;
  selection_ = std::move(rows);
  PropertyChanged();
}

}  // namespace pellora
