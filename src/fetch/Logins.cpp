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

Login Logins::GivenFor(const LoginWish& wish) const {
  const auto found = given_.find(wish);
  return found == given_.end() ? Login() : found->second;
}

void Logins::Give(const LoginWish& asked, const Login& login, bool remember) {
  const LoginPlace& place = asked.first;
  given_[asked] = given_[{place, login.user}] = login;
  given_.try_emplace({place, {}}, login);
  std::erase_if(toRemember_, [&](const auto& one) { return one.first == place && one.second.user == login.user; });
  if (remember) toRemember_.emplace_back(place, login);
  std::vector<std::function<void()>> calls;
  for (const std::string& user : std::set<std::string>{asked.second, login.user, {}}) {
    const auto [first, last] = waiting_.equal_range({place, user});
    for (auto waiting = first; waiting != last; ++waiting) calls.push_back(std::move(waiting->second));
    waiting_.erase(first, last);
  }
  for (const auto& call : calls) call();
}

void Logins::WhenGiven(const LoginWish& wish, std::function<void()> call) { waiting_.emplace(wish, std::move(call)); }

// A refused login leaves the store when its user has another, or another user's is to be kept in its place.
void Logins::DeleteStale(const LoginPlace& place, const Login& accepted, bool another) {
  std::erase_if(stale_, [&](const auto& stale) {
    if (stale.first != place || (stale.second.user != accepted.user && !another)) return false;
    const bool replaced = stale.second != accepted;  // else the refusal has passed
    if (replaced && platform_.secrets != nullptr) platform_.secrets->Delete(place, stale.second.user);
    return true;
  });
}

void Logins::Accepted(const LoginPlace& place, const Login& login) {
  const bool remembers = std::erase(toRemember_, std::pair(place, login)) > 0;
  DeleteStale(place, login, remembers);
  if (remembers) platform_.tasks.Spawn(Remember(place, login));
}

void Logins::Refused(const LoginPlace& place, const Login& login) {
  std::erase_if(given_, [&](const auto& one) { return one.first.first == place && one.second == login; });
  std::erase(toRemember_, std::pair(place, login));
  if (std::erase(found_, std::pair(place, login)) > 0) stale_.emplace_back(place, login);
}

bool Logins::StoreAnswers() const { return platform_.secrets != nullptr && !storeFailed_; }

bool Logins::CanRemember() const { return StoreAnswers(); }

bool Logins::MaySeek(const LoginWish& wish) const {
  return StoreAnswers() && (!sought_.contains(wish) || seeking_.contains(wish));
}

Task<> Logins::Seek(LoginWish wish) {
  if (!sought_.insert(wish).second) {
    std::function<bool()> over = [this, wish] { return !seeking_.contains(wish); };
    co_await platform_.tasks.Until(std::move(over));
    co_return;
  }
  seeking_.insert(wish);
  const auto answer = std::make_shared<Awaited<std::optional<Login>>>();
  platform_.secrets->LookUp(wish.first, wish.second, [answer](std::optional<Login> login) {
    answer->there = true;
    answer->value = std::move(login);
  });
  std::function<bool()> over = Within(platform_, answer);
  co_await platform_.tasks.Until(std::move(over));
  seeking_.erase(wish);
  if (!answer->there) storeFailed_ = true;
  if (!answer->value) {
    sought_.erase(wish);
    co_return;
  }
  found_.emplace_back(wish.first, *answer->value);
  // Unless the user was faster.
  given_.emplace(wish, *answer->value);
  given_.try_emplace(LoginWish(wish.first, answer->value->user), *answer->value);
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
