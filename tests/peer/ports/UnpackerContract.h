// The contract of the port Unpacker, for any implementation. The packed bytes are made by SimPacking.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "SimContent.h"
#include "SimPacking.h"
#include "core/Crc32.h"
#include "ports/Unpacker.h"

namespace pellora {

struct UnpackerMaker {
  const char* name;
  std::function<std::unique_ptr<Unpacker>()> make;
};
inline void PrintTo(const UnpackerMaker& maker, std::ostream* out) { *out << maker.name; }

// An entry and its packed bytes.
struct TestPacked {
  PackedEntry entry;
  std::string plain;
  std::string packed;
};
inline TestPacked PackForTest(std::string plain, std::uint16_t method, const std::string& password = {}) {
  TestPacked made;
  made.plain = std::move(plain);
  made.packed = method == 8 ? PackDeflate(made.plain) : made.plain;
  made.entry.method = method;
  made.entry.crc = Crc32(made.plain);
  made.entry.password = password;
  if (!password.empty()) {
    made.entry.flags = 1;
    made.packed = EncryptZip(made.packed, password, made.entry.crc);
  }
  made.entry.packed = made.packed.size();
  made.entry.size = made.plain.size();
  return made;
}

struct UnpackResult {
  UnpackState state = UnpackState::Working;
  std::string plain;
  std::string reason;
};

// Gives `packed` in pieces of `piece` bytes, and what was not taken of one again.
inline UnpackResult UnpackAll(Unpacker& unpacker, const PackedEntry& entry, std::string_view packed,
                              std::size_t piece = std::size_t{256} << 10) {
  constexpr std::size_t kMostPlain = std::size_t{2} << 20;
  const std::unique_ptr<Unpacking> unpacking = unpacker.Begin(entry);
  UnpackResult result;
  for (int calls = 0; unpacking->State() == UnpackState::Working && calls < 1'000'000; ++calls) {
    const std::string_view given = packed.substr(0, piece);
    std::string plain;
    const std::size_t taken = unpacking->Exchange(given, plain);
    EXPECT_LE(taken, given.size());
    EXPECT_LE(plain.size(), kMostPlain);
    packed.remove_prefix(std::min(taken, given.size()));
    result.plain += plain;
  }
  result.state = unpacking->State();
  result.reason = unpacking->Reason();
  return result;
}

class UnpackerContract : public testing::TestWithParam<UnpackerMaker> {
 protected:
  const std::unique_ptr<Unpacker> unpacker = GetParam().make();
};

TEST_P(UnpackerContract, UnpacksStoredAndDeflatedEntries) {
  for (const std::uint16_t method : {0, 8}) {
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 5'000'000U}) {
      const TestPacked made = PackForTest(SimContent::Generated(size).All(), method);
      const UnpackResult result = UnpackAll(*unpacker, made.entry, made.packed);
      EXPECT_EQ(result.state, UnpackState::Done) << method << " " << size << " " << result.reason;
      EXPECT_TRUE(result.plain == made.plain) << method << " " << size << " " << result.plain.size();
    }
  }
}

TEST_P(UnpackerContract, TakesAnyPieces) {
  const TestPacked made = PackForTest(SimContent::Generated(3000).All(), 8, "secret");
  for (const std::size_t piece : {1U, 7U, 1000U}) {
    const UnpackResult result = UnpackAll(*unpacker, made.entry, made.packed, piece);
    EXPECT_EQ(result.state, UnpackState::Done) << piece;
    EXPECT_EQ(result.plain, made.plain) << piece;
  }
}

TEST_P(UnpackerContract, DecryptsWithTheRightPasswordOnly) {
  for (const std::uint16_t method : {0, 8}) {
    for (const char* const password : {"secret", "\xC3\xA4 b'\"$", "-"}) {
      TestPacked made = PackForTest(SimContent::Generated(70'000).All(), method, password);
      UnpackResult result = UnpackAll(*unpacker, made.entry, made.packed);
      EXPECT_EQ(result.state, UnpackState::Done) << password;
      EXPECT_TRUE(result.plain == made.plain) << password;
      made.entry.password = "wrong";
      result = UnpackAll(*unpacker, made.entry, made.packed);
      EXPECT_TRUE(result.state == UnpackState::Damaged || result.plain != made.plain) << password;
    }
  }
}

TEST_P(UnpackerContract, NeverGivesMoreThanTheSize) {
  TestPacked made = PackForTest(SimContent::Generated(200'000).All(), 8);
  made.entry.size = 1000;
  const UnpackResult result = UnpackAll(*unpacker, made.entry, made.packed);
  EXPECT_EQ(result.state, UnpackState::Damaged);
  EXPECT_LE(result.plain.size(), 1000U);
}

TEST_P(UnpackerContract, FewerBytesThanTheSizeAreDamage) {
  TestPacked made = PackForTest(SimContent::Generated(2000).All(), 8);
  ++made.entry.size;
  EXPECT_EQ(UnpackAll(*unpacker, made.entry, made.packed).state, UnpackState::Damaged);
}

TEST_P(UnpackerContract, BytesThatCannotBeDecodedAreDamage) {
  TestPacked made = PackForTest(SimContent::Generated(2000).All(), 8);
  made.packed[0] = '\7';
  EXPECT_EQ(UnpackAll(*unpacker, made.entry, made.packed).state, UnpackState::Damaged);
  made.entry.method = 77;
  EXPECT_EQ(UnpackAll(*unpacker, made.entry, made.packed).state, UnpackState::Damaged);
}

TEST_P(UnpackerContract, SeveralAtOnceDoNotDisturbEachOther) {
  const TestPacked one = PackForTest(std::string(100'000, '1'), 8);
  const TestPacked two = PackForTest(std::string(100'000, '2'), 0);
  const std::unique_ptr<Unpacking> first = unpacker->Begin(one.entry);
  const UnpackResult second = UnpackAll(*unpacker, two.entry, two.packed);
  EXPECT_TRUE(second.plain == two.plain);
  std::string plain;
  std::string_view left = one.packed;
  for (int calls = 0; first->State() == UnpackState::Working && calls < 10'000; ++calls) {
    left.remove_prefix(first->Exchange(left, plain));
  }
  EXPECT_EQ(first->State(), UnpackState::Done);
  EXPECT_TRUE(plain == one.plain);
}

TEST_P(UnpackerContract, CanBeDestroyedAtAnyTime) {
  const TestPacked made = PackForTest(SimContent::Generated(3'000'000).All(), 0, "x");
  for (const std::size_t given : {0U, 5U, 100'000U, 3'000'000U}) {
    const std::unique_ptr<Unpacking> unpacking = unpacker->Begin(made.entry);
    std::string plain;
    unpacking->Exchange(std::string_view(made.packed).substr(0, given), plain);
  }
}

TEST_P(UnpackerContract, NoCallTakesLong) {
  const TestPacked made = PackForTest(SimContent::Generated(1000).All(), 8);
  const std::unique_ptr<Unpacking> unpacking = unpacker->Begin(made.entry);
  std::string plain;
  for (int i = 0; i < 3; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(unpacking->Exchange({}, plain), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(unpacking->State(), UnpackState::Working);
  }
  EXPECT_EQ(plain, "");
}

}  // namespace pellora
