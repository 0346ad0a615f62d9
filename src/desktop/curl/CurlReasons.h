// CurlReasons: what the end of a transfer means, from libcurl's result and all that it reports beside.
#pragma once

#include <cstdint>
#include <string>

#include "desktop/curl/FetchChannel.h"

namespace pellora {

struct CurlEnd {
  int code = 0;  // a CURLcode
  std::string scheme;
  bool proxied = false;
  bool connected = false;
  bool knowsHostKey = false;   // sftp
  bool withKey = false;        // a private key was offered
  std::uint64_t received = 0;  // bytes of an sftp server
  long systemError = 0;        // an errno of the connection
  long verification = 0;       // OpenSSL's result of the certificate's check; 0: right
  long proxyStatus = 0;        // of the reply to CONNECT
  long proxyError = 0;         // a CURLproxycode: what a SOCKS proxy said
  long status = 0;             // of the last reply of an ftp server
  std::string detail;          // libcurl's words
};

FetchOutcome OutcomeOf(const CurlEnd& end);

}  // namespace pellora
