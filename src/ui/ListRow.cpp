#include "ui/ListRow.h"

#include <algorithm>

namespace pellora {

namespace {

unsigned char Folded(char c) { return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

}  // namespace

const std::string& ColumnText(const ListRow& row, int column) {
  static const std::string kNone;
  if (column <= 0) return row.text;
  const auto at = static_cast<std::size_t>(column) - 1;
  return at < row.subItems.size() ? row.subItems[at] : kNone;
}

int CompareTexts(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t at = 0; at < common; ++at) {
    const int difference = Folded(a[at]) - Folded(b[at]);
    if (difference != 0) return difference;
  }
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

}  // namespace pellora
