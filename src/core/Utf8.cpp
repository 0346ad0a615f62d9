#include "core/Utf8.h"

#include <array>

namespace pellora {

namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

// The length that a first byte announces, the smallest code of that length and the bits of the code in the byte.
struct Form {
  unsigned char mask;
  unsigned char mark;
  std::size_t length;
  std::uint32_t smallest;
};
constexpr std::array kForms = {Form{0x80, 0x00, 1, 0}, Form{0xE0, 0xC0, 2, 0x80}, Form{0xF0, 0xE0, 3, 0x800},
                               Form{0xF8, 0xF0, 4, 0x10000}};
constexpr std::uint32_t kLastCode = 0x10FFFF;

}  // namespace

Utf8Char FirstUtf8Char(std::string_view text) {
  if (text.empty()) return {};
  const auto first = static_cast<unsigned char>(text.front());
  for (const Form& form : kForms) {
    if ((first & form.mask) != form.mark) continue;
    if (text.size() < form.length) return {};
    auto code = static_cast<std::uint32_t>(first & static_cast<unsigned char>(~form.mask));
    for (std::size_t i = 1; i < form.length; ++i) {
      if (!IsContinuation(text[i])) return {};
      code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < form.smallest || code > kLastCode || surrogate) return {};
    return {code, form.length};
  }
  return {};
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = FirstUtf8Char(text).length;
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

void AppendUtf8(std::string& out, std::uint32_t code) {
  const auto put = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
  if (code < 0x80) return put(code);
  if (code < 0x800) {
    put(0xC0U | code >> 6U);
  } else if (code < 0x10000) {
    put(0xE0U | code >> 12U);
    put(0x80U | (code >> 6U & 0x3FU));
  } else {
    put(0xF0U | code >> 18U);
    put(0x80U | (code >> 12U & 0x3FU));
    put(0x80U | (code >> 6U & 0x3FU));
  }
  put(0x80U | (code & 0x3FU));
}

std::string Utf8FromLatin1(std::string_view bytes) {
  std::string result;
  for (const char c : bytes) AppendUtf8(result, static_cast<unsigned char>(c));
  return result;
}

std::string_view Utf8Prefix(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return text;
  while (limit > 0 && IsContinuation(text[limit])) --limit;
  return text.substr(0, limit);
}

}  // namespace pellora
