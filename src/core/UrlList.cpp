#include "core/UrlList.h"

#include <algorithm>

#include "core/Ascii.h"

namespace pellora {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestAddress = 65535;  // bytes; the list file keeps no more

// A scheme and "://" (RFC 3986, section 3.1).
bool BeginsLikeAnAddress(std::string_view line) {
  const std::size_t end = line.find("://");
  if (end == std::string_view::npos || end == 0) return false;
  const std::string_view scheme = line.substr(0, end);
  return std::all_of(scheme.begin(), scheme.end(), [](char c) {
    return (ToLower(c) >= 'a' && ToLower(c) <= 'z') || IsDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

std::string_view Trimmed(std::string_view line) {
  constexpr std::string_view kBlanks = " \t\v\f";
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

// Cuts the next line off the front, with its end.
std::string_view NextLine(std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

}  // namespace

UrlListReading ReadUrlList(std::string_view text) {
  UrlListReading reading;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  text = text.substr(0, text.find('\0'));
  if (text.size() > kLongestUrlList) {
    text = text.substr(0, text.find_last_of("\r\n", kLongestUrlList) + 1);  // no line that is cut
    reading.cut = true;
  }
  while (!text.empty()) {
    const std::string_view line = Trimmed(NextLine(text));
    const std::string_view address = Trimmed(line.substr(0, line.find('\t')));
    if (address.size() > kLongestAddress || !BeginsLikeAnAddress(address)) continue;
    if (reading.addresses.size() == kMostAddresses) {
      reading.cut = true;
      break;
    }
    reading.addresses.emplace_back(address);
  }
  return reading;
}

}  // namespace pellora
