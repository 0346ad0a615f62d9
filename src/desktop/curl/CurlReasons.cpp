#include "desktop/curl/CurlReasons.h"

#include <curl/curl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace pellora {

namespace {

struct Text {
  long number;
  const char* text;
};

// The numbers of OpenSSL's x509_vfy.h, which libcurl hands through.
constexpr std::array kCertificates{Text{2, "the authority of the certificate is not known"},
                                   Text{9, "the certificate is not valid yet"},
                                   Text{10, "the certificate has expired"},
                                   Text{18, "the certificate is self-signed"},
                                   Text{19, "the authority of the certificate is not known"},
                                   Text{20, "the authority of the certificate is not known"},
                                   Text{21, "the authority of the certificate is not known"},
                                   Text{23, "the certificate has been revoked"},
                                   Text{26, "the certificate is not meant for servers"},
                                   Text{62, "the certificate is for another host"},
                                   Text{64, "the certificate is for another host"}};

constexpr std::array kConnections{
    Text{ECONNREFUSED, "the connection is refused"},  Text{ENETUNREACH, "the network cannot be reached"},
    Text{EHOSTUNREACH, "the host cannot be reached"}, Text{ETIMEDOUT, "the host does not answer"},
    Text{EMFILE, "too many connections are open"},
};

template <std::size_t N>
const char* TextOf(const std::array<Text, N>& texts, long number) {
  for (const Text& text : texts) {
    if (text.number == number) return text.text;
  }
  return nullptr;
}

bool Says(const CurlEnd& end, std::string_view words) { return end.detail.find(words) != std::string::npos; }

// libcurl's own words where nothing better is known.
FetchOutcome OtherOutcome(const CurlEnd& end, FetchEnd kind) {
  return {kind, end.detail.empty() ? curl_easy_strerror(static_cast<CURLcode>(end.code)) : end.detail};
}

FetchOutcome NoConnection(const CurlEnd& end) {
  const char* const known = TextOf(kConnections, end.systemError);
  std::string text = "the host does not answer";
  if (known != nullptr) {
    text = known;
  } else if (end.systemError != 0) {
    text = std::strerror(static_cast<int>(end.systemError));
  }
  if (end.proxied) return {FetchEnd::Proxy, "no connection to the proxy: " + text};
  return {FetchEnd::NoConnect, text};
}

FetchOutcome WrongCertificate(const CurlEnd& end) {
  if (const char* const known = TextOf(kCertificates, end.verification)) {
    return {FetchEnd::NotTrusted, known};
  }
  if (Says(end, "subject name")) return {FetchEnd::NotTrusted, "the certificate is for another host"};
  return OtherOutcome(end, FetchEnd::NotTrusted);
}

FetchOutcome ClosedEarly() { return {FetchEnd::Lost, "the connection was closed before it was secured"}; }

// libcurl has one code for all failures between the connection and the first encrypted byte.
FetchOutcome NoHandshake(const CurlEnd& end) {
  if (TextOf(kCertificates, end.verification) != nullptr) return WrongCertificate(end);
  if (Says(end, "no application protocol")) {
    return {FetchEnd::OtherHttp, "the server does not speak this version of HTTP"};
  }
  for (const char* const closed :
       {"reset by peer", "unexpected eof", "SSL_ERROR_SYSCALL", "SSL_ERROR_ZERO_RETURN", "Broken pipe"}) {
    if (Says(end, closed)) return ClosedEarly();
  }
  if (Says(end, "wrong version number")) return {FetchEnd::NotTrusted, "the server does not speak TLS"};
  for (const char* const old : {"protocol version", "unsupported protocol"}) {
    if (Says(end, old)) return {FetchEnd::NotTrusted, "the server offers TLS below version 1.2 only"};
  }
  return OtherOutcome(end, FetchEnd::NotTrusted);
}

FetchOutcome NoLogin(const CurlEnd& end) {
  if (!end.withKey) return {FetchEnd::NoLogin, "the login is refused"};
  return {FetchEnd::NoLogin, "the key and the login are refused (of RSA keys, newer servers refuse all)"};
}

// With a host key that is known, only its kind is offered to the server.
FetchOutcome NoKeyExchange(const CurlEnd& end) {
  // A server's version and its list of what it can do (RFC 4253, 4.2 and 7.1) take more than this.
  constexpr std::uint64_t kLeastOffer = 128;
  if (end.received < kLeastOffer) return ClosedEarly();
  if (!end.knowsHostKey) return {FetchEnd::Unsupported, "no agreement on a way to encrypt"};
  return {FetchEnd::NotTrusted, "the host has no key of the kind in known_hosts, or no agreement on a way to encrypt"};
}

constexpr int kFtpTooMany = 421;
constexpr int kLoginRequired = 401;  // from a proxy: some say this to a wrong one
constexpr int kProxyLoginRequired = 407;

bool WantsOtherLogin(const CurlEnd& end) {
  if (end.proxyStatus == kProxyLoginRequired || end.proxyStatus == kLoginRequired) return true;
  if (end.code != CURLE_PROXY) return false;
  return end.proxyError == CURLPX_NO_AUTH || end.proxyError == CURLPX_USER_REJECTED;
}

}  // namespace

FetchOutcome OutcomeOf(const CurlEnd& end) {
  if (end.code == CURLE_OK) return {};
  if (end.proxied && WantsOtherLogin(end)) return {FetchEnd::ProxyLogin, "the proxy refuses the login"};
  if (end.proxied && end.proxyStatus / 100 != 2 && end.proxyStatus != 0) {
    return {FetchEnd::Proxy, "the proxy refuses (" + std::to_string(end.proxyStatus) + ")"};
  }
  if (end.status == kFtpTooMany) return {FetchEnd::NoConnect, "the server refuses more connections"};
  if (Says(end, "Failed getting banner")) return ClosedEarly();
  if (Says(end, "Unable to exchange encryption keys")) return NoKeyExchange(end);
  switch (end.code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return {FetchEnd::NoHost, "the name has no address"};
    case CURLE_COULDNT_RESOLVE_PROXY:
      return {FetchEnd::Proxy, "the name of the proxy has no address"};
    case CURLE_PROXY:
      return OtherOutcome(end, FetchEnd::Proxy);
    case CURLE_COULDNT_CONNECT:
      return NoConnection(end);
    case CURLE_OPERATION_TIMEDOUT:
      if (!end.connected) return NoConnection(end);
      return {FetchEnd::Lost, "the server does not answer"};
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return {FetchEnd::Lost, "the connection was lost"};
    case CURLE_SSL_CONNECT_ERROR:
      return NoHandshake(end);
    case CURLE_PEER_FAILED_VERIFICATION:
      return WrongCertificate(end);
    case CURLE_SSL_CACERT_BADFILE:
      return {FetchEnd::NotTrusted, "the file of trusted authorities cannot be read"};
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_USE_SSL_FAILED:
      return OtherOutcome(end, FetchEnd::NotTrusted);
    case CURLE_LOGIN_DENIED:
      return NoLogin(end);
    case CURLE_REMOTE_FILE_NOT_FOUND:
      return {FetchEnd::NotFound, "there is no such file"};
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_FTP_COULDNT_RETR_FILE:
      return {FetchEnd::NotFound, "the file may not be read"};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_NOT_BUILT_IN:
    case CURLE_FTP_COULDNT_USE_REST:
      return OtherOutcome(end, FetchEnd::Unsupported);
    default:
      return OtherOutcome(end, FetchEnd::Other);
  }
}

}  // namespace pellora
