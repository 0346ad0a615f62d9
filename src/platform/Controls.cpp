#include "platform/Controls.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/EventGate.h"
#include "platform/Platform.h"

namespace pellora {

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

void ListView::SetRows(std::vector<ListRow> rows) {
  std::unordered_multiset<std::string> selectedKeys;  // keys may stand more than once
  for (const std::size_t at : selection_) selectedKeys.insert(rows_[at].key);
  rows_ = std::move(rows);
  selection_.clear();
  for (std::size_t at = 0; at < rows_.size() && !selectedKeys.empty(); ++at) {
    const auto selected = selectedKeys.find(rows_[at].key);
    if (selected == selectedKeys.end()) continue;
    selection_.push_back(at);
    selectedKeys.erase(selected);
  }
  changedRows_.clear();
  ++rowsVersion_;
  PropertyChanged();
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
