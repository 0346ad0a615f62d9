#include "mainwin/MetalinkAdds.h"

#include <utility>

namespace pellora {

std::vector<ListedAdd> ListedAddsOf(std::vector<MetalinkAdd> files, bool later) {
  std::vector<ListedAdd> adds;
  for (MetalinkAdd& file : files) {
    ListedAdd& add = adds.emplace_back();
    add.request.url = std::move(file.url);
    add.request.name = std::move(file.name);
    add.request.web = std::move(file.add);
    add.request.later = later;
    add.size = add.request.web.size;
  }
  return adds;
}

}  // namespace pellora
