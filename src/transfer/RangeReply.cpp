#include "transfer/RangeReply.h"

#include <algorithm>

#include "core/Ascii.h"

namespace pellora {

namespace {

constexpr std::size_t kLostWithoutHeaderEnd = 3;

bool Contains(std::string_view text, std::string_view lower) {
  return std::search(text.begin(), text.end(), lower.begin(), lower.end(),
                     [](char have, char want) { return ToLower(have) == want; }) != text.end();
}

}  // namespace

std::size_t RangeHeaderLength(std::string_view block) {
  if (!StartsWithNoCase(block, "http/1.")) return 0;
  // Both are searched for in the whole block, also after the status line.
  if (!Contains(block, "206 partial content") && !Contains(block, "http/1.1 200")) return 0;
  const std::size_t headerEnd = block.find("\r\n\r\n");
  if (headerEnd == std::string_view::npos) return std::min(kLostWithoutHeaderEnd, block.size());
  return headerEnd + 4;
}

}  // namespace pellora
