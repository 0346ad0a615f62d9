// Login: a user name and its password.
#pragma once

#include <string>

namespace pellora {

struct Login {
  std::string user;
  std::string password;
  bool operator==(const Login&) const = default;
};

}  // namespace pellora
