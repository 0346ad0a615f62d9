#include "fetch/SmallFetch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

constexpr std::uint32_t kLimit = 10'000;  // ms
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr int kMostRedirectsOfASmallOne = 5;

}  // namespace

SmallFetch::SmallFetch(Platform& platform, HostMemory& hosts, MakeRequest make, Redirects redirects, Done done)
    : platform_(platform),
      hosts_(hosts),
      make_(std::move(make)),
      redirects_(redirects),
      done_(std::move(done)),
      limit_(platform, kLimit) {
  limit_.OnTimer = [this] { End(std::nullopt); };
}

void SmallFetch::Begin(const WebAddress& address) {
  limit_.SetEnabled(true);
  Request(address);
}

void SmallFetch::Request(const WebAddress& address) {
  fetch_.reset();
  address_ = address;
  document_.clear();
  connection_ = std::make_unique<HostMemory::Connection>(hosts_, OriginOf(address));
  fetch_ = platform_.fetcher->Begin(make_(address), *this);
}

void SmallFetch::End(std::optional<std::string> document) {
  limit_.SetEnabled(false);
  fetch_.reset();
  connection_.reset();
  const Done done = done_;  // it may destroy this
  done(std::move(document));
}

// True if another request is under way.
bool SmallFetch::Follows(const FetchAnswer& answer) {
  if (redirects_ == Redirects::Refused || !IsRedirect(answer.status)) return false;
  const ResolvedRedirect target = ResolveRedirect(address_, HeaderOf(answer, "Location"));
  const bool good = target.fault == RedirectFault::None && IsHttp(target.address.scheme);
  if (!good || ++redirected_ > kMostRedirectsOfASmallOne) return false;
  Request(target.address);
  return true;
}

void SmallFetch::Answered(const FetchAnswer& answer) {
  if (Follows(answer)) return;
  if (answer.status != 200 || !ListMembers(answer, "Content-Encoding").empty()) End(std::nullopt);
}

void SmallFetch::DataArrived(std::unique_ptr<FetchBlock> block) {
  if (document_.size() + block->Bytes().size() > kMostBytes) return End(std::nullopt);
  document_ += block->Bytes();
}

void SmallFetch::Ended(FetchEnd end, const std::string&) {
  End(end == FetchEnd::Whole ? std::optional(std::move(document_)) : std::nullopt);
}

}  // namespace pellora
