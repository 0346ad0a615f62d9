#include "transfer/RedirectTarget.h"

#include <algorithm>

namespace pellora {

RedirectTarget TargetOfRedirect(std::string_view location) {
  const std::size_t slashes = location.find("//");
  const std::size_t start = slashes == std::string_view::npos ? 1 : slashes + 2;
  const std::string_view text = location.substr(std::min(start, location.size()));
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return {std::string(text), "/", ""};
  const std::string_view path = text.substr(slash);
  return {std::string(text.substr(0, slash)), std::string(path), std::string(path.substr(path.rfind('/') + 1))};
}

}  // namespace pellora
