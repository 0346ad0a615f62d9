#include "archive/ArchiveEnd.h"

#include <optional>

#include "archive/LittleEndian.h"

namespace pellora {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kEndSignature = "PK\5\6"sv;
constexpr std::string_view kLocatorSignature = "PK\6\7"sv;
constexpr std::string_view kEnd64Signature = "PK\6\6"sv;
constexpr std::size_t kEndLength = 22;
constexpr std::size_t kLocatorLength = 20;
constexpr std::size_t kEnd64Length = 56;
constexpr std::int64_t kShortestEntry = 46;

bool HasSignature(std::string_view text, std::size_t at, std::string_view signature) {
  return at <= text.size() && text.substr(at).starts_with(signature);
}

// The ZIP64 end record whose locator is at `locator`: it lies right before that, also where the locator says
// otherwise, or, if it has been extended, where the locator says.
std::optional<std::size_t> FindEnd64(std::string_view tail, std::int64_t tailAt, std::size_t locator) {
  if (locator >= kEnd64Length && HasSignature(tail, locator - kEnd64Length, kEnd64Signature)) {
    return locator - kEnd64Length;
  }
  const std::int64_t stated = LittleEndian64(tail, locator + 8) - tailAt;
  const auto latest = static_cast<std::int64_t>(locator) - static_cast<std::int64_t>(kEnd64Length);
  if (stated < 0 || stated > latest) return {};
  const auto at = static_cast<std::size_t>(stated);
  if (!HasSignature(tail, at, kEnd64Signature)) return {};
  return at;
}

ArchiveEnd ReadEnd64(std::string_view tail, std::int64_t tailAt, std::size_t at) {
  ArchiveEnd end;
  end.begin = tailAt + static_cast<std::int64_t>(at);
  end.zip64 = true;
  end.split = LittleEndian32(tail, at + 16) != 0 || LittleEndian32(tail, at + 20) != 0 ||
              LittleEndian64(tail, at + 24) != LittleEndian64(tail, at + 32);
  end.entries = LittleEndian64(tail, at + 32);
  end.directorySize = LittleEndian64(tail, at + 40);
  end.directoryOffset = LittleEndian64(tail, at + 48);
  return end;
}

ArchiveEnd ReadEnd(std::string_view tail, std::int64_t tailAt, std::size_t at) {
  ArchiveEnd end;
  end.begin = tailAt + static_cast<std::int64_t>(at);
  end.split = LittleEndian16(tail, at + 4) != 0 || LittleEndian16(tail, at + 6) != 0 ||
              LittleEndian16(tail, at + 8) != LittleEndian16(tail, at + 10);
  end.entries = LittleEndian16(tail, at + 10);
  end.directorySize = LittleEndian32(tail, at + 12);
  end.directoryOffset = LittleEndian32(tail, at + 16);
  return end;
}

// Of an end that other bytes would hardly have.
bool IsPlausible(const ArchiveEnd& end) {
  if (end.split) return true;  // said to the user, if nothing better is found
  if (end.directorySize > end.begin) return false;
  if (end.entries == 0) return end.directorySize == 0 || !end.zip64;
  return end.directorySize / kShortestEntry >= end.entries;
}

}  // namespace

std::vector<ArchiveEnd> FindArchiveEnds(std::string_view tail, std::int64_t tailAt, std::size_t most) {
  std::vector<ArchiveEnd> ends;
  for (std::size_t at = tail.rfind(kEndSignature); at != std::string_view::npos && ends.size() < most;
       at = at == 0 ? std::string_view::npos : tail.rfind(kEndSignature, at - 1)) {
    if (tail.size() - at < kEndLength) continue;  // its comment may be cut off: nobody needs it
    std::optional<std::size_t> end64;
    if (at >= kLocatorLength && HasSignature(tail, at - kLocatorLength, kLocatorSignature)) {
      end64 = FindEnd64(tail, tailAt, at - kLocatorLength);
    }
    const ArchiveEnd end = end64 ? ReadEnd64(tail, tailAt, *end64) : ReadEnd(tail, tailAt, at);
    if (IsPlausible(end)) ends.push_back(end);
  }
  return ends;
}

}  // namespace pellora
