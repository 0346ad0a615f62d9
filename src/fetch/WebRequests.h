// WebRequests: what the requests of one download say besides its bytes: login, cookies, page, proxy, host keys.
//
// The address's own login and cookies go to its origin alone (SharesSecrets). ~/.netrc names logins of other hosts, and
// the environment or the options a proxy: libcurl reads neither.
#pragma once

#include <string>

#include "core/WebAddress.h"
#include "fetch/CookieJar.h"
#include "fetch/HostKeys.h"
#include "fetch/Netrc.h"
#include "fetch/ReplyCheck.h"
#include "ports/Fetcher.h"

namespace pellora {

class Program;

class WebRequests {
 public:
  WebRequests(const Program& program, const HostKeys& keys) : program_(program), keys_(keys) {}

  // Before the requests of each start; `given` has its login.
  void Begin(const WebAddress& given);
  // A browser's cookies for the given address.
  void TakeHanded(const std::string& cookies);
  void TakeCookies(const WebAddress& from, const FetchAnswer& answer);

  // `referrer` is the address of a page, or empty; `ifRange` as IfRangeOf has it.
  FetchRequest Make(const WebAddress& address, const AskedFor& asked, const std::string& referrer,
                    const std::string& ifRange) const;

 private:
  NetrcLogin LoginFor(const WebAddress& address) const;
  std::string ProxyFor(const WebAddress& address) const;

  const Program& program_;
  const HostKeys& keys_;
  WebAddress given_;
  std::string netrc_;
  CookieJar cookies_;
  std::string handed_;  // cookies that are in the jar
};

}  // namespace pellora
