// TlsLimits: what a server may make OpenSSL do within one call.
#pragma once

#include <curl/curl.h>

namespace pellora {

// A libcurl may have been built with another library.
bool TlsIsOpenSsl();

// Connections that the handle opens end when their server has sent more messages of handshakes than any needs. OpenSSL
// skips some of them ("HelloRequest") and reads on: a server that sends nothing else would never let it return.
void LimitHandshakeMessages(CURL* easy);

}  // namespace pellora
