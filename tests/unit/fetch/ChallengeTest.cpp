#include <gtest/gtest.h>

#include <string>

#include "fetch/Challenge.h"

namespace pellora {
namespace {

struct Case {
  std::vector<std::string_view> values;
  std::optional<Challenge> read;
};

TEST(Challenge, IsTheSafestOfThoseOffered) {
  const Case cases[] = {
      {{}, std::nullopt},
      {{""}, std::nullopt},
      {{"Basic realm=\"files\""}, Challenge{FetchAuth::Basic, "files"}},
      {{"basic REALM=files"}, Challenge{FetchAuth::Basic, "files"}},
      {{"Basic"}, Challenge{FetchAuth::Basic, ""}},
      {{"Basic realm=\"a\", Digest realm=\"b\", nonce=\"n, Basic realm=x\", qop=\"auth\""},
       Challenge{FetchAuth::Digest, "b"}},
      {{"Basic realm=\"a\"", "Digest algorithm=SHA-256, realm=\"b\""}, Challenge{FetchAuth::Digest, "b"}},
      {{"Negotiate", "NTLM", "Basic realm=\"a\""}, Challenge{FetchAuth::Ntlm, ""}},
      {{"Negotiate, Basic realm=\"a\""}, Challenge{FetchAuth::Basic, "a"}},
      {{"Negotiate oYG2MIGzoAMKAQ=="}, Challenge{FetchAuth::Negotiate, ""}},
      {{"Bearer realm=\"x\", error=\"Basic\""}, std::nullopt},
      {{"Bearer Basic"}, std::nullopt},
      {{" ,, Basic  realm = \"a\\\"b\" ,"}, Challenge{FetchAuth::Basic, "a\"b"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ReadChallenge(c.values), c.read) << (c.values.empty() ? "" : c.values.front());
  }
}

TEST(Challenge, LeavesOutDigestsThatCannotBeComputed) {
  EXPECT_EQ(ReadChallenge({"Digest realm=\"a\", algorithm=SHA-512-256"}), std::nullopt);
  EXPECT_EQ(ReadChallenge({"Digest realm=\"a\", algorithm=SHA-512-256, Digest realm=\"b\", algorithm=\"MD5-sess\""}),
            (Challenge{FetchAuth::Digest, "b"}));
}

TEST(Challenge, RealmsThatCannotBeShownCountAsNone) {
  EXPECT_EQ(ReadChallenge({"Basic realm=\"a\x01\""}), (Challenge{FetchAuth::Basic, ""}));
  const std::string longest = "Basic realm=\"" + std::string(257, 'a') + "\"";
  EXPECT_EQ(ReadChallenge({longest}), (Challenge{FetchAuth::Basic, ""}));
}

TEST(Challenge, EndsWithEveryCutOfItsText) {
  const std::string text = "Digest realm=\"a\\\"b\", nonce=x, Basic realm=\"c\"";
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const auto read = ReadChallenge({std::string_view(text).substr(0, size)});
    EXPECT_EQ(read.has_value(), size >= 6) << size;
  }
}

}  // namespace
}  // namespace pellora
