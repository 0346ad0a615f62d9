#include "mainwin/MetalinkAdds.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/EngineChoice.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"

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

// What the file has of the Metalink's own add. It was fetched, or read, so its time has come.
void Inherit(const WebAdd& given, AddRequest& request) {
  request.folder = request.web.folder = given.folder;
  request.web.handOver = given.handOver;
  request.web.speedLimit = given.speedLimit;
  request.web.startAt = given.startAt;
  request.web.quiet = given.quiet;
  const std::optional<WebAddress> address = ParseWebAddress(request.url);
  if (!address || !address->user.empty()) return;  // it has a login of its own
  request.web.user = given.user;
  request.web.password = given.password;
}

void DropSecrets(AddRequest& request) {
  request.web.handOver.cookies.clear();
  request.web.user.clear();
  request.web.password.clear();
}

bool MayHaveSecretsOf(const std::string& from, const std::string& to) {
  const std::optional<WebAddress> source = ParseWebAddress(from);
  const std::optional<WebAddress> target = ParseWebAddress(to);
  return source && target && SharesSecrets(*source, *target);
}

}  // namespace

std::vector<ListedAdd> ListedAddsOf(const Program& program, const MetalinkFiles& metalink) {
  std::vector<ListedAdd> adds;
  for (const MetalinkFile& listed : metalink.files) {
    MetalinkAdd file = AddOf(listed, metalink.safe);
    PreferWebEngine(program, file);
    ListedAdd& add = adds.emplace_back();
    add.request.url = std::move(file.url);
    add.request.name = std::move(file.name);
    add.request.web = std::move(file.add);
    add.request.web.ofMetalink = true;
    add.size = add.request.web.size;
    Inherit(metalink.add, add.request);
    if (!metalink.url.empty() && !MayHaveSecretsOf(metalink.url, add.request.url)) DropSecrets(add.request);
  }
  if (metalink.url.empty() && !AreOfOneServer(adds)) DropSecrets(adds);
  return adds;
}

bool AreOfOneServer(const std::vector<ListedAdd>& adds) {
  return std::all_of(adds.begin(), adds.end(),
                     [&](const ListedAdd& add) { return MayHaveSecretsOf(adds.front().request.url, add.request.url); });
}

void DropSecrets(std::vector<ListedAdd>& adds) {
  for (ListedAdd& add : adds) DropSecrets(add.request);
}

AddOutcome AddFileUnasked(Program& program, const AddRequest& request) {
  if (LosesChecksum(program, request)) return {0, TextOf(program, WebText::ChecksumLost)};
  return AddWithoutAsking(program, request);
}

bool LosesChecksum(const Program& program, const AddRequest& request) {
  const bool any = request.web.checksum || request.web.pieces;
  return any && ReadAddress(program, request.url).engine == EngineName::Classic;
}

}  // namespace pellora
