#include <algorithm>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

// The lines of a text, however they end.
std::vector<std::string> LinesOf(std::string text) {
  std::replace(text.begin(), text.end(), '\r', '\n');
  return Pieces(text, "\n");
}

// The scheme that the line begins with, if it begins like an address.
bool HasScheme(const std::string& line) {
  const std::size_t end = line.find("://");
  constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyz0123456789+-.";
  return end != std::string::npos && end > 0 &&
         LowerCase(line.substr(0, end)).find_first_not_of(kLetters) == std::string::npos;
}

std::string Trim(const std::string& line) {
  const std::size_t first = line.find_first_not_of(" \t\v\f");
  return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t\v\f") - first + 1);
}

}  // namespace

void FuzzUrls(std::string_view bytes, const UrlListReader& read) {
  const AllocationMeter meter;
  const UrlListReading reading = read(bytes);
  Demand(meter.Bytes() <= 128 * bytes.size() + 16384, "a list takes memory in proportion to its length");
  Demand(reading.addresses.size() <= kMostAddresses, "addresses are not too many");
  std::string text;
  for (const std::string& address : reading.addresses) {
    Demand(HasScheme(address) && Trim(address) == address, "an address begins with a scheme");
    Demand(address.find_first_of(std::string("\0\t\r\n", 4)) == std::string::npos, "an address is in one line");
    text += address + "\r\n";
  }
  Demand(read(text).addresses == reading.addresses, "addresses written down are read as they were");
  if (reading.cut) return;
  std::string whole(bytes.substr(0, std::min(bytes.find('\0'), bytes.size())));
  if (whole.starts_with("\xEF\xBB\xBF")) whole.erase(0, 3);
  std::vector<std::string> plain;
  for (const std::string& line : LinesOf(whole)) {
    const std::string trimmed = Trim(line);
    const std::string address = Trim(trimmed.substr(0, trimmed.find('\t')));
    if (HasScheme(address) && address.size() <= 65535) plain.push_back(address);
  }
  Demand(reading.addresses == plain, "every line that begins like an address is one");
}

}  // namespace pellora
