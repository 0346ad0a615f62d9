#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

constexpr const char* kName = "a file.iso";

// Of the lines "DIGITS  NAME" alone, read by another way: nothing if two of the strongest kind differ.
std::optional<Checksum> PlainChecksum(const std::string& text, bool& onlyPlain) {
  std::optional<Checksum> found;
  bool differs = false;
  for (const std::string& line : Pieces(text, "\n")) {
    const std::string ending = std::string("  ") + kName;
    if (line.find('(') != std::string::npos || line.find('\\') != std::string::npos ||
        line.find('\r') != std::string::npos || line.find(" *") != std::string::npos ||
        line.find("./") != std::string::npos) {
      onlyPlain = false;
    }
    if (!line.ends_with(ending)) continue;
    const std::string digits = line.substr(0, line.size() - ending.size());
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) continue;
    const std::optional<Checksum> checksum = ParseChecksum(digits);
    if (!checksum || (found && checksum->kind < found->kind)) continue;
    differs = found && checksum->kind == found->kind && (differs || *checksum != *found);
    found = checksum;
  }
  return differs ? std::nullopt : found;
}

}  // namespace

void FuzzSums(std::string_view bytes, const SumsReader& read) {
  const std::string text(bytes);
  const AllocationMeter meter;
  const std::optional<Checksum> found = read(text, kName);
  Demand(meter.Bytes() <= 64 * text.size() + 4096, "a list takes memory in proportion to its length");
  if (found) Demand(ParseChecksum(ChecksumText(*found)) == found, "a checksum has its kind's length");
  if (found) Demand(LowerCase(text).find(found->hex) != std::string::npos, "what is found is in the list");
  if (found) Demand(text.find("a file.iso") != std::string::npos, "the list names the file");
  bool onlyPlain = !text.starts_with("\xEF\xBB\xBF");
  const std::optional<Checksum> plain = PlainChecksum(text, onlyPlain);
  if (onlyPlain) Demand(found == plain, "plain lines mean what they say");
  const std::optional<Checksum> one = ListedChecksumOfOne(text, kName);
  if (found) Demand(one == found, "a list of one file is a list");
}

}  // namespace pellora
