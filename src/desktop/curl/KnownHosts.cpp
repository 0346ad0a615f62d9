#include "desktop/curl/KnownHosts.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QtEndian>
#include <algorithm>
#include <array>

namespace pellora {

namespace {

constexpr int kDefaultPort = 22;
// Newer servers refuse signatures by "ssh-rsa", the only ones of RSA that libssh2 1.10 knows.
constexpr std::array<std::string_view, 5> kKinds{"ssh-ed25519", "ecdsa-sha2-nistp256", "ecdsa-sha2-nistp384",
                                                 "ecdsa-sha2-nistp521", "ssh-rsa"};

std::string_view NextWord(std::string_view& text) {
  constexpr std::string_view kBlanks = " \t\r";
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(kBlanks)));
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

std::string_view NextPart(std::string_view& text, char separator) {
  const std::string_view part = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), part.size() + 1));
  return part;
}

// "*" matches any characters, "?" one. Goes back to the last "*" only, so the time is bounded by the product.
bool Matches(std::string_view pattern, std::string_view name) {
  std::size_t p = 0;
  std::size_t n = 0;
  std::size_t star = std::string_view::npos;
  std::size_t restart = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || (pattern[p] != '*' && pattern[p] == name[n]))) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      restart = n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++restart;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

QByteArray Bytes(std::string_view text) { return {text.data(), static_cast<qsizetype>(text.size())}; }

// "|1|salt|hash"
bool MatchesHash(std::string_view hashed, std::string_view name) {
  hashed.remove_prefix(3);
  const QByteArray salt = QByteArray::fromBase64(Bytes(NextPart(hashed, '|')));
  const QByteArray hash = QByteArray::fromBase64(Bytes(hashed));
  return QMessageAuthenticationCode::hash(Bytes(name), salt, QCryptographicHash::Sha1) == hash;
}

bool IsFor(std::string_view hosts, std::string_view name) {
  if (hosts.starts_with("|1|")) return MatchesHash(hosts, name);
  bool found = false;
  while (!hosts.empty()) {
    std::string_view pattern = NextPart(hosts, ',');
    const bool excluded = pattern.starts_with('!');
    if (excluded) pattern.remove_prefix(1);
    if (!Matches(pattern, name)) continue;
    if (excluded) return false;
    found = true;
  }
  return found;
}

struct KeyLine {
  std::string_view marker;
  std::string_view hosts;
  std::string_view kind;
  std::string_view key;
};

KeyLine Parsed(std::string_view line) {
  KeyLine parsed;
  parsed.hosts = NextWord(line);
  if (parsed.hosts.starts_with('@')) {
    parsed.marker = parsed.hosts;
    parsed.hosts = NextWord(line);
  }
  parsed.kind = NextWord(line);
  parsed.key = NextWord(line);
  return parsed;
}

}  // namespace

// A key begins with the name of its kind, after the name's length in four bytes (RFC 4253, section 6.6).
std::string KindOfKey(const QByteArray& key) {
  constexpr int kLengthBytes = 4;
  if (key.size() < kLengthBytes) return {};
  const auto length = qFromBigEndian<quint32>(key.constData());
  const std::string_view rest(key.constData() + kLengthBytes, static_cast<std::size_t>(key.size() - kLengthBytes));
  if (length > rest.size()) return {};
  const std::string_view kind = rest.substr(0, length);
  return std::find(kKinds.begin(), kKinds.end(), kind) == kKinds.end() ? std::string() : std::string(kind);
}

KnownKeys KeysOf(std::string_view file, const std::string& host, int port) {
  const std::string name = port == kDefaultPort ? host : "[" + host + "]:" + std::to_string(port);
  KnownKeys keys;
  std::array<std::string, kKinds.size()> byKind;
  while (!file.empty()) {
    const KeyLine line = Parsed(NextPart(file, '\n'));
    if (line.hosts.starts_with('#') || line.key.empty() || !IsFor(line.hosts, name)) continue;
    if (line.marker == "@revoked") keys.revoked.emplace_back(line.key);
    const auto* const kind = std::find(kKinds.begin(), kKinds.end(), line.kind);
    if (!line.marker.empty() || kind == kKinds.end()) continue;
    byKind.at(static_cast<std::size_t>(kind - kKinds.begin()))
        .append(name)
        .append(" ")
        .append(line.kind)
        .append(" ")
        .append(line.key)
        .append("\n");
  }
  for (const std::string& lines : byKind) keys.lines += lines;
  return keys;
}

}  // namespace pellora
