#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "core/ChecksumList.h"

namespace pellora {
namespace {

const std::string kMd5(32, '1');
const std::string kSha1(40, '2');
const std::string kSha256(64, '3');
const std::string kOther256(64, '4');
const std::string kSha512(128, '5');

std::string Found(const std::string& list, const std::string& name = "a.iso") {
  const std::optional<Checksum> found = ListedChecksum(list, name);
  return found ? found->hex : "";
}

TEST(ChecksumList, ReadsLinesOfCoreutils) {
  const std::string list = kOther256 + "  b.iso\n" + kSha256 + "  a.iso\n";
  EXPECT_EQ(Found(list), kSha256);
  EXPECT_EQ(Found(kSha256 + " *a.iso\n"), kSha256);
  EXPECT_EQ(Found(kSha256 + "  a.iso"), kSha256) << "without the last line feed";
  EXPECT_EQ(Found(kSha256 + "  a.iso\r\n" + kOther256 + "  b.iso\r\n"), kSha256);
  EXPECT_EQ(Found("\xEF\xBB\xBF" + kSha256 + "  a.iso\n"), kSha256) << "a byte order mark";
  EXPECT_EQ(Found(kSha256 + "  two  words.iso\n", "two  words.iso"), kSha256);
}

TEST(ChecksumList, ReadsTheKindFromTheNumberOfDigits) {
  for (const std::string& digits : {kMd5, kSha1, kSha256, kSha512}) EXPECT_EQ(Found(digits + "  a.iso\n"), digits);
  EXPECT_EQ(Found(std::string(64, 'A') + "  a.iso\n"), std::string(64, 'a'));
}

TEST(ChecksumList, ReadsLinesOfBsdAndOpenssl) {
  EXPECT_EQ(Found("SHA256 (a.iso) = " + kSha256 + "\n"), kSha256);
  EXPECT_EQ(Found("MD5 (a.iso) = " + kMd5 + "\n"), kMd5);
  EXPECT_EQ(Found("SHA2-256(a.iso)= " + kSha256 + "\n"), kSha256);
  EXPECT_EQ(Found("SHA512(a.iso)= " + kSha512 + "\n"), kSha512);
  EXPECT_EQ(Found("SHA256 (a (1).iso) = " + kSha256 + "\n", "a (1).iso"), kSha256);
  EXPECT_EQ(Found("SHA256 (a.iso) = " + kMd5 + "\n"), "") << "digits of another kind";
  EXPECT_EQ(Found("SHA256 (a.iso) " + kSha256 + "\n"), "");
  EXPECT_EQ(Found("CRC (a.iso) = " + kSha256 + "\n"), "");
}

TEST(ChecksumList, UndoesTheEscapesOfNames) {
  EXPECT_EQ(Found("\\" + kSha256 + "  a\\nb\\\\c\\rd\n", "a\nb\\c\rd"), kSha256);
  EXPECT_EQ(Found("\\SHA256 (a\\\\b) = " + kSha256 + "\n", "a\\b"), kSha256);
  EXPECT_EQ(Found(kSha256 + "  a\\nb\n", "a\\nb"), kSha256) << "no escape without the mark";
  EXPECT_EQ(Found("\\" + kSha256 + "  a\\tb\n", "a\tb"), "") << "coreutils writes no such escape";
  EXPECT_EQ(Found("\\" + kSha256 + "  a\\\n", "a\\"), "") << "cut in mid-escape";
}

TEST(ChecksumList, NamesOfOtherFoldersAndCasesAreOthers) {
  EXPECT_EQ(Found(kSha256 + "  ./a.iso\n"), kSha256);
  for (const char* listed : {"dir/a.iso", "../a.iso", "/a.iso", "A.iso", "a.iso ", " a.iso", "a.iso.sig", "a.is"}) {
    EXPECT_EQ(Found(kSha256 + "  " + listed + "\n"), "") << listed;
  }
}

TEST(ChecksumList, TakesTheStrongestOfSeveralKinds) {
  EXPECT_EQ(Found("MD5 (a.iso) = " + kMd5 + "\nSHA256 (a.iso) = " + kSha256 + "\nSHA1 (a.iso) = " + kSha1 + "\n"),
            kSha256);
}

TEST(ChecksumList, ContradictionsCountForNothing) {
  EXPECT_EQ(Found(kSha256 + "  a.iso\n" + kSha256 + "  a.iso\n"), kSha256) << "the same twice";
  EXPECT_EQ(Found(kSha256 + "  a.iso\n" + kOther256 + "  ./a.iso\n"), "");
  EXPECT_EQ(Found(kSha256 + "  a.iso\n" + kOther256 + "  a.iso\n" + kSha256 + "  a.iso\n"), "");
  EXPECT_EQ(Found(kMd5 + "  a.iso\n" + std::string(32, 'f') + "  a.iso\n" + kSha1 + "  a.iso\n"), kSha1)
      << "of a weaker kind";
}

TEST(ChecksumList, OtherLinesCountForNothing) {
  const std::string signedList =
      "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA512\n\n" + kSha256 +
      "  a.iso\n-----BEGIN PGP SIGNATURE-----\n\niQIzBAEBCAAdFiEE\n-----END PGP SIGNATURE-----\n";
  EXPECT_EQ(Found(signedList), kSha256);
  for (const std::string& list :
       {std::string(), std::string("\n\n\n"), std::string("\\"), std::string("\\\n"), std::string("()=\n"),
        std::string("SHA256 () = ") + kSha256, kSha256 + "\n", kSha256 + " a.iso\n", kSha256 + "\ta.iso\n",
        kSha256 + "  \n", kSha256 + "a  a.iso\n", std::string(63, '3') + "  a.iso\n",
        std::string(64, 'g') + "  a.iso\n", "sha256:" + kSha256 + "  a.iso\n",
        std::string("<html><body>404 a.iso</body></html>"), std::string(1 << 20, '('), std::string(1 << 20, '\\'),
        std::string(1 << 20, '\n'), std::string("\0\0  a.iso\n", 10)}) {
    EXPECT_EQ(Found(list), "") << list.substr(0, 80);
  }
}

TEST(ChecksumList, OfOneFileMayBeTheDigitsAlone) {
  const auto found = [](const std::string& list) {
    const std::optional<Checksum> one = ListedChecksumOfOne(list, "a.iso");
    return one ? one->hex : "";
  };
  EXPECT_EQ(found(kSha256), kSha256);
  EXPECT_EQ(found("\xEF\xBB\xBF" + kSha256 + "\r\n"), kSha256);
  EXPECT_EQ(found(kSha256 + "  a.iso\n"), kSha256);
  EXPECT_EQ(found("SHA256 (a.iso) = " + kSha256 + "\n"), kSha256);
  EXPECT_EQ(found(kSha256 + "  b.iso\n"), "") << "of another file";
  EXPECT_EQ(found(kSha256 + "\n" + kOther256 + "\n"), "");
  EXPECT_EQ(found("sha256=" + kSha256), "");
  EXPECT_EQ(found(""), "");
}

}  // namespace
}  // namespace pellora
