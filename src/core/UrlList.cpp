#include "core/UrlList.h"

#include <algorithm>

#include "core/Ascii.h"
#include "core/TextPieces.h"

namespace pellora {

namespace {

constexpr std::string_view kBlanks = " \t\v\f";
constexpr std::size_t kLongestAddress = 65535;  // bytes; the list file keeps no more

// A scheme and "://" (RFC 3986, section 3.1), or a file's URL without a host (RFC 8089, section 2).
bool BeginsLikeAnAddress(std::string_view line) {
  if (StartsWithNoCase(line, "file:/")) return true;
  const std::size_t end = line.find("://");
  if (end == std::string_view::npos || end == 0) return false;
  const std::string_view scheme = line.substr(0, end);
  return std::all_of(scheme.begin(), scheme.end(), [](char c) {
    return (ToLower(c) >= 'a' && ToLower(c) <= 'z') || IsDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

}  // namespace

UrlListReading ReadUrlList(std::string_view text) {
  UrlListReading reading;
  text = WithoutByteOrderMark(text);
  text = text.substr(0, text.find('\0'));
  if (text.size() > kLongestUrlList) {
    text = text.substr(0, text.find_last_of("\r\n", kLongestUrlList) + 1);  // no line that is cut
    reading.cut = true;
  }
  while (!text.empty()) {
    const std::string_view line = Trimmed(CutAt(text, "\r\n"), kBlanks);
    const std::string_view address = Trimmed(line.substr(0, line.find('\t')), kBlanks);
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
