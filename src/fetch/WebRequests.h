// WebRequests: what the requests of one download say besides its bytes: login, cookies, page, proxy, host keys.
//
// The address's own login and cookies go to its origin alone (SharesSecrets). ~/.netrc names logins of other hosts, and
// the environment or the options a proxy: libcurl reads neither. By http a login goes only to a server that has
// demanded one, in the way that it demands; by https at once.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "core/WebAddress.h"
#include "fetch/Challenge.h"
#include "fetch/CookieJar.h"
#include "fetch/HostKeys.h"
#include "fetch/Logins.h"
#include "fetch/Netrc.h"
#include "fetch/ReplyCheck.h"
#include "ports/Fetcher.h"

namespace pellora {

class Program;

class WebRequests {
 public:
  WebRequests(const Program& program, const HostKeys& keys, const Logins& logins)
      : program_(program), keys_(keys), logins_(logins) {}

  // Before the requests of each start; `given` has its login.
  void Begin(const WebAddress& given);
  // A browser's cookies for the given address.
  void TakeHanded(const std::string& cookies);
  // A browser's, in place of Pellora's own; empty: none.
  void TakeUserAgent(std::string userAgent) { userAgent_ = std::move(userAgent); }
  void TakeCookies(const WebAddress& from, const FetchAnswer& answer);

  // The server at this address has demanded a login. False if it has demanded it in ever other ways: then what was sent
  // in the way before is refused as well.
  bool TakeChallenge(const WebAddress& from, const Challenge& challenge);
  LoginPlace PlaceAt(const WebAddress& address) const;  // with the realm of the last challenge
  // This login is not sent there again.
  void TakeRefusal(const LoginPlace& place, const Login& login);
  void ForgetRefusals() { refused_.clear(); }
  // The user whom the download's address names, if that counts there; may be empty.
  std::string UserFor(const WebAddress& address) const;
  bool HasLoginFor(const WebAddress& address) const;
  bool HasOtherProxyLogin(const LoginPlace& proxy) const;

  // `referrer` is the address of a page, or empty; `ifRange` as IfRangeOf has it.
  FetchRequest Make(const WebAddress& address, const AskedFor& asked, const std::string& referrer,
                    const std::string& ifRange) const;

 private:
  Login LoginFor(const WebAddress& address) const;
  Login FirstOf(const WebAddress& address) const;
  std::string ProxyFor(const WebAddress& address) const;
  bool IsUsable(const LoginPlace& place, const Login& login) const;
  const Challenge* ChallengeOf(const WebAddress& address) const;  // null: none so far

  const Program& program_;
  const HostKeys& keys_;
  const Logins& logins_;
  WebAddress given_;
  std::string netrc_;
  std::string userAgent_;
  CookieJar cookies_;
  std::string handed_;                           // cookies that are in the jar
  std::map<std::string, Challenge> challenges_;  // by origin
  std::map<std::string, int> wayChanges_;        // of challenges, by origin, since the start
  std::set<std::pair<LoginPlace, std::pair<std::string, std::string>>> refused_;
};

}  // namespace pellora
