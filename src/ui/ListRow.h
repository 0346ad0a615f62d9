// ListRow: one row of a ListView.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// `record` and `serial` identify its record, whatever its key.
struct ListRow {
  std::string key;
  std::string text;
  std::string icon;
  std::vector<std::string> subItems;
  std::int16_t record = 0;
  std::uint32_t serial = 0;
  std::string toolTip{};          // of the whole row
  std::optional<bool> checked{};  // its check mark; none: it has no box for one
  bool operator==(const ListRow&) const = default;
};

// `column` counts from 0; "" for one that the row does not have.
const std::string& ColumnText(const ListRow& row, int column);

// Below 0, 0 or above: `a` sorts before `b`, is equal, or sorts after it. By bytes, ignoring ASCII case unless they
// differ in nothing else; independent of the locale.
int CompareTexts(std::string_view a, std::string_view b);

}  // namespace pellora
