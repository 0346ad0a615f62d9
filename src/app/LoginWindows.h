// LoginWindows: the open questions for logins, one window for each place.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "fetch/Logins.h"

namespace pellora {

class AskLogin;
class Program;

class LoginWindows {
 public:
  LoginWindows(Program& program, Logins& logins) : program_(program), logins_(logins) {}

  // A place whose window is open gets it raised; a cancel then counts for both askers.
  void Ask(LoginQuestion question);
  void UnloadAll();

 private:
  struct Open {
    std::shared_ptr<AskLogin> window;
    std::vector<std::function<void()>> cancelled;
  };
  void Cancelled(const LoginPlace& place);

  Program& program_;
  Logins& logins_;
  std::map<LoginPlace, Open> open_;
};

}  // namespace pellora
