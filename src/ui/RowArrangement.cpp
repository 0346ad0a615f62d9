#include "ui/RowArrangement.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace pellora {

void RowArrangement::OrderBy(std::optional<ColumnOrder> order) {
  order_ = order;
  Rebuild();
}

void RowArrangement::ShowOnly(Matches matches) {
  matches_ = std::move(matches);
  Rebuild();
}

void RowArrangement::Rebuild() {
  shown_.clear();
  figures_.clear();
  placeOf_.clear();
  if (!Active()) return;
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    if (order_) figures_.push_back(Figure(row));
    if (!matches_ || matches_(rows_[row])) shown_.push_back(static_cast<std::uint32_t>(row));
  }
  if (order_) std::sort(shown_.begin(), shown_.end(), [this](auto a, auto b) { return Before(a, b); });
  NumberPlaces();
}

bool RowArrangement::RowChanged(std::size_t row) {
  if (!Active()) return false;
  const std::optional<std::size_t> before = PlaceOf(row);
  if (before) shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(*before));
  if (order_) figures_.at(row) = Figure(row);
  std::optional<std::size_t> after;
  if (!matches_ || matches_(rows_[row])) {
    const auto number = static_cast<std::uint32_t>(row);
    const auto to = std::lower_bound(shown_.begin(), shown_.end(), number,
                                     [this](auto a, auto b) { return order_ ? Before(a, b) : a < b; });
    after = static_cast<std::size_t>(to - shown_.begin());
    shown_.insert(to, number);
  }
  if (before == after) return false;
  NumberPlaces();
  return true;
}

std::optional<std::size_t> RowArrangement::PlaceOf(std::size_t row) const {
  if (row >= rows_.size()) return std::nullopt;
  if (!Active()) return row;
  return placeOf_.at(row) < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(placeOf_[row]));
}

double RowArrangement::Figure(std::size_t row) const {
  return figureOf ? figureOf(rows_[row], order_->column) : std::numeric_limits<double>::quiet_NaN();
}

// Rows without a figure come before those with one. Rows that are alike keep their own order, downwards too.
bool RowArrangement::Before(std::uint32_t a, std::uint32_t b) const {
  const double first = figures_[a];
  const double second = figures_[b];
  int compared = 0;
  if (std::isnan(first) && std::isnan(second)) {
    compared = CompareTexts(ColumnText(rows_[a], order_->column), ColumnText(rows_[b], order_->column));
  } else if (std::isnan(first) || std::isnan(second)) {
    compared = std::isnan(first) ? -1 : 1;
  } else if (first != second) {
    compared = first < second ? -1 : 1;
  }
  if (compared == 0) return a < b;
  return order_->descending ? compared > 0 : compared < 0;
}

void RowArrangement::NumberPlaces() {
  placeOf_.assign(rows_.size(), -1);
  for (std::size_t place = 0; place < shown_.size(); ++place) {
    placeOf_[shown_[place]] = static_cast<std::int32_t>(place);
  }
}

}  // namespace pellora
