#include "desktop/OpenSslDigests.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstddef>
#include <utility>

namespace pellora {

namespace {

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

const EVP_MD* AlgorithmOf(DigestKind kind) {
  switch (kind) {
    case DigestKind::Md5:
      return EVP_md5();
    case DigestKind::Sha1:
      return EVP_sha1();
    case DigestKind::Sha256:
      return EVP_sha256();
    case DigestKind::Sha512:
      return EVP_sha512();
  }
  return nullptr;
}

// Once begun, these calls fail only for want of memory. Then no digits come, which equal no checksum.
class OpenSslDigest final : public Digest {
 public:
  explicit OpenSslDigest(Context context) : context_(std::move(context)) {}

  void Add(std::string_view bytes) override {
    sound_ = EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1 && sound_;
  }
  std::string Finish() override {
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum = {};
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context_.get(), sum.data(), &length) != 1 || !sound_) return {};
    std::string digits;
    for (std::size_t i = 0; i < length; ++i) {
      digits += "0123456789abcdef"[sum.at(i) >> 4U];
      digits += "0123456789abcdef"[sum.at(i) & 15U];
    }
    return digits;
  }

 private:
  const Context context_;
  bool sound_ = true;
};

}  // namespace

// At the end of the process OpenSSL would free what the thread for file work may still be using.
OpenSslDigests::OpenSslDigests() { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); }

bool OpenSslDigests::Computes(DigestKind kind) { return Begin(kind) != nullptr; }

std::unique_ptr<Digest> OpenSslDigests::Begin(DigestKind kind) {
  Context context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), AlgorithmOf(kind), nullptr) != 1) return nullptr;
  return std::make_unique<OpenSslDigest>(std::move(context));
}

}  // namespace pellora
