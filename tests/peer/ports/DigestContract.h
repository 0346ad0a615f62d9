// The contract of the port Digest, for any implementation.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ports/Digest.h"

namespace pellora {

struct DigestsMaker {
  const char* name;
  std::function<std::unique_ptr<Digests>()> make;
};
inline void PrintTo(const DigestsMaker& maker, std::ostream* out) { *out << maker.name; }

// RFC 1321, appendix A.5; FIPS 180-4 with the examples that NIST has published for it.
struct DigestVector {
  DigestKind kind;
  std::string bytes;
  const char* digits;
};
inline std::vector<DigestVector> DigestVectors() {
  using enum DigestKind;
  const std::string two = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  const std::string four =
      "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrst"
      "u";
  const std::string million(1'000'000, 'a');
  return {
      {Md5, "", "d41d8cd98f00b204e9800998ecf8427e"},
      {Md5, "a", "0cc175b9c0f1b6a831c399e269772661"},
      {Md5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
      {Md5, "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {Md5, "abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {Md5, "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {Sha1, "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {Sha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {Sha1, two, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {Sha1, million, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {Sha256, "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {Sha256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {Sha256, two, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {Sha256, million, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
      {Sha512, "",
       "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce47d0d13c5d85f2b0ff8318d2877eec2f"
       "63b931bd47417a81a538327af927da3e"},
      {Sha512, "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
       "454d4423643ce80e2a9ac94fa54ca49f"},
      {Sha512, four,
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec4b5433a"
       "c7d329eeb6dd26545e96e55b874be909"},
      {Sha512, million,
       "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973ebde0ff244877ea60a4cb0432ce577c31b"
       "eb009c5c2c49aa2e4eadb217ad8cc09b"},
  };
}

class DigestContract : public testing::TestWithParam<DigestsMaker> {};

TEST_P(DigestContract, ComputesWhatItsStandardsPublish) {
  const std::unique_ptr<Digests> digests = GetParam().make();
  for (const DigestVector& vector : DigestVectors()) {
    EXPECT_TRUE(digests->Computes(vector.kind));
    const std::unique_ptr<Digest> digest = digests->Begin(vector.kind);
    ASSERT_NE(digest, nullptr);
    digest->Add(vector.bytes);
    EXPECT_EQ(digest->Finish(), vector.digits) << vector.bytes.substr(0, 20);
  }
}

TEST_P(DigestContract, PiecesGiveTheSameAsTheWhole) {
  const std::unique_ptr<Digests> digests = GetParam().make();
  for (const DigestVector& vector : DigestVectors()) {
    for (const std::size_t length : {1U, 63U, 64U, 65U, 127U, 128U, 1000U}) {
      if (length == 1 && vector.bytes.size() > 1000) continue;  // takes long
      const std::unique_ptr<Digest> digest = digests->Begin(vector.kind);
      ASSERT_NE(digest, nullptr);
      const std::string_view bytes = vector.bytes;
      for (std::size_t at = 0; at < bytes.size(); at += length) {
        digest->Add(bytes.substr(at, length));
        digest->Add({});
      }
      EXPECT_EQ(digest->Finish(), vector.digits) << length;
    }
  }
}

TEST_P(DigestContract, SeveralAtOnceDoNotDisturbEachOther) {
  const std::unique_ptr<Digests> digests = GetParam().make();
  std::array<std::unique_ptr<Digest>, 4> made;
  for (std::size_t i = 0; i < made.size(); ++i) made.at(i) = digests->Begin(static_cast<DigestKind>(i));
  for (const char* byte : {"a", "b", "c"}) {
    for (const auto& digest : made) digest->Add(byte);
  }
  for (const DigestVector& vector : DigestVectors()) {
    if (vector.bytes != "abc") continue;
    EXPECT_EQ(made.at(static_cast<std::size_t>(vector.kind))->Finish(), vector.digits);
  }
}

}  // namespace pellora
