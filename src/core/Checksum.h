// Checksum: what a file is to have, as a user, a server or a list of checksums names it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ports/Digest.h"

namespace pellora {

using ChecksumKind = DigestKind;

struct Checksum {
  ChecksumKind kind = ChecksumKind::Sha256;
  std::string hex;  // in lower case, of the kind's length

  bool operator==(const Checksum&) const = default;
};

std::size_t HexDigitsOf(ChecksumKind kind);
// "md5", "sha-1", "sha-256", "sha-512"
std::string_view NameOf(ChecksumKind kind);
// By that name, with or without its hyphen, in any case.
std::optional<ChecksumKind> ChecksumKindNamed(std::string_view name);

// Hexadecimal digits in any case, with blanks around them, or "NAME:digits" or "NAME=digits", the name with or without
// its hyphen, in any case. Digits alone have the kind of their number. Nothing if it is neither.
std::optional<Checksum> ParseChecksum(std::string_view text);
// "sha-256:DIGITS"
std::string ChecksumText(const Checksum& checksum);

// The strongest of several; two of one kind that contradict each other are none.
class StrongestChecksum {
 public:
  void Take(const Checksum& checksum);
  std::optional<Checksum> Result() const { return contradicted_ ? std::nullopt : best_; }

 private:
  std::optional<Checksum> best_;
  bool contradicted_ = false;
};

}  // namespace pellora
