// EnvironmentProxy: the proxy that the user's environment names for an address.
//
// "http_proxy", "https_proxy", "ftp_proxy" (ftps too), else "all_proxy"; in capitals where there is none in small
// letters, but never HTTP_PROXY, which a request to a CGI program can set. "no_proxy" excepts hosts: a list, separated
// by commas or blanks, of names, which stand for the names below them too, and of addresses, each with a port or
// without;
// "*" alone excepts all.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/WebAddress.h"

namespace pellora {

using Variables = std::function<std::string(const std::string& name)>;

// As a URL; empty: none. What is no URL of a proxy is not left out, since that would mean a direct connection.
std::string EnvironmentProxy(const WebAddress& to, const Variables& variable);

bool IsExcepted(std::string_view noProxy, const WebAddress& to);

}  // namespace pellora
