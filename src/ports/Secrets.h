// Secrets: the desktop's store of passwords.
//
// Each call returns at once. Its answer is an event of the gate, never inside the call, and comes once or never: a
// store may wait for the user to unlock it.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ports/Login.h"

namespace pellora {

// What a login is for.
struct SecretPlace {
  std::string scheme;  // "https", ...; "proxy" for every proxy
  std::string host;
  std::uint16_t port = 0;
  std::string realm;  // of http and https; may be empty
  auto operator<=>(const SecretPlace&) const = default;
};

class Secrets {
 public:
  virtual ~Secrets() = default;

  // Nothing if there is none, or no store. `user` empty: of any user.
  virtual void LookUp(const SecretPlace& place, const std::string& user,
                      std::function<void(std::optional<Login> login)> answered) = 0;
  // In place of what is stored for the same place and user.
  virtual void Store(const SecretPlace& place, const Login& login, std::function<void(bool stored)> answered) = 0;
  virtual void Delete(const SecretPlace& place, const std::string& user) = 0;
};

}  // namespace pellora
