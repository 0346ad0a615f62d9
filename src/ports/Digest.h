// Digest: checksums of files, computed as their bytes come.
//
// The logic names the kind, the system computes: it is much faster than plain code. A digest may be made and used in a
// Background work; only one thread uses it at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace pellora {

enum class DigestKind : std::uint8_t { Md5, Sha1, Sha256, Sha512 };

class Digest {
 public:
  virtual ~Digest() = default;
  virtual void Add(std::string_view bytes) = 0;
  // Of all that was added, in hexadecimal digits of lower case. The last call.
  virtual std::string Finish() = 0;
};

class Digests {
 public:
  virtual ~Digests() = default;
  // False if the system does not compute this kind: some forbid MD5.
  virtual bool Computes(DigestKind kind) = 0;
  // Null if it does not.
  virtual std::unique_ptr<Digest> Begin(DigestKind kind) = 0;
};

}  // namespace pellora
