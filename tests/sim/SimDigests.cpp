#include "SimDigests.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "SimFaults.h"

namespace pellora {

namespace {

// FIPS 180-4, section 4.2: those of SHA-256 are the upper halves of the first 64.
constexpr std::array<std::uint64_t, 80> kSha2 = {
    0x428a2f98d728ae22, 0x7137449123ef65cd, 0xb5c0fbcfec4d3b2f, 0xe9b5dba58189dbbc, 0x3956c25bf348b538,
    0x59f111f1b605d019, 0x923f82a4af194f9b, 0xab1c5ed5da6d8118, 0xd807aa98a3030242, 0x12835b0145706fbe,
    0x243185be4ee4b28c, 0x550c7dc3d5ffb4e2, 0x72be5d74f27b896f, 0x80deb1fe3b1696b1, 0x9bdc06a725c71235,
    0xc19bf174cf692694, 0xe49b69c19ef14ad2, 0xefbe4786384f25e3, 0x0fc19dc68b8cd5b5, 0x240ca1cc77ac9c65,
    0x2de92c6f592b0275, 0x4a7484aa6ea6e483, 0x5cb0a9dcbd41fbd4, 0x76f988da831153b5, 0x983e5152ee66dfab,
    0xa831c66d2db43210, 0xb00327c898fb213f, 0xbf597fc7beef0ee4, 0xc6e00bf33da88fc2, 0xd5a79147930aa725,
    0x06ca6351e003826f, 0x142929670a0e6e70, 0x27b70a8546d22ffc, 0x2e1b21385c26c926, 0x4d2c6dfc5ac42aed,
    0x53380d139d95b3df, 0x650a73548baf63de, 0x766a0abb3c77b2a8, 0x81c2c92e47edaee6, 0x92722c851482353b,
    0xa2bfe8a14cf10364, 0xa81a664bbc423001, 0xc24b8b70d0f89791, 0xc76c51a30654be30, 0xd192e819d6ef5218,
    0xd69906245565a910, 0xf40e35855771202a, 0x106aa07032bbd1b8, 0x19a4c116b8d2d0c8, 0x1e376c085141ab53,
    0x2748774cdf8eeb99, 0x34b0bcb5e19b48a8, 0x391c0cb3c5c95a63, 0x4ed8aa4ae3418acb, 0x5b9cca4f7763e373,
    0x682e6ff3d6b2b8a3, 0x748f82ee5defb2fc, 0x78a5636f43172f60, 0x84c87814a1f0ab72, 0x8cc702081a6439ec,
    0x90befffa23631e28, 0xa4506cebde82bde9, 0xbef9a3f7b2c67915, 0xc67178f2e372532b, 0xca273eceea26619c,
    0xd186b8c721c0c207, 0xeada7dd6cde0eb1e, 0xf57d4f7fee6ed178, 0x06f067aa72176fba, 0x0a637dc5a2c898a6,
    0x113f9804bef90dae, 0x1b710b35131c471b, 0x28db77f523047d84, 0x32caab7b40c72493, 0x3c9ebe0a15c9bebc,
    0x431d67c49c100d4c, 0x4cc5d4becb3e42b6, 0x597f299cfc657e2a, 0x5fcb6fab3ad6faec, 0x6c44198c4a475817};

// Appends what every kind ends with: a bit, zeros, and the length in bits.
std::string Padded(const std::string& bytes, std::size_t block, std::size_t lengthBytes, bool littleEndian) {
  std::string padded = bytes + '\x80';
  while ((padded.size() + lengthBytes) % block != 0) padded += '\0';
  const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  for (std::size_t i = 0; i < lengthBytes; ++i) {
    const std::size_t place = littleEndian ? i : lengthBytes - 1 - i;
    padded += place < 8 ? static_cast<char>(bits >> (8 * place)) : '\0';
  }
  return padded;
}

template <class Word>
Word WordAt(const std::string& bytes, std::size_t at, bool littleEndian = false) {
  Word word = 0;
  for (std::size_t i = 0; i < sizeof(Word); ++i) {
    const std::size_t place = littleEndian ? sizeof(Word) - 1 - i : i;
    word = static_cast<Word>(word << 8U) | static_cast<unsigned char>(bytes[at + place]);
  }
  return word;
}

template <class Word, std::size_t count>
std::string Digits(const std::array<Word, count>& words, bool littleEndian = false) {
  std::string digits;
  for (const Word word : words) {
    for (std::size_t i = 0; i < sizeof(Word); ++i) {
      const std::size_t place = littleEndian ? i : sizeof(Word) - 1 - i;
      const auto byte = static_cast<unsigned char>(word >> (8 * place));
      digits += "0123456789abcdef"[byte >> 4U];
      digits += "0123456789abcdef"[byte & 15U];
    }
  }
  return digits;
}

// RFC 1321.
std::string Md5(const std::string& bytes) {
  constexpr std::array<std::array<int, 4>, 4> kTurns = {
      {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};
  std::array<std::uint32_t, 4> sum = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  const std::string padded = Padded(bytes, 64, 8, true);
  for (std::size_t at = 0; at < padded.size(); at += 64) {
    auto [a, b, c, d] = sum;
    for (std::size_t i = 0; i < 64; ++i) {
      const std::size_t round = i / 16;
      const std::uint32_t mixed = round == 0   ? (b & c) | (~b & d)
                                  : round == 1 ? (d & b) | (~d & c)
                                  : round == 2 ? b ^ c ^ d
                                               : c ^ (b | ~d);
      constexpr std::array<std::size_t, 4> kStep = {1, 5, 3, 7};
      constexpr std::array<std::size_t, 4> kFirst = {0, 1, 5, 0};
      const std::size_t word = (kStep.at(round) * i + kFirst.at(round)) % 16;
      const auto sine =
          static_cast<std::uint32_t>(std::floor(std::abs(std::sin(static_cast<double>(i + 1))) * 4294967296.0));
      const std::uint32_t turned = a + mixed + sine + WordAt<std::uint32_t>(padded, at + 4 * word, true);
      a = d;
      d = c;
      c = b;
      b += std::rotl(turned, kTurns.at(round).at(i % 4));
    }
    sum = {sum[0] + a, sum[1] + b, sum[2] + c, sum[3] + d};
  }
  return Digits(sum, true);
}

// FIPS 180-4, section 6.1.
std::string Sha1(const std::string& bytes) {
  std::array<std::uint32_t, 5> sum = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
  const std::string padded = Padded(bytes, 64, 8, false);
  for (std::size_t at = 0; at < padded.size(); at += 64) {
    std::array<std::uint32_t, 80> words = {};
    for (std::size_t i = 0; i < 80; ++i) {
      words.at(i) = i < 16 ? WordAt<std::uint32_t>(padded, at + 4 * i)
                           : std::rotl(words.at(i - 3) ^ words.at(i - 8) ^ words.at(i - 14) ^ words.at(i - 16), 1);
    }
    auto [a, b, c, d, e] = sum;
    for (std::size_t i = 0; i < 80; ++i) {
      constexpr std::array<std::uint32_t, 4> kAdded = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};
      const std::uint32_t mixed = i < 20              ? (b & c) | (~b & d)
                                  : i >= 40 && i < 60 ? (b & c) | (b & d) | (c & d)
                                                      : b ^ c ^ d;
      const std::uint32_t next = std::rotl(a, 5) + mixed + e + kAdded.at(i / 20) + words.at(i);
      e = d;
      d = c;
      c = std::rotl(b, 30);
      b = a;
      a = next;
    }
    sum = {sum[0] + a, sum[1] + b, sum[2] + c, sum[3] + d, sum[4] + e};
  }
  return Digits(sum);
}

// FIPS 180-4, sections 6.2 and 6.4: the kinds differ in their words, turns and number of rounds.
template <class Word>
struct Sha2Shape;
template <>
struct Sha2Shape<std::uint32_t> {
  static constexpr std::size_t kRounds = 64;
  static constexpr std::array<int, 12> kTurns = {7, 18, 3, 17, 19, 10, 2, 13, 22, 6, 11, 25};
  static constexpr std::array<std::uint32_t, 8> kBegin = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
};
template <>
struct Sha2Shape<std::uint64_t> {
  static constexpr std::size_t kRounds = 80;
  static constexpr std::array<int, 12> kTurns = {1, 8, 7, 19, 61, 6, 28, 34, 39, 14, 18, 41};
  static constexpr std::array<std::uint64_t, 8> kBegin = {0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b,
                                                          0xa54ff53a5f1d36f1, 0x510e527fade682d1, 0x9b05688c2b3e6c1f,
                                                          0x1f83d9abfb41bd6b, 0x5be0cd19137e2179};
};

template <class Word>
std::string Sha2(const std::string& bytes) {
  using Shape = Sha2Shape<Word>;
  constexpr std::size_t kBlock = 16 * sizeof(Word);
  constexpr auto kTurn = Shape::kTurns;
  std::array<Word, 8> sum = Shape::kBegin;
  const std::string padded = Padded(bytes, kBlock, 2 * sizeof(Word), false);
  for (std::size_t at = 0; at < padded.size(); at += kBlock) {
    std::array<Word, Shape::kRounds> words;
    for (std::size_t i = 0; i < 16; ++i) words[i] = WordAt<Word>(padded, at + sizeof(Word) * i);
    for (std::size_t i = 16; i < Shape::kRounds; ++i) {
      const Word early = words[i - 15];
      const Word late = words[i - 2];
      const Word low = std::rotr(early, kTurn[0]) ^ std::rotr(early, kTurn[1]) ^ (early >> kTurn[2]);
      const Word high = std::rotr(late, kTurn[3]) ^ std::rotr(late, kTurn[4]) ^ (late >> kTurn[5]);
      words[i] = words[i - 16] + low + words[i - 7] + high;
    }
    auto [a, b, c, d, e, f, g, h] = sum;
    for (std::size_t i = 0; i < Shape::kRounds; ++i) {
      const Word high = std::rotr(e, kTurn[9]) ^ std::rotr(e, kTurn[10]) ^ std::rotr(e, kTurn[11]);
      const auto added = static_cast<Word>(kSha2.at(i) >> (64 - 8 * sizeof(Word)));
      const Word first = h + high + ((e & f) ^ (~e & g)) + added + words[i];
      const Word low = std::rotr(a, kTurn[6]) ^ std::rotr(a, kTurn[7]) ^ std::rotr(a, kTurn[8]);
      const Word second = low + ((a & b) ^ (a & c) ^ (b & c));
      h = g;
      g = f;
      f = e;
      e = d + first;
      d = c;
      c = b;
      b = a;
      a = first + second;
    }
    sum = {sum[0] + a, sum[1] + b, sum[2] + c, sum[3] + d, sum[4] + e, sum[5] + f, sum[6] + g, sum[7] + h};
  }
  return Digits(sum);
}

class SimDigest final : public Digest {
 public:
  explicit SimDigest(DigestKind kind) : kind_(kind) {}
  void Add(std::string_view bytes) override { bytes_ += bytes; }
  std::string Finish() override { return SimDigitsOf(kind_, bytes_); }

 private:
  const DigestKind kind_;
  std::string bytes_;
};

}  // namespace

std::string SimDigitsOf(DigestKind kind, const std::string& bytes) {
  switch (kind) {
    case DigestKind::Md5:
      return Md5(bytes);
    case DigestKind::Sha1:
      return Sha1(bytes);
    case DigestKind::Sha256:
      return Sha2<std::uint32_t>(bytes);
    case DigestKind::Sha512:
      return Sha2<std::uint64_t>(bytes);
  }
  return {};
}

std::unique_ptr<Digest> SimDigests::Begin(DigestKind kind) {
  if (SimFails("digest") || forbidden.contains(kind)) return nullptr;
  ++begun;
  return std::make_unique<SimDigest>(kind);
}

}  // namespace pellora
