// SimDigests: checksums in plain code, computed over all bytes at once.
#pragma once

#include <set>
#include <string>

#include "ports/Digest.h"

namespace pellora {

// In lower case.
std::string SimDigitsOf(DigestKind kind, const std::string& bytes);

class SimDigests final : public Digests {
 public:
  bool Computes(DigestKind kind) override { return !forbidden.contains(kind); }
  std::unique_ptr<Digest> Begin(DigestKind kind) override;

  // For the test.
  std::set<DigestKind> forbidden;  // kinds that the system does not compute
  int begun = 0;
};

}  // namespace pellora
