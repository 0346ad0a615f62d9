#include "SimSecrets.h"

#include <utility>

#include "SimFaults.h"

namespace pellora {

namespace {

constexpr std::uint64_t kAnswers = ~std::uint64_t{1};  // a separate source
constexpr SimLoop::Micros kDelay = 30 * SimLoop::kMillisecond;

}  // namespace

void SimSecrets::Answer(std::function<void()> answer) {
  if (!silent) loop_.Arrive(kAnswers, loop_.Time() + kDelay, std::move(answer));
}

void SimSecrets::LookUp(const SecretPlace& place, const std::string& user,
                        std::function<void(std::optional<Login> login)> answered) {
  ++lookUps;
  std::optional<Login> found;
  if (!SimFails("secret look-up", place.host) && !absent) {
    for (const Login& login : stored[place]) {
      if (!found && (user.empty() || login.user == user)) found = login;
    }
  }
  Answer([answered = std::move(answered), found] { answered(found); });
}

void SimSecrets::Store(const SecretPlace& place, const Login& login, std::function<void(bool stored)> answered) {
  const bool fails = SimFails("secret store", place.host) || absent;
  if (!fails && !silent) {
    Delete(place, login.user);
    stored[place].push_back(login);
  }
  Answer([answered = std::move(answered), fails] { answered(!fails); });
}

void SimSecrets::Delete(const SecretPlace& place, const std::string& user) {
  std::erase_if(stored[place], [&](const Login& login) { return login.user == user; });
}

}  // namespace pellora
