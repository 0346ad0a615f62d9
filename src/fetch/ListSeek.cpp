#include "fetch/ListSeek.h"

#include <string_view>
#include <utility>

#include "core/ChecksumList.h"

namespace pellora {

namespace {

constexpr std::uint32_t kLimit = 10'000;  // ms

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
                   SmallFetch::MakeRequest make)
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
  if (next_ == places_.size()) return End();
  const ListPlace& place = places_[next_++];
  fetch_ = std::make_unique<SmallFetch>(platform_, hosts_, make_, SmallFetch::Redirects::Refused,
                                        [this, &place](std::optional<std::string> list) {
                                          if (list) Read(place, *list);
                                          found_ ? End() : BeginNext();
                                        });
  fetch_->Begin(place.address);
}

void ListSeek::End() {
  fetch_.reset();
  limit_.SetEnabled(false);
  over_ = true;
}

void ListSeek::Read(const ListPlace& place, std::string_view list) {
  for (const std::string& name : names_) {
    if (!found_) found_ = place.ofOne ? ListedChecksumOfOne(list, name) : ListedChecksum(list, name);
  }
}

}  // namespace pellora
