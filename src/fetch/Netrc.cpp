#include "fetch/Netrc.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/Ascii.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr std::uint64_t kLongestNetrc = std::uint64_t{1} << 20;
constexpr std::string_view kBlanks = " \t\r\n";

class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  std::optional<std::string> Next() {
    SkipBlanks();
    if (rest_.empty()) return std::nullopt;
    if (rest_.front() == '"') return Quoted();
    const std::string_view word = rest_.substr(0, rest_.find_first_of(kBlanks));
    rest_.remove_prefix(word.size());
    return std::string(word);
  }
  // A word that begins an entry or a part of it.
  std::optional<std::string> NextKeyword() {
    for (SkipBlanks(); rest_.starts_with('#'); SkipBlanks()) {
      rest_.remove_prefix(std::min(rest_.size(), rest_.find('\n')));
    }
    return Next();
  }
  // Up to an empty line. In one pass: there may be a macro in every line.
  void SkipMacro() {
    rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
    while (!rest_.empty() && !rest_.starts_with("\n\n") && !rest_.starts_with("\n\r\n")) {
      rest_.remove_prefix(std::min(rest_.find('\n', 1), rest_.size()));
    }
  }

 private:
  void SkipBlanks() { rest_.remove_prefix(std::min(rest_.size(), rest_.find_first_not_of(kBlanks))); }
  std::string Quoted() {
    std::string word;
    std::size_t at = 1;
    for (; at < rest_.size() && rest_[at] != '"'; ++at) {
      const bool escaped = rest_[at] == '\\' && at + 1 < rest_.size();
      word += escaped ? Escaped(rest_[++at]) : rest_[at];
    }
    rest_.remove_prefix(std::min(rest_.size(), at + 1));
    return word;
  }
  static char Escaped(char c) { return c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c; }

  std::string_view rest_;
};

struct Entry {
  bool fits = false;
  bool hasUser = false;
  NetrcLogin login;
};

bool IsFor(const Entry& entry, std::string_view user) {
  const bool usable = !HasControls(entry.login.user) && !HasControls(entry.login.password);
  return entry.fits && usable && (user.empty() ? !entry.login.user.empty() : entry.login.user == user);
}

}  // namespace

NetrcLogin LoginIn(std::string_view netrc, std::string_view host, std::string_view user, bool withDefault) {
  Words words(netrc);
  Entry entry;
  for (;;) {
    const std::optional<std::string> keyword = words.NextKeyword();
    const bool begins = keyword == "machine" || keyword == "default";
    if ((!keyword || begins) && IsFor(entry, user)) return entry.login;
    if (!keyword) return {};
    if (begins) {
      entry = {};
      entry.fits = *keyword == "default" ? withDefault : EqualsNoCase(words.Next().value_or(""), host);
    } else if (*keyword == "login") {
      entry.login.user = words.Next().value_or("");
    } else if (*keyword == "password") {
      entry.login.password = words.Next().value_or("");
    } else if (*keyword == "account") {
      (void)words.Next();
    } else if (*keyword == "macdef") {
      words.SkipMacro();
    }
  }
}

std::string ReadNetrc(const Platform& platform) {
  const std::string path = platform.machine.HomeFolder() + "/.netrc";
  std::string content;
  Skip([&] {
    if (!platform.files.Exists(path)) return;
    const std::unique_ptr<File> file = platform.files.OpenForReading(path);
    const std::uint64_t length = file->Length();
    if (!file->IsPrivate() || length > kLongestNetrc) return;
    content.resize(static_cast<std::size_t>(length));
    content.resize(file->ReadAt(0, content));
  });
  return content;
}

}  // namespace pellora
