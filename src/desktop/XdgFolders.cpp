#include "desktop/XdgFolders.h"

namespace pellora {

std::vector<std::string> XdgFolders(std::string_view value, std::string_view otherwise) {
  std::string_view rest = value.empty() ? otherwise : value;
  std::vector<std::string> folders;
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    std::string_view folder = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (!folder.starts_with('/')) continue;
    while (folder.ends_with('/')) folder.remove_suffix(1);
    folders.emplace_back(folder);
  }
  return folders;
}

}  // namespace pellora
