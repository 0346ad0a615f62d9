// LoginWindows: the open questions for logins, one window for each place and user that addresses name.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "fetch/Logins.h"

namespace pellora {

class AskLogin;
class Program;
class Window;

class LoginWindows {
 public:
  LoginWindows(Program& program, Logins& logins) : program_(program), logins_(logins) {}

  // A question whose window is open gets it raised; a cancel then counts for both askers.
  void Ask(LoginQuestion question);
  void UnloadAll();
  std::vector<std::shared_ptr<Window>> Windows() const;

 private:
  struct Open {
    std::shared_ptr<AskLogin> window;
    std::vector<std::function<void()>> cancelled;
  };
  void Cancelled(const LoginWish& wish);

  Program& program_;
  Logins& logins_;
  std::map<LoginWish, Open> open_;
};

}  // namespace pellora
