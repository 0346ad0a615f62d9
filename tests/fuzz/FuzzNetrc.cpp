#include <string>
#include <vector>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

std::vector<std::string> WordsOf(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

// A file without quotes, comments and macros is a row of words.
NetrcLogin PlainLogin(std::string_view text, const std::string& host, const std::string& user, bool withDefault) {
  const std::vector<std::string> words = WordsOf(text);
  const auto at = [&](std::size_t i) { return i < words.size() ? words[i] : std::string(); };
  for (std::size_t i = 0; i < words.size();) {
    const bool machine = words[i] == "machine";
    if (!machine && words[i] != "default") {
      i += words[i] == "login" || words[i] == "password" || words[i] == "account" ? 2 : 1;
      continue;
    }
    const bool fits = machine ? LowerCase(at(i + 1)) == LowerCase(host) : withDefault;
    i += machine ? 2 : 1;
    NetrcLogin login;
    while (i < words.size() && words[i] != "machine" && words[i] != "default") {
      if (words[i] == "login") login.user = at(i + 1);
      if (words[i] == "password") login.password = at(i + 1);
      i += words[i] == "login" || words[i] == "password" || words[i] == "account" ? 2 : 1;
    }
    const bool usable = !HasControls(login.user) && !HasControls(login.password);
    if (fits && usable && (user.empty() ? !login.user.empty() : login.user == user)) return login;
  }
  return {};
}

}  // namespace

void FuzzNetrc(std::string_view bytes, const NetrcReader& read) {
  Choices choices(bytes);
  const std::uint32_t choice = choices.Byte();
  const std::string host = choice % 2 == 0 ? "site" : "other.example";
  const std::string user = choice / 2 % 2 == 0 ? "" : "bob";
  const bool withDefault = choice / 4 % 2 != 0;
  const std::string text(choices.Rest());
  const AllocationMeter meter;
  const NetrcLogin login = read(text, host, user, withDefault);
  Demand(meter.Bytes() <= 64 * text.size() + 4096, "a file takes memory in proportion to its length");
  Demand(!HasControls(login.user) && !HasControls(login.password), "a login has no control characters");
  Demand(user.empty() || login.user == user || login == NetrcLogin(), "a login is that of the user who was named");
  Demand(!login.user.empty() || login.password.empty() || !user.empty(), "no password is without a user");
  const bool plain = text.find_first_of("\"#") == std::string::npos && text.find("macdef") == std::string::npos;
  if (plain) Demand(login == PlainLogin(text, host, user, withDefault), "plain words mean what they say");
}

}  // namespace pellora
