#include "mainwin/MetalinkAdds.h"

#include <algorithm>
#include <utility>

#include "core/EngineChoice.h"

namespace pellora {

namespace {

bool GoesToWeb(const Program& program, const std::string& url) {
  return ReadAddress(program, url).engine == EngineName::Web;
}

void PreferWebEngine(const Program& program, MetalinkAdd& file) {
  std::vector<Mirror>& mirrors = file.add.mirrors;
  const auto web = std::find_if(mirrors.begin(), mirrors.end(),
                                [&](const Mirror& mirror) { return GoesToWeb(program, mirror.url); });
  if (web != mirrors.end() && !GoesToWeb(program, file.url)) std::swap(file.url, web->url);
}

}  // namespace

std::vector<ListedAdd> ListedAddsOf(const Program& program, std::vector<MetalinkAdd> files, bool later) {
  std::vector<ListedAdd> adds;
  for (MetalinkAdd& file : files) {
    PreferWebEngine(program, file);
    ListedAdd& add = adds.emplace_back();
    add.request.url = std::move(file.url);
    add.request.name = std::move(file.name);
    add.request.folder = file.add.folder;
    add.request.web = std::move(file.add);
    add.request.later = later;
    add.size = add.request.web.size;
  }
  return adds;
}

bool LosesChecksum(const Program& program, const AddRequest& request) {
  const bool any = request.web.checksum || request.web.pieces;
  return any && ReadAddress(program, request.url).engine == EngineName::Classic;
}

}  // namespace pellora
