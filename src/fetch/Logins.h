// Logins: what the program's user has answered to servers and proxies that demand a login, in this run and, as far as
// the user wishes, in the desktop's store.
//
// An answer counts for one place (an origin's realm, or a proxy) and for the addresses that name its user or none
// there, or those that were asked about. Downloads that wait for it are notified, so that they share one question. It
// is stored only once its server has accepted it. A store that does not answer within 30 seconds is not used any more,
// which is said once.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

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

// A place, and the user whom the address names there; empty: none.
using LoginWish = std::pair<LoginPlace, std::string>;

// For the window in which the user answers.
struct LoginQuestion {
  LoginPlace place;
  std::string named;         // user in the address; may be empty
  std::string reason;        // a sentence
  std::string user;          // proposed
  bool unencrypted = false;  // others on the way can read the password
  std::function<void()> cancelled;
};

class Logins {
 public:
  explicit Logins(const Platform& platform) : platform_(platform) {}

  // Empty if there is none.
  Login GivenFor(const LoginWish& wish) const;
  void Give(const LoginWish& asked, const Login& login, bool remember);
  // Called once, by the next Give that answers this wish.
  void WhenGiven(const LoginWish& wish, std::function<void()> call);

  // What the place makes of a login.
  void Accepted(const LoginPlace& place, const Login& login);
  void Refused(const LoginPlace& place, const Login& login);

  // The store may have a login that it has not yielded yet.
  bool MaySeek(const LoginWish& wish) const;
  // Afterwards GivenFor has what the store has for this user; if empty, for any.
  Task<> Seek(LoginWish wish);
  bool CanRemember() const;

  // Set by the App; may be empty.
  std::function<void(LoginQuestion question)> ask;
  std::function<void()> notRemembered;

 private:
  using Known = std::vector<std::pair<LoginPlace, Login>>;

  bool StoreAnswers() const;
  void DeleteStale(const LoginPlace& place, const Login& accepted, bool another);
  Task<> Remember(LoginPlace place, Login login);

  const Platform& platform_;
  std::map<LoginWish, Login> given_;
  std::multimap<LoginWish, std::function<void()>> waiting_;
  Known toRemember_;
  Known found_;  // in the store
  Known stale_;  // of these, refused
  std::set<LoginWish> sought_;
  std::set<LoginWish> seeking_;
  bool storeFailed_ = false;
  bool failureSaid_ = false;  // that a login could not be stored
};

}  // namespace pellora
