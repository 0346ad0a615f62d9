#include "ui/Controls.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <unordered_set>
#include <utility>

#include "async/EventGate.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr std::size_t kMostNoted = 64;  // beyond that drawing all rows at once is less work

std::uint64_t RecordIdentity(const ListRow& row) {
  return (static_cast<std::uint64_t>(row.serial) << 16U) | static_cast<std::uint16_t>(row.record);
}

std::int64_t FigureIn(const std::string& text) {
  std::int64_t figure = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), figure);
  return read.ec == std::errc() ? figure : INT64_MIN;
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

void ComboBox::ChooseByUser(int index) {
  const auto hold = Owner().shared_from_this();
  if (index < 0 || static_cast<std::size_t>(index) >= Items().size()) return;
  Index = index;
  Text = Items()[static_cast<std::size_t>(index)];
  Fire(OnChange);
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

// A row counts as the same if it shows the same record, even under another key, or if slot and key are the same.
// If these are the same records in the same order, changes those that differ: a view need not draw the others anew.
bool ListView::SetDifferent(std::vector<ListRow>& rows) {
  if (source_ || sorted_ || arrangement_.Active() || rows.size() != rows_.size()) return false;
  std::vector<std::size_t> different;
  for (std::size_t at = 0; at < rows.size(); ++at) {
    const ListRow& old = rows_[at];
    if (rows[at] == old) continue;
    const bool same = rows[at].key == old.key && rows[at].record == old.record && rows[at].serial == old.serial;
    if (!same || different.size() == kMostNoted) return false;
    different.push_back(at);
  }
  for (const std::size_t at : different) {
    std::swap(rows_[at], rows[at]);
    NoteChanged(at);
  }
  if (!different.empty()) PropertyChanged();
  return true;
}

std::vector<ListRow> ListView::SetRows(std::vector<ListRow> rows) {
  if (SetDifferent(rows)) return rows;
  if (source_) SetSource(nullptr);
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
  if (sorted_) SortRows();
  arrangement_.Rebuild();
  for (std::size_t at = 0; at < rows_.size() && selection_.size() < selected; ++at) {
    const ListRow& row = rows_[at];
    if (!arrangement_.Shows(at)) continue;
    const auto key = selectedKeys.find(row.key);
    const bool sameKey = key != selectedKeys.end() && key->second == row.record;
    if (sameKey || (row.record != 0 && selectedRecords.contains(RecordIdentity(row)))) selection_.push_back(at);
  }
  changedRows_.clear();
  ++rowsVersion_;
  PropertyChanged();
  return rows;
}

void ListView::SetSource(std::shared_ptr<const RowSource> source) {
  rows_.clear();
  selection_.clear();
  changedRows_.clear();
  made_.reset();
  source_ = std::move(source);
  arrangement_.Rebuild();
  order_.resize(source_ ? source_->Count() : 0);
  order_.shrink_to_fit();
  std::iota(order_.begin(), order_.end(), 0U);
  if (sorted_) SortRows();
  ++rowsVersion_;
  PropertyChanged();
}

const ListRow& ListView::RowAt(std::size_t at) const {
  if (!source_) return rows_.at(at);
  if (!made_ || made_->at != at) made_ = MadeRow{at, source_->Row(order_.at(at))};
  return made_->row;
}

std::optional<std::size_t> ListView::PlaceOf(std::size_t row) const {
  if (!source_) return arrangement_.PlaceOf(row);
  return row < order_.size() ? std::optional(row) : std::nullopt;
}

std::vector<std::size_t> ListView::SelectedNumbers() const {
  std::vector<std::size_t> numbers;
  numbers.reserve(selection_.size());
  for (const std::size_t at : selection_) numbers.push_back(source_ ? order_.at(at) : at);
  return numbers;
}

void ListView::SortByFigures(std::vector<std::uint32_t>& order) const {
  std::vector<std::int64_t> figures;
  figures.reserve(order.size());
  for (const std::uint32_t number : order_) figures.push_back(FigureIn(source_->Text(number, sortKey_)));
  for (const ListRow& row : rows_) figures.push_back(FigureIn(ColumnText(row, sortKey_)));
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return descending_ ? figures[a] > figures[b] : figures[a] < figures[b];
  });
}

void ListView::SortByTexts(std::vector<std::uint32_t>& order) const {
  std::vector<std::string> made;
  made.reserve(order_.size());
  for (const std::uint32_t number : order_) made.push_back(source_->Text(number, sortKey_));
  const auto text = [&](std::uint32_t at) -> const std::string& {
    return source_ ? made[at] : ColumnText(rows_[at], sortKey_);
  };
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    const int compared = CompareTexts(text(a), text(b));
    return descending_ ? compared > 0 : compared < 0;
  });
}

// Selected rows stay selected.
void ListView::PutInOrder(const std::vector<std::uint32_t>& order) {
  std::vector<ListRow> rows;
  rows.reserve(rows_.size());
  std::vector<std::uint32_t> numbers;
  numbers.reserve(order_.size());
  std::vector<std::size_t> selection;
  for (std::size_t at = 0; at < order.size(); ++at) {
    const std::uint32_t from = order[at];
    if (std::binary_search(selection_.begin(), selection_.end(), from)) selection.push_back(at);
    if (source_) {
      numbers.push_back(order_[from]);
    } else {
      rows.push_back(std::move(rows_[from]));
    }
  }
  rows_ = std::move(rows);
  order_ = std::move(numbers);
  selection_ = std::move(selection);
}

void ListView::SortRows() {
  std::vector<std::uint32_t> order(RowCount());
  std::iota(order.begin(), order.end(), 0U);
  if (std::find(FigureColumns.begin(), FigureColumns.end(), sortKey_) != FigureColumns.end()) {
    SortByFigures(order);
  } else {
    SortByTexts(order);
  }
  PutInOrder(order);
  made_.reset();
  arrangement_.Rebuild();
  changedRows_.clear();
  ++rowsVersion_;
}

void ListView::SetSorted(bool sorted) {
  if (sorted == sorted_) return;
  sorted_ = sorted;
  if (sorted_) SortRows();
  PropertyChanged();
}

void ListView::SortBy(int column, bool descending) {
  if (column == sortKey_ && descending == descending_) return;
  sortKey_ = column;
  descending_ = descending;
  if (sorted_) SortRows();
  PropertyChanged();
}

void ListView::PressMove(RowMove move) {
  if (!OnMoveKey) return;
  Fire([this, move] { OnMoveKey(move); });
}

void ListView::ClickColumn(int column) {
  if (OnColumnClick) Fire([this, column] { OnColumnClick(column); });
}

void ListView::CheckByUser(std::size_t row, bool checked) {
  if (row >= rows_.size() || !rows_[row].checked) return;
  ListRow changed = rows_[row];
  changed.checked = checked;
  SetRow(row, std::move(changed));
  if (OnCheck) Fire([this, row] { OnCheck(row); });
}

void ListView::SetRow(std::size_t at, ListRow row) {
  if (rows_.at(at) == row) return;
  rows_[at] = std::move(row);
  if (arrangement_.RowChanged(at)) return Rearranged();
  NoteChanged(at);
  PropertyChanged();
}

// There may be no view that looks.
void ListView::NoteChanged(std::size_t at) {
  if (changedRows_.size() < kMostNoted) return changedRows_.push_back(at);
  changedRows_.clear();
  ++rowsVersion_;
}

void ListView::ArrangeBy(std::optional<ColumnOrder> order) {
  if (order == arrangement_.Order()) return;
  arrangement_.OrderBy(order);
  Rearranged();
}

void ListView::ArrangeByNext(int column) {
  const std::optional<ColumnOrder> order = arrangement_.Order();
  if (!order || order->column != column) return ArrangeBy(ColumnOrder{column, false});
  ArrangeBy(order->descending ? std::nullopt : std::optional(ColumnOrder{column, true}));
}

void ListView::ShowOnly(RowArrangement::Matches matches) {
  arrangement_.ShowOnly(std::move(matches));
  Rearranged();
}

void ListView::Rearranged() {
  std::erase_if(selection_, [this](std::size_t at) { return !PlaceOf(at); });
  changedRows_.clear();
  ++rowsVersion_;
  PropertyChanged();
}

void ListView::SelectByUser(std::vector<std::size_t> rows) {
  Select(std::move(rows));
  if (OnSelect) Fire(OnSelect);
}

void ListView::Select(std::vector<std::size_t> rows) {
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  std::erase_if(rows, [this](std::size_t at) { return !PlaceOf(at); });
  if (rows == selection_) return;
  selection_ = std::move(rows);
  PropertyChanged();
}

}  // namespace pellora
