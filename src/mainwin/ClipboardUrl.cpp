#include "mainwin/ClipboardUrl.h"

#include <algorithm>

#include "core/Ascii.h"
#include "core/Percent.h"
#include "core/Scheme.h"
#include "core/WebAddress.h"

namespace pellora {

namespace {

bool IsIgnored(std::string_view extension, std::string_view ignored) {
  for (std::size_t at = 0; at <= ignored.size();) {
    const std::size_t comma = std::min(ignored.find(',', at), ignored.size());
    if (EqualsNoCase(ignored.substr(at, comma - at), extension)) return true;
    at = comma + 1;
  }
  return false;
}

}  // namespace

std::string_view TrimCopiedText(std::string_view text) {
  constexpr std::string_view kAround = " \r\n";
  const std::size_t first = text.find_first_not_of(kAround);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kAround) + 1 - first);
}

std::optional<std::string> UrlToAskAbout(std::string_view text, std::string_view ignored) {
  const std::string_view url = TrimCopiedText(text);
  if (!HasLowerCaseScheme(url)) return std::nullopt;
  if (url.ends_with('\\') || url.ends_with('/')) return std::nullopt;
  // The extension is all after the last dot, so an address with a query string is not ignored.
  const std::size_t dot = url.rfind('.');
  // A list of a single extension ignores nothing.
  const bool ignores = dot != std::string_view::npos && ignored.find(',') != std::string_view::npos;
  if (ignores && IsIgnored(url.substr(dot + 1), ignored)) return std::nullopt;
  return std::string(url);
}

std::optional<std::string> NewUrlToAskAbout(std::string_view text, std::string_view ignored) {
  const std::string_view url = TrimCopiedText(text);
  if (!HasLowerCaseNewScheme(url)) return std::nullopt;
  const std::optional<WebAddress> address = ParseWebAddress(url);
  if (!address || !NamesAFile(*address)) return std::nullopt;
  const std::string name = PercentDecoded(LastPathPart(*address));
  if (IsIgnored(std::string_view(name).substr(name.rfind('.') + 1), ignored)) return std::nullopt;
  return std::string(url);
}

}  // namespace pellora
