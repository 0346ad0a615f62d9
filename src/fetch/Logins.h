// Logins: what the program's user has answered to servers and proxies that demand a login, in this run and, as far as
// the user wishes, in the desktop's store.
//
// An answer counts for one place: an origin's realm, or a proxy. Whoever waits for it is called, so downloads of one
// place share one question. It is stored only once its server has accepted it. A store that does not answer within 30
// seconds is not used any more, which is said once.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>

#include "async/Task.h"
#include "core/WebAddress.h"
#include "ports/Login.h"
#include "ports/Secrets.h"

namespace pellora {

struct Platform;
struct ProxyServer;

using LoginPlace = SecretPlace;

LoginPlace PlaceOf(const WebAddress& address, const std::string& realm);
LoginPlace PlaceOf(const ProxyServer& proxy);

// For the window in which the user answers.
struct LoginQuestion {
  LoginPlace place;
  std::string reason;        // a sentence
  std::string user;          // proposed
  bool unencrypted = false;  // others on the way can read the password
  std::function<void()> cancelled;
};

class Logins {
 public:
  explicit Logins(const Platform& platform) : platform_(platform) {}

  // Empty if there is none.
  Login GivenFor(const LoginPlace& place) const;
  void Give(const LoginPlace& place, const Login& login, bool remember);
  // Called once, by the next Give for this place.
  void WhenGiven(const LoginPlace& place, std::function<void()> call);

  // What the place makes of a login.
  void Accepted(const LoginPlace& place, const Login& login);
  void Refused(const LoginPlace& place, const Login& login);

  // The store may have a login that it has not yielded yet.
  bool MaySeek(const LoginPlace& place) const;
  // Afterwards GivenFor has what the store has for this user; if empty, for any.
  Task<> Seek(LoginPlace place, std::string user);
  bool CanRemember() const;

  // Set by the App; may be empty.
  std::function<void(LoginQuestion question)> ask;
  std::function<void()> notRemembered;

 private:
  bool StoreAnswers() const;
  Task<> Remember(LoginPlace place, Login login);

  const Platform& platform_;
  std::map<LoginPlace, Login> given_;
  std::multimap<LoginPlace, std::function<void()>> waiting_;
  std::map<LoginPlace, Login> toRemember_;
  std::map<LoginPlace, Login> found_;  // in the store
  std::map<LoginPlace, Login> stale_;  // of these, refused
  std::set<LoginPlace> sought_;
  std::set<LoginPlace> seeking_;
  bool storeFailed_ = false;
  bool failureSaid_ = false;  // that a login could not be stored
};

}  // namespace pellora
