#include "fetch/ListSeek.h"

#include <string_view>
#include <utility>

#include "core/ChecksumList.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::uint32_t kLimit = 10'000;  // ms
constexpr std::size_t kMostBytes = std::size_t{1} << 20;

}  // namespace

std::vector<ListPlace> ListPlaces(const WebAddress& file) {
  const std::string_view name = LastPathPart(file);
  if (!IsHttp(file.scheme) || name.empty()) return {};
  WebAddress beside = file;
  beside.query.clear();
  beside.fragment.clear();
  const std::string folder = file.path.substr(0, file.path.size() - name.size());
  std::vector<ListPlace> places;
  beside.path = folder + "SHA256SUMS";
  places.push_back({beside, false});
  beside.path = folder + std::string(name) + ".sha256";
  places.push_back({beside, true});
  return places;
}

ListSeek::ListSeek(Platform& platform, HostMemory& hosts, std::vector<ListPlace> places, std::vector<std::string> names,
                   MakeRequest make)
    : platform_(platform),
      hosts_(hosts),
      places_(std::move(places)),
      names_(std::move(names)),
      make_(std::move(make)),
      limit_(platform, kLimit) {
  limit_.OnTimer = [this] { End(); };
  limit_.SetEnabled(true);
  BeginNext();
}

void ListSeek::BeginNext() {
  EndRequest();
  if (next_ == places_.size()) return End();
  const WebAddress& address = places_[next_++].address;
  list_.clear();
  connection_ = std::make_unique<HostMemory::Connection>(hosts_, OriginOf(address));
  fetch_ = platform_.fetcher->Begin(make_(address), *this);
}

void ListSeek::EndRequest() {
  fetch_.reset();
  connection_.reset();
}

void ListSeek::End() {
  EndRequest();
  limit_.SetEnabled(false);
  over_ = true;
}

void ListSeek::Answered(const FetchAnswer& answer) {
  if (answer.status != 200 || !ListMembers(answer, "Content-Encoding").empty()) BeginNext();
}

void ListSeek::DataArrived(std::unique_ptr<FetchBlock> block) {
  if (list_.size() + block->Bytes().size() > kMostBytes) return BeginNext();
  list_ += block->Bytes();
}

void ListSeek::Ended(FetchEnd end, const std::string&) {
  const bool ofOne = places_[next_ - 1].ofOne;
  for (const std::string& name : names_) {
    if (end != FetchEnd::Whole || found_) break;
    found_ = ofOne ? ListedChecksumOfOne(list_, name) : ListedChecksum(list_, name);
  }
  found_ ? End() : BeginNext();
}

}  // namespace pellora
