// pellora-unpack: unpacks one entry of an archive, confined to its standard input and output. See Protocol.h.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "desktop/confine/CallFilter.h"
#include "desktop/confine/Confine.h"
#include "desktop/unpack/Protocol.h"
#include "desktop/unpack/UnpackEntry.h"

namespace pellora {
namespace {

constexpr std::size_t kLongestOrder = 8192;

std::optional<std::string> ReadOrder() {
  std::string line;
  for (char byte = 0; line.size() < kLongestOrder;) {
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return {};
    if (byte == '\n') return line;
    line += byte;
  }
  return {};
}

// The slowest decoder takes a second for this many bytes, on a slow machine.
constexpr std::uint64_t kBytesPerSecond = std::uint64_t{2} << 20;
constexpr std::uint64_t kLeastSeconds = 30;
constexpr std::uint64_t kMostSeconds = std::uint64_t{24} * 60 * 60;

std::chrono::seconds ProcessorTimeFor(const PackedEntry& entry) {
  const std::uint64_t seconds = kLeastSeconds + entry.packed / kBytesPerSecond + entry.size / kBytesPerSecond;
  return std::chrono::seconds(std::min(seconds, kMostSeconds));
}

// The order comes from the program, the bytes after it from anywhere.
int Run() {
  IsolateProcess();
  clearenv();
  const std::optional<std::string> order = ReadOrder();
  const std::optional<PackedEntry> entry = order ? ParseOrder(*order) : std::nullopt;
  if (!entry) return kUnpackBadOrder;
  tzset();  // reads a file, as libarchive would at its first use
  RestrictProcess(Work::Unpacking, -1, {});
  LimitProcessorTime(ProcessorTimeFor(*entry));
  RestrictCalls(Work::Unpacking);
  return UnpackEntry(*entry, STDIN_FILENO, STDOUT_FILENO);
}

}  // namespace
}  // namespace pellora

int main() {
  try {
    return pellora::Run();
  } catch (const pellora::ConfinementFailure& failure) {
    pellora::LiftFileSizeLimit();
    dprintf(STDERR_FILENO, "pellora-unpack: unpacks nothing, as it cannot be confined: %s\n", failure.what());
    return pellora::kUnpackUnconfined;
  }
}
