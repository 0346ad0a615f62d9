#include "fetch/Logins.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "async/TaskLoop.h"
#include "core/ProxyServer.h"
#include "ports/Clock.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr std::uint32_t kStoreWithin = 30'000;  // ms

template <class Value>
struct Awaited {
  bool there = false;
  Value value{};
};

// True once it is there, or too late.
template <class Value>
std::function<bool()> Within(const Platform& platform, std::shared_ptr<Awaited<Value>> answer) {
  return [&platform, answer = std::move(answer), began = platform.clock.TickCount()] {
    return answer->there || platform.clock.TickCount() - began >= kStoreWithin;
  };
}

}  // namespace

LoginPlace PlaceOf(const WebAddress& address, const std::string& realm) {
  return {std::string(SchemeName(address.scheme)), address.host, address.port, realm};
}

LoginPlace PlaceOf(const ProxyServer& proxy) { return {"proxy", proxy.host, proxy.port, {}}; }

Login Logins::GivenFor(const LoginPlace& place) const {
  const auto found = given_.find(place);
  return found == given_.end() ? Login() : found->second;
}

void Logins::Give(const LoginPlace& place, const Login& login, bool remember) {
  given_[place] = login;
  toRemember_.erase(place);
  if (remember) toRemember_[place] = login;
  const auto [first, last] = waiting_.equal_range(place);
  std::vector<std::function<void()>> calls;
  for (auto waiting = first; waiting != last; ++waiting) calls.push_back(std::move(waiting->second));
  waiting_.erase(first, last);
  for (const auto& call : calls) call();
}

void Logins::WhenGiven(const LoginPlace& place, std::function<void()> call) {
  waiting_.emplace(place, std::move(call));
}

void Logins::Accepted(const LoginPlace& place, const Login& login) {
  const auto wish = toRemember_.find(place);
  const auto stale = stale_.find(place);
  if (stale != stale_.end() && (stale->second.user == login.user || wish != toRemember_.end())) {
    const bool replaced = stale->second != login;  // else the refusal has passed
    if (replaced && platform_.secrets != nullptr) platform_.secrets->Delete(place, stale->second.user);
    stale_.erase(stale);
  }
  if (wish == toRemember_.end() || wish->second != login) return;
  toRemember_.erase(wish);
  platform_.tasks.Spawn(Remember(place, login));
}

void Logins::Refused(const LoginPlace& place, const Login& login) {
  const auto isIt = [&](const auto& entry) { return entry.first == place && entry.second == login; };
  std::erase_if(given_, isIt);
  std::erase_if(toRemember_, isIt);
  if (std::erase_if(found_, isIt) > 0) stale_[place] = login;
}

bool Logins::StoreAnswers() const { return platform_.secrets != nullptr && !storeFailed_; }

bool Logins::CanRemember() const { return StoreAnswers(); }

bool Logins::MaySeek(const LoginPlace& place) const {
  return StoreAnswers() && (!sought_.contains(place) || seeking_.contains(place));
}

Task<> Logins::Seek(LoginPlace place, std::string user) {
  if (!sought_.insert(place).second) {
    std::function<bool()> over = [this, place] { return !seeking_.contains(place); };
    co_await platform_.tasks.Until(std::move(over));
    co_return;
  }
  seeking_.insert(place);
  const auto answer = std::make_shared<Awaited<std::optional<Login>>>();
  platform_.secrets->LookUp(place, user, [answer](std::optional<Login> login) {
    answer->there = true;
    answer->value = std::move(login);
  });
  std::function<bool()> over = Within(platform_, answer);
  co_await platform_.tasks.Until(std::move(over));
  seeking_.erase(place);
  if (!answer->there) storeFailed_ = true;
  if (!answer->value) {
    sought_.erase(place);
    co_return;
  }
  found_[place] = *answer->value;
  given_.emplace(place, *answer->value);  // unless the user was faster
}

Task<> Logins::Remember(LoginPlace place, Login login) {
  const auto answer = std::make_shared<Awaited<bool>>();
  if (StoreAnswers()) {
    platform_.secrets->Store(place, login, [answer](bool stored) {
      answer->there = true;
      answer->value = stored;
    });
    std::function<bool()> over = Within(platform_, answer);
    co_await platform_.tasks.Until(std::move(over));
  }
  if (answer->value) co_return;
  storeFailed_ = true;
  if (std::exchange(failureSaid_, true)) co_return;
  if (notRemembered) notRemembered();
}

}  // namespace pellora
