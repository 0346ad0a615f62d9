#include "Oracle.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <new>

#include "core/Crc32.h"

#if defined(__SANITIZE_ADDRESS__)
#define PELLORA_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PELLORA_SANITIZED 1
#endif
#endif

namespace {

std::uint64_t allocated = 0;

}  // namespace

#ifdef PELLORA_SANITIZED
// The sanitizer's allocator reports every block, including those of C libraries.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onAllocation)(const volatile void*, std::size_t),
                                                         void (*onFree)(const volatile void*));
namespace {
const bool hooked =
    __sanitizer_install_malloc_and_free_hooks([](const volatile void*, std::size_t size) { allocated += size; },
                                              [](const volatile void*) {}) != 0;
}  // namespace
#else
namespace {
const bool hooked = true;
}  // namespace

void* operator new(std::size_t size) {
  allocated += size;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#endif

namespace pellora {

AllocationMeter::AllocationMeter() : start_(allocated) { Demand(hooked, "the allocator reports its allocations"); }

std::uint64_t AllocationMeter::Bytes() const { return allocated - start_; }

std::uint32_t Choices::Byte() {
  if (rest_.empty()) return 0;
  const auto byte = static_cast<unsigned char>(rest_.front());
  rest_.remove_prefix(1);
  return byte;
}

std::vector<std::string> Pieces(std::string_view text, std::string_view mark) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(mark);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + mark.size());
  }
}

std::string Joined(const std::vector<std::string>& pieces) {
  std::string all;
  for (const std::string& piece : pieces) all += piece;
  return all;
}

std::string WithLineSums(const std::string& text) {
  std::vector<std::string> lines = Pieces(text, "\n");
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    const std::size_t begin = std::min(lines[i].find(' '), lines[i].size());
    const std::string fields = lines[i].substr(begin);
    std::string sum;
    for (int shift = 28; shift >= 0; shift -= 4)
      sum += "0123456789abcdef"[Crc32(fields) >> static_cast<unsigned>(shift) & 15U];
    lines[i] = sum + fields + "\n";
  }
  return Joined(lines);
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

std::string WithoutOuterBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return std::string(text);
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) == 0x7f;
  });
}

double LeadingNumber(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  std::string number;
  const auto take = [&](std::string_view wanted, bool many) {
    while (!text.empty() && wanted.find(text.front()) != std::string_view::npos) {
      number += text.front();
      text.remove_prefix(1);
      if (!many) return;
    }
  };
  take("+-", false);
  take("0123456789", true);
  take(".", false);
  if (!number.empty() && number.back() == '.') take("0123456789", true);
  if (number.find_first_of("0123456789") == std::string::npos) return 0;
  return std::clamp(std::strtod(number.c_str(), nullptr), -DBL_MAX, DBL_MAX);
}

std::int32_t RoundedNumber(std::string_view text) {
  const double rounded = std::nearbyint(LeadingNumber(text));
  return static_cast<std::int32_t>(std::clamp(rounded, double{INT_MIN}, double{INT_MAX}));
}

}  // namespace pellora
