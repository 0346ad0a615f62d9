// KnownHosts: what a known_hosts file says of one host (sshd(8), SSH_KNOWN_HOSTS FILE FORMAT).
#pragma once

#include <QByteArray>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

struct KnownKeys {
  // Lines of the same format for this host alone, by its plain name. libcurl asks the server for the kind of key in the
  // first line that may be the host's, and takes any hashed line for that; so the kinds are in order of preference.
  std::string lines;
  std::vector<std::string> revoked;  // keys in Base64
};

// "ssh-ed25519" and such; empty for a kind that cannot be used.
std::string KindOfKey(const QByteArray& key);

// `host` without the brackets of an IPv6 literal.
KnownKeys KeysOf(std::string_view file, const std::string& host, int port);

}  // namespace pellora
