#include "capture/LinkList.h"

#include <algorithm>

#include "core/Ascii.h"

namespace pellora {

std::vector<std::string> LinksToAdd(std::string_view list, const std::function<bool(std::string_view link)>& takes) {
  list = list.substr(0, list.find('\0'));
  std::vector<std::string> links;
  for (std::size_t from = 0; from < list.size();) {
    const std::size_t end = std::min(list.find('\n', from), list.size());
    std::string_view line = list.substr(from, end - from);
    from = end + 1;
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = TrimBlanks(line);
    if (takes(line)) links.emplace_back(line);
  }
  return links;
}

}  // namespace pellora
