#include "desktop/curl/TlsLimits.h"

#include <openssl/ssl.h>

#include <bit>
#include <cstdint>
#include <string_view>

namespace pellora {

namespace {

// A handshake has ten at most. Later a server sends new keys and tickets now and then.
constexpr std::uintptr_t kMostMessages = 200;

// The number of messages so far is in place of a pointer.
int CountOfMessages() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

// To OpenSSL it then looks as if the server had ended the connection, and it takes nothing more.
void OnMessage(int isSent, int /*version*/, int type, const void* /*bytes*/, std::size_t /*length*/, SSL* ssl,
               void* /*argument*/) {
  if (isSent != 0 || type != SSL3_RT_HANDSHAKE) return;
  const auto count = std::bit_cast<std::uintptr_t>(SSL_get_ex_data(ssl, CountOfMessages())) + 1;
  SSL_set_ex_data(ssl, CountOfMessages(), std::bit_cast<void*>(count));
  if (count > kMostMessages) SSL_set_shutdown(ssl, SSL_get_shutdown(ssl) | SSL_RECEIVED_SHUTDOWN);
}

CURLcode OnContext(CURL* /*easy*/, void* context, void* /*argument*/) {
  SSL_CTX_set_msg_callback(static_cast<SSL_CTX*>(context), &OnMessage);
  return CURLE_OK;
}

}  // namespace

bool TlsIsOpenSsl() {
  static const char* const library = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return library != nullptr && std::string_view(library).starts_with("OpenSSL/");
}

void LimitHandshakeMessages(CURL* easy) {
  // Another library would call with a context of that.
  if (TlsIsOpenSsl()) curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &OnContext);
}

}  // namespace pellora
