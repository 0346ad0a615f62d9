#include <gtest/gtest.h>

#include "desktop/curl/KnownHosts.h"

namespace pellora {
namespace {

TEST(CurlKnownHosts, FindsTheLinesOfTheHostByNameAndPort) {
  const std::string file =
      "# host ssh-rsa COMMENT\n\nhost,other ssh-ed25519 AAA comment\n[host]:2222 ssh-ed25519 "
      "BBB\r\nhost\tssh-rsa\tCCC\n"
      "host\nhost ssh-ed25519\n elsewhere ssh-rsa DDD";
  EXPECT_EQ(KeysOf(file, "host", 22).lines, "host ssh-ed25519 AAA\nhost ssh-rsa CCC\n");
  EXPECT_EQ(KeysOf(file, "other", 22).lines, "other ssh-ed25519 AAA\n");
  EXPECT_EQ(KeysOf(file, "host", 2222).lines, "[host]:2222 ssh-ed25519 BBB\n");
  EXPECT_EQ(KeysOf(file, "elsewhere", 22).lines, "elsewhere ssh-rsa DDD\n");
  EXPECT_EQ(KeysOf(file, "hos", 22).lines, "");
  EXPECT_EQ(KeysOf("", "host", 22).lines, "");
}

TEST(CurlKnownHosts, NamesTheKindOfAKeyThatCanBeUsed) {
  const auto key = [](const std::string& kind, char length) {
    return QByteArray::fromStdString(std::string("\0\0\0", 3) + length + kind + "rest");
  };
  EXPECT_EQ(KindOfKey(key("ssh-ed25519", 11)), "ssh-ed25519");
  EXPECT_EQ(KindOfKey(key("ssh-ed25519", 12)), "");
  EXPECT_EQ(KindOfKey(key("ssh-ed25519", '\x7f')), "");
  EXPECT_EQ(KindOfKey(key("ssh ed25519", 11)), "");
  EXPECT_EQ(KindOfKey(QByteArray("\xff\xff\xff\xffssh-rsa")), "");
  EXPECT_EQ(KindOfKey(QByteArray("abc")), "");
  EXPECT_EQ(KindOfKey(QByteArray()), "");
}

TEST(CurlKnownHosts, UnderstandsPatternsAndExceptions) {
  const std::string file = "*.example,!bad.example ssh-ed25519 AAA\n?.test ssh-ed25519 BBB\n* ssh-ed25519 CCC\n";
  EXPECT_EQ(KeysOf(file, "a.example", 22).lines, "a.example ssh-ed25519 AAA\na.example ssh-ed25519 CCC\n");
  EXPECT_EQ(KeysOf(file, "bad.example", 22).lines, "bad.example ssh-ed25519 CCC\n");
  EXPECT_EQ(KeysOf(file, "x.test", 22).lines, "x.test ssh-ed25519 BBB\nx.test ssh-ed25519 CCC\n");
  EXPECT_EQ(KeysOf("a*b*c ssh-ed25519 A\n", "aXXbYYbc", 22).lines, "aXXbYYbc ssh-ed25519 A\n");
  EXPECT_EQ(KeysOf("a*b*c ssh-ed25519 A\n", "aXXbYY", 22).lines, "");
}

TEST(CurlKnownHosts, ComparesHashedNames) {
  // HMAC-SHA1 of "host" with the salt "salt".
  const std::string file =
      "|1|c2FsdA==|HTaAJnQ397DFDw7nGYI3YRODWDA= ssh-ed25519 AAA\n|1|x ssh-ed25519 B\n|1| ssh-ed25519 B\n";
  EXPECT_EQ(KeysOf(file, "host", 22).lines, "host ssh-ed25519 AAA\n");
  EXPECT_EQ(KeysOf(file, "hosts", 22).lines, "");
}

TEST(CurlKnownHosts, PutsKindsInOrderAndLeavesOutWhatCannotBeUsed) {
  const std::string file =
      "host ssh-rsa R\nhost sk-ssh-ed25519@openssh.com S\n@cert-authority host ssh-ed25519 C\nhost ecdsa-sha2-nistp256 "
      "E\n"
      "@revoked host ssh-ed25519 X\nhost ssh-ed25519 D\n";
  const KnownKeys keys = KeysOf(file, "host", 22);
  EXPECT_EQ(keys.lines, "host ssh-ed25519 D\nhost ecdsa-sha2-nistp256 E\nhost ssh-rsa R\n");
  EXPECT_EQ(keys.revoked, std::vector<std::string>{"X"});
}

}  // namespace
}  // namespace pellora
