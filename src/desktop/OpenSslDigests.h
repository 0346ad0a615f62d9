// OpenSslDigests: checksums by OpenSSL, which uses the processor's instructions for them.
#pragma once

#include "ports/Digest.h"

namespace pellora {

class OpenSslDigests final : public Digests {
 public:
  // Before all other uses of OpenSSL in the process.
  OpenSslDigests();

  bool Computes(DigestKind kind) override;
  std::unique_ptr<Digest> Begin(DigestKind kind) override;
};

}  // namespace pellora
