#include "fetch/DigestHeaders.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "core/Ascii.h"
#include "core/TextPieces.h"
#include "fetch/ReplyHeads.h"

namespace pellora {

namespace {

int Base64Value(char c) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::size_t at = kAlphabet.find(c);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

// The bytes as hexadecimal digits; empty for what is no Base64. Missing "=" are forgiven (RFC 8941, section 4.2.7).
std::string HexOfBase64(std::string_view text) {
  std::size_t length = text.size();
  while (length > 0 && text.size() - length < 2 && text[length - 1] == '=') --length;
  std::string hex;
  std::uint32_t bits = 0;
  unsigned count = 0;
  for (const char c : text.substr(0, length)) {
    const int value = Base64Value(c);
    if (value < 0) return {};
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    for (count += 6; count >= 4; count -= 4) hex += "0123456789abcdef"[(bits >> (count - 4)) & 15U];
  }
  if (hex.size() % 2 != 0) hex.pop_back();  // bits beyond the last byte
  return hex;
}

// Of RFC 3230 and RFC 9530, in any case.
std::optional<ChecksumKind> KindOf(std::string_view algorithm) {
  struct Known {
    std::string_view name;
    ChecksumKind kind;
  };
  constexpr std::array kKnown = {Known{"md5", ChecksumKind::Md5}, Known{"sha", ChecksumKind::Sha1},
                                 Known{"sha-256", ChecksumKind::Sha256}, Known{"sha-512", ChecksumKind::Sha512}};
  for (const Known& known : kKnown) {
    if (EqualsNoCase(algorithm, known.name)) return known.kind;
  }
  return {};
}

std::optional<Checksum> ChecksumOf(std::string_view algorithm, std::string_view base64) {
  const std::optional<ChecksumKind> kind = KindOf(algorithm);
  if (!kind) return {};
  std::string hex = HexOfBase64(base64);
  if (hex.size() != HexDigitsOf(*kind)) return {};
  return Checksum{*kind, std::move(hex)};
}

// A dictionary's reader, as far as members with byte sequences need it. Each function cuts what it reads off the front.
class Dictionary {
 public:
  explicit Dictionary(std::string_view text) : text_(text) {}

  // Those of known kinds, with their byte sequences; nothing if the text is no dictionary.
  std::optional<std::vector<std::pair<std::string_view, std::string_view>>> Read() {
    std::vector<std::pair<std::string_view, std::string_view>> members;
    text_ = Trimmed(text_, kHttpBlanks);
    while (!text_.empty()) {
      const std::string_view key = Key();
      if (key.empty()) return {};
      std::string_view bytes;
      if (Takes('=') && !Value(bytes)) return {};
      if (!Parameters()) return {};
      if (KindOf(key)) {
        // The last of several with one key counts.
        std::erase_if(members, [&](const auto& member) { return member.first == key; });
        members.emplace_back(key, bytes);
      }
      Skip();
      if (text_.empty()) break;
      if (!Takes(',')) return {};
      Skip();
      if (text_.empty()) return {};
    }
    return members;
  }

 private:
  static bool IsKey(char c, bool first) {
    const bool letter = c >= 'a' && c <= 'z';
    return letter || c == '*' || (!first && (IsDigit(c) || c == '_' || c == '-' || c == '.'));
  }
  bool Takes(char c) {
    if (!text_.starts_with(c)) return false;
    text_.remove_prefix(1);
    return true;
  }
  void Skip() { text_.remove_prefix(std::min(text_.find_first_not_of(kHttpBlanks), text_.size())); }
  std::string_view Cut(std::size_t length) {
    const std::string_view cut = text_.substr(0, length);
    text_.remove_prefix(cut.size());
    return cut;
  }
  std::string_view Key() {
    std::size_t length = 0;
    while (length < text_.size() && IsKey(text_[length], length == 0)) ++length;
    return Cut(length);
  }
  bool Quoted() {
    while (!text_.empty()) {
      const char c = text_.front();
      text_.remove_prefix(1);
      if (c == '"') return true;
      if (c == '\\' && !text_.empty()) text_.remove_prefix(1);
    }
    return false;
  }
  // Numbers, tokens and truth values have none of these characters, and lists are no member of such a header.
  bool Value(std::string_view& bytes) {
    if (Takes('"')) return Quoted();
    if (Takes(':')) {
      bytes = Cut(text_.find(':'));
      return Takes(':');
    }
    return !Cut(std::min(text_.find_first_of(",; \t\":()"), text_.size())).empty();
  }
  bool Parameters() {
    while (Takes(';')) {
      Skip();
      std::string_view unused;
      if (Key().empty() || (Takes('=') && !Value(unused))) return false;
    }
    return true;
  }

  std::string_view text_;
};

bool IsCoded(const FetchAnswer& answer) {
  const std::vector<std::string> codings = ListMembers(answer, "Content-Encoding");
  return std::any_of(codings.begin(), codings.end(), [](const std::string& coding) { return coding != "identity"; });
}

// Lines of one name are one value (RFC 9110, section 5.3).
std::string Joined(const FetchAnswer& answer, std::string_view name) {
  std::string joined;
  for (const std::string_view value : HeadersOf(answer, name)) joined.append(joined.empty() ? "" : ", ").append(value);
  return joined;
}

}  // namespace

std::vector<Checksum> ReadReprDigest(std::string_view value) {
  std::vector<Checksum> checksums;
  const auto members = Dictionary(value).Read();
  if (!members) return {};
  for (const auto& [key, bytes] : *members) {
    if (const std::optional<Checksum> checksum = ChecksumOf(key, bytes)) checksums.push_back(*checksum);
  }
  return checksums;
}

std::vector<Checksum> ReadDigest(std::string_view value) {
  std::vector<Checksum> checksums;
  while (!value.empty()) {
    const std::size_t comma = value.find(',');
    const std::string_view member = value.substr(0, comma);
    value.remove_prefix(comma == std::string_view::npos ? value.size() : comma + 1);
    const std::size_t equals = member.find('=');
    if (equals == std::string_view::npos) continue;
    const std::optional<Checksum> checksum =
        ChecksumOf(Trimmed(member.substr(0, equals), kHttpBlanks), Trimmed(member.substr(equals + 1), kHttpBlanks));
    if (checksum) checksums.push_back(*checksum);
  }
  return checksums;
}

std::optional<Checksum> ChecksumIn(const FetchAnswer& answer) {
  if ((answer.status != 200 && answer.status != 206) || IsCoded(answer)) return {};
  StrongestChecksum strongest;
  const auto take = [&](const std::vector<Checksum>& checksums) {
    for (const Checksum& checksum : checksums) strongest.Take(checksum);
  };
  take(ReadReprDigest(Joined(answer, "Repr-Digest")));
  take(ReadDigest(Joined(answer, "Digest")));
  if (answer.status != 200) return strongest.Result();
  take(ReadReprDigest(Joined(answer, "Content-Digest")));
  for (const std::string_view value : HeadersOf(answer, "Content-MD5")) {
    if (const std::optional<Checksum> md5 = ChecksumOf("md5", value)) strongest.Take(*md5);
  }
  return strongest.Result();
}

}  // namespace pellora
