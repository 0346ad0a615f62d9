// ChecksumRig: downloads of one file, and its checksums.
#pragma once

#include <string>
#include <vector>

#include "SimDigests.h"
#include "WebRig.h"
#include "core/Checksum.h"

namespace pellora::checksums {

using enum ChecksumKind;
using Names = std::vector<std::string>;
inline constexpr const char* kUrl = "https://o.example/dir/a.bin";
inline constexpr std::int64_t kLength = 3'000'000;
inline const SimContent kContent = SimContent::Generated(kLength, 7);
inline const SimContent kOther = SimContent::Generated(kLength, 8);

inline Checksum SumOf(ChecksumKind kind, const SimContent& content = kContent) {
  return {kind, SimDigitsOf(kind, content.All())};
}
inline Checksum WrongSum(ChecksumKind kind) { return {kind, std::string(HexDigitsOf(kind), '0')}; }

inline std::string Shown(const Checksum& checksum) {
  return checksum.hex.substr(0, 8) + "..." + checksum.hex.substr(checksum.hex.size() - 8);
}

inline std::string Base64(const std::string& hex) {
  std::string bits;
  for (const char digit : hex) {
    const auto value = static_cast<unsigned>(std::string("0123456789abcdef").find(digit));
    for (unsigned bit = 8; bit > 0; bit /= 2) bits += (value & bit) != 0 ? '1' : '0';
  }
  while (bits.size() % 6 != 0) bits += '0';
  std::string text;
  for (std::size_t at = 0; at < bits.size(); at += 6) {
    text +=
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[std::stoul(bits.substr(at, 6), nullptr, 2)];
  }
  while (text.size() % 4 != 0) text += '=';
  return text;
}

inline void Serve(SimHttpServer& origin, const SimContent& content = kContent) {
  origin.File("/dir/a.bin", content);
  origin.Traits("/dir/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
}

struct ChecksumRig : WebRig {
  explicit ChecksumRig(SimOptions options = {}, const SimContent& content = kContent)
      : WebRig(std::move(options)), origin(sim.network(), "o.example", 443) {
    Serve(origin, content);
  }
  void StartWith(const Checksum& checksum) {
    WebAdd add;
    add.checksum = checksum;
    Start(kUrl, add);
  }
  void Head(const std::string& line, std::uint64_t bytesPerSecond = 0) {
    HttpFault fault;
    fault.wire.bytesPerSecond = bytesPerSecond;
    fault.extraHeaders = line + "\r\n";
    origin.Always(fault);
  }
  // In the middle of the check, which takes half a second for each of its three parts.
  bool RunIntoCheck() {
    if (!RunUntilReceived(kLength)) return false;
    sim.background().SetMaxDelay(1000);
    return sim.RunUntil([&] { return Web().reason == "Checking 34 %"; }, 60'000);
  }
  bool IsWhole() { return InFolder() == Names{"a.bin"} && sim.disk().Holds("/home/u/dl/a.bin", kContent); }
  bool HasPartOnly() { return InFolder() == Names{"a.bin.part"}; }

  SimHttpServer origin;
};

}  // namespace pellora::checksums
