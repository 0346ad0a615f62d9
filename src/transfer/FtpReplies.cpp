#include "transfer/FtpReplies.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "core/Numbers.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// Truncated, not rounded, and always from 0 to 255.
std::int32_t Modulo256(std::int32_t number) { return ((number % 256) + 256) % 256; }

std::int32_t WholePart(std::string_view text) {
  const double number = NumericPrefix(text);
  constexpr double kMost = 2147483647.0;
  return static_cast<std::int32_t>(std::clamp(number, -kMost, kMost));
}

}  // namespace

std::string QuotedDirectory(std::string_view line) {
  const std::size_t first = line.find('"');
  const std::size_t last = line.rfind('"');
  if (first == std::string_view::npos || last == first) return {};
  return std::string(line.substr(first + 1, last - first - 1));
}

std::string RemoteDirectory(std::string_view loginDirectory, std::string_view path) {
  if (loginDirectory.ends_with('/')) loginDirectory.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  const std::string_view directory = slash == std::string_view::npos ? std::string_view() : path.substr(0, slash + 1);
  return std::string(loginDirectory) + std::string(directory);
}

std::int32_t SizeReply(std::string_view line) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return 0;
  const std::string_view text = line.substr(blank + 1);
  // A file cut at 2 GiB would pass for the whole.
  if (NumericPrefix(text) > std::numeric_limits<std::int32_t>::max()) return 0;
  return std::max(0, RoundedPrefix(text));
}

std::int32_t PassiveAddress::PortModulo() const { return Modulo256(fifth) * 256 + Modulo256(sixth); }

PassiveAddress ParsePassiveReply(std::string_view line) {
  const std::size_t open = line.find('(');
  const std::size_t close = line.find(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    throw Failure(FailureNumber::InvalidCall, "no address in the reply");
  }
  const std::string_view numbers = line.substr(open + 1, close - open - 1);
  std::vector<std::string_view> pieces;
  for (std::size_t from = 0; pieces.size() < 6;) {
    const std::size_t comma = numbers.find(',', from);
    pieces.push_back(numbers.substr(from, comma == std::string_view::npos ? comma : comma - from));
    if (comma == std::string_view::npos) break;
    from = comma + 1;
  }
  if (pieces.size() < 6) throw Failure(FailureNumber::OutOfRange, "no port in the reply");
  PassiveAddress address;
  for (int i = 0; i < 4; ++i) {
    if (i > 0) address.host += '.';
    address.host += pieces[static_cast<std::size_t>(i)];
  }
  address.fifth = WholePart(pieces[4]);
  address.sixth = WholePart(pieces[5]);
  return address;
}

std::string FtpCommand(std::string_view verb, std::string_view argument) {
  std::string command(verb);
  for (const char c : argument) {
    const auto byte = static_cast<unsigned char>(c);
    command += byte < 0x20 || byte == 0x7f ? '?' : c;
  }
  return command + "\r\n";
}

}  // namespace pellora
