#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "fetch/DigestHeaders.h"

namespace pellora {
namespace {

// Of "abc".
constexpr const char* kMd5 = "kAFQmDzST7DWlj99KOF/cg==";
constexpr const char* kSha1 = "qZk+NkcGgWq6PiVxeFDCbJzQ2J0=";
constexpr const char* kSha256 = "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=";
constexpr const char* kSha512 =
    "3a81oZNherrMQXNJriBBMRLm+k6JqX6iCp7u5ktV05ohkpkqJ0/BqDa6PCOj/uu9RU1EI2Q86A4qmslPpUyknw==";
const Checksum kIsMd5{ChecksumKind::Md5, "900150983cd24fb0d6963f7d28e17f72"};
const Checksum kIsSha1{ChecksumKind::Sha1, "a9993e364706816aba3e25717850c26c9cd0d89d"};
const Checksum kIsSha256{ChecksumKind::Sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"};
const Checksum kIsSha512{ChecksumKind::Sha512,
                         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3fee"
                         "bbd454d4423643ce80e2a9ac94fa54ca49f"};

using Checksums = std::vector<Checksum>;

std::string Member(const std::string& key, const std::string& base64) { return key + "=:" + base64 + ":"; }

FetchAnswer Answer(int status, std::vector<FetchHeader> headers) {
  FetchAnswer answer;
  answer.status = status;
  answer.headers = std::move(headers);
  return answer;
}

TEST(DigestHeaders, ReprDigestHasByteSequences) {
  EXPECT_EQ(ReadReprDigest(Member("sha-256", kSha256)), Checksums{kIsSha256});
  EXPECT_EQ(ReadReprDigest(Member("sha-512", kSha512) + ",\t" + Member("md5", kMd5) + " , " + Member("sha", kSha1)),
            (Checksums{kIsSha512, kIsMd5, kIsSha1}));
  EXPECT_EQ(ReadReprDigest(" " + Member("sha-256", kSha256) + ";a;b=1;c=\"x,y\\\":\" "), Checksums{kIsSha256});
  EXPECT_EQ(ReadReprDigest("unknown=\"a, b\", flag, n=12;p=?1, *x=tok/en, " + Member("sha-256", kSha256)),
            Checksums{kIsSha256});
  EXPECT_EQ(ReadReprDigest(Member("md5", kMd5) + ", " + Member("md5", "AAAAAAAAAAAAAAAAAAAAAA==")),
            (Checksums{{ChecksumKind::Md5, std::string(32, '0')}}))
      << "the last of one key counts";
}

TEST(DigestHeaders, BrokenDictionaryIsNone) {
  const std::string good = Member("sha-256", kSha256);
  for (const std::string& value : {std::string(),
                                   std::string(" "),
                                   std::string(","),
                                   good + ",",
                                   "," + good,
                                   good + " " + good,
                                   good + ";",
                                   good + ";A",
                                   "SHA-256" + good.substr(7),
                                   "sha-256=" + std::string(kSha256),
                                   good.substr(0, good.size() - 1),
                                   good + "x",
                                   "sha-256=:" + std::string(kSha256),
                                   "a=, " + good,
                                   "a=\"x, " + good,
                                   std::string("a=\"x\\"),
                                   "1=2, " + good,
                                   "=" + good,
                                   "a=(b c), " + good,
                                   std::string(100'000, ','),
                                   std::string(100'000, ';'),
                                   std::string(100'000, 'a') + "="}) {
    EXPECT_EQ(ReadReprDigest(value), Checksums{}) << value.substr(0, 100);
  }
}

TEST(DigestHeaders, BytesMustHaveTheLengthOfTheirKind) {
  EXPECT_EQ(ReadReprDigest(Member("sha-256", kMd5)), Checksums{});
  EXPECT_EQ(ReadReprDigest(Member("sha-256", "")), Checksums{});
  EXPECT_EQ(ReadReprDigest(Member("sha-256", std::string(kSha256).substr(0, 43))), Checksums{kIsSha256})
      << "a missing \"=\" is forgiven";
  for (const char* base64 :
       {"ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0===", "ungWv48Bz-pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=",
        "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa=0", "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/Yf AFa0="}) {
    EXPECT_EQ(ReadReprDigest(Member("sha-256", base64)), Checksums{}) << base64;
  }
}

TEST(DigestHeaders, DigestHasBase64OfAnyCaseOfKind) {
  EXPECT_EQ(ReadDigest(std::string("SHA-256=") + kSha256), Checksums{kIsSha256});
  EXPECT_EQ(ReadDigest(std::string("md5=") + kMd5 + ", unixsum=30637,SHA=" + kSha1 + ",sha-512=" + kSha512),
            (Checksums{kIsMd5, kIsSha1, kIsSha512}));
  EXPECT_EQ(ReadDigest(std::string("SHA-256=??,,=,x,MD5=") + kMd5), Checksums{kIsMd5}) << "bad members are left out";
  EXPECT_EQ(ReadDigest(""), Checksums{});
}

TEST(DigestHeaders, StrongestOfAllCounts) {
  const FetchAnswer answer = Answer(206, {{"digest", std::string("SHA=") + kSha1},
                                          {"Repr-Digest", Member("sha-256", kSha256)},
                                          {"Digest", std::string("MD5=") + kMd5}});
  EXPECT_EQ(ChecksumIn(answer), kIsSha256);
}

TEST(DigestHeaders, LinesOfOneNameAreOneValue) {
  EXPECT_EQ(
      ChecksumIn(Answer(200, {{"Repr-Digest", Member("md5", kMd5)}, {"Repr-Digest", Member("sha-512", kSha512)}})),
      kIsSha512);
  EXPECT_EQ(ChecksumIn(Answer(200, {{"Repr-Digest", Member("md5", kMd5)}, {"Repr-Digest", "???"}})), std::nullopt);
}

TEST(DigestHeaders, ThoseOfTheBodyCountInAWholeAnswerAlone) {
  for (const FetchHeader& header :
       {FetchHeader{"Content-MD5", kMd5}, FetchHeader{"Content-Digest", Member("md5", kMd5)}}) {
    EXPECT_EQ(ChecksumIn(Answer(200, {header})), kIsMd5);
    EXPECT_EQ(ChecksumIn(Answer(206, {header})), std::nullopt);
  }
  for (const FetchHeader& header :
       {FetchHeader{"Digest", std::string("MD5=") + kMd5}, FetchHeader{"Repr-Digest", Member("md5", kMd5)}}) {
    EXPECT_EQ(ChecksumIn(Answer(206, {header})), kIsMd5);
  }
}

TEST(DigestHeaders, NothingCountsInACodedOrOtherAnswer) {
  const FetchHeader digest{"Repr-Digest", Member("md5", kMd5)};
  EXPECT_EQ(ChecksumIn(Answer(200, {digest, {"Content-Encoding", "gzip"}})), std::nullopt);
  EXPECT_EQ(ChecksumIn(Answer(200, {digest, {"Content-Encoding", "Identity"}})), kIsMd5);
  for (const int status : {0, 204, 302, 404, 416, 500}) EXPECT_EQ(ChecksumIn(Answer(status, {digest})), std::nullopt);
}

TEST(DigestHeaders, TwoThatDifferCountForNothing) {
  const std::string other = "AAAAAAAAAAAAAAAAAAAAAA==";
  EXPECT_EQ(ChecksumIn(Answer(200, {{"Content-MD5", kMd5}, {"Content-MD5", other}})), std::nullopt);
  EXPECT_EQ(ChecksumIn(Answer(200, {{"Content-MD5", kMd5}, {"Digest", "MD5=" + other}})), std::nullopt);
  EXPECT_EQ(ChecksumIn(Answer(200, {{"Content-MD5", other}, {"Digest", "MD5=" + other}})),
            (Checksum{ChecksumKind::Md5, std::string(32, '0')}));
}

}  // namespace
}  // namespace pellora
