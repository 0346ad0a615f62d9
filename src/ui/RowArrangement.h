// RowArrangement: which rows of a list are shown, and in which order. The rows themselves keep their order and their
// numbers; the order of one column and the rows that match a filter are a matter of what is shown.
//
// A place is where a shown row is, from 0. Without a column and a filter the place of a row is its number, and nothing
// is computed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ui/ListRow.h"

namespace pellora {

struct ColumnOrder {
  int column = 0;
  bool descending = false;
  bool operator==(const ColumnOrder&) const = default;
};

class RowArrangement {
 public:
  // What a row is sorted by; NaN for a column that is sorted by its text.
  using FigureOf = std::function<double(const ListRow& row, int column)>;
  using Matches = std::function<bool(const ListRow& row)>;

  // `rows` must outlive it.
  explicit RowArrangement(const std::vector<ListRow>& rows) : rows_(rows) {}

  FigureOf figureOf;  // set once; empty: all columns are sorted by their texts

  void OrderBy(std::optional<ColumnOrder> order);  // none: the rows' own order
  void ShowOnly(Matches matches);                  // empty: all rows
  const std::optional<ColumnOrder>& Order() const { return order_; }
  bool Active() const { return order_.has_value() || matches_ != nullptr; }

  // The rows were replaced.
  void Rebuild();
  // Row `row` was changed. True if another place or another set of rows follows.
  bool RowChanged(std::size_t row);

  std::size_t Count() const { return Active() ? shown_.size() : rows_.size(); }
  std::size_t RowAt(std::size_t place) const { return Active() ? shown_.at(place) : place; }
  std::optional<std::size_t> PlaceOf(std::size_t row) const;
  bool Shows(std::size_t row) const { return PlaceOf(row).has_value(); }

 private:
  double Figure(std::size_t row) const;
  bool Before(std::uint32_t a, std::uint32_t b) const;
  void NumberPlaces();

  const std::vector<ListRow>& rows_;
  std::optional<ColumnOrder> order_;
  Matches matches_;
  std::vector<double> figures_;        // by row, while there is an order
  std::vector<std::uint32_t> shown_;   // by place
  std::vector<std::int32_t> placeOf_;  // by row; -1: hidden
};

}  // namespace pellora
