#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/CookieFile.h"

namespace pellora {
namespace {

constexpr std::int64_t kNow = 1'900'000'000;

std::string For(std::string_view file, std::string_view url = "https://dl.example.com/a/b.zip") {
  return CookiesFor(ReadCookieFile(file), ParseWebAddress(url).value(), kNow);
}

// A line of the file; fields of a cookie that fits, where the test gives no others.
struct Line {
  std::string domain = "dl.example.com";
  std::string subdomains = "FALSE";
  std::string path = "/";
  std::string secure = "FALSE";
  std::string end = "0";
  std::string name = "n";
  std::string value = "v";
  std::string Text() const {
    return domain + "\t" + subdomains + "\t" + path + "\t" + secure + "\t" + end + "\t" + name + "\t" + value + "\n";
  }
};

TEST(CookieFile, GivesTheCookiesOfTheHost) {
  const std::string file = "# Netscape HTTP Cookie File\n\n" + Line{.name = "a", .value = "1"}.Text() +
                           Line{.domain = "other.example.com", .name = "b"}.Text() +
                           Line{.name = "c", .value = "x=y z"}.Text();
  EXPECT_EQ(For(file), "a=1; c=x=y z");
  EXPECT_EQ(For(file, "https://example.com/"), "");
  EXPECT_EQ(For(file, "https://DL.EXAMPLE.COM/a"), "a=1; c=x=y z");
}

TEST(CookieFile, DomainsCoverTheirSubdomainsOnlyIfTheySaySo) {
  EXPECT_EQ(For(Line{.domain = ".example.com", .subdomains = "TRUE"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.domain = "example.com", .subdomains = "true"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.domain = ".example.com", .subdomains = "FALSE"}.Text()), "");
  EXPECT_EQ(For(Line{.domain = "ample.com", .subdomains = "TRUE"}.Text()), "");
  EXPECT_EQ(For(Line{.domain = "x.dl.example.com", .subdomains = "TRUE"}.Text()), "");
  EXPECT_EQ(For(Line{.domain = ".dl.example.com", .subdomains = "TRUE"}.Text()), "n=v");
}

TEST(CookieFile, NoCookieIsForATopLevelDomainOrPartOfANumericHost) {
  EXPECT_EQ(For(Line{.domain = ".com", .subdomains = "TRUE"}.Text()), "");
  EXPECT_EQ(For(Line{.domain = "0.0.1", .subdomains = "TRUE"}.Text(), "http://127.0.0.1/a"), "");
  EXPECT_EQ(For(Line{.domain = "127.0.0.1"}.Text(), "http://127.0.0.1/a"), "n=v");
  EXPECT_EQ(For(Line{.domain = "::1"}.Text(), "http://[::1]/a"), "n=v");
}

TEST(CookieFile, PathsMatchAtTheirSlashes) {
  EXPECT_EQ(For(Line{.path = "/a"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.path = "/a/"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.path = "/a/b.zip"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.path = "/a/b"}.Text()), "");
  EXPECT_EQ(For(Line{.path = "/b"}.Text()), "");
  EXPECT_EQ(For(Line{.path = ""}.Text()), "");
}

TEST(CookieFile, SecureCookiesAreForEncryptedAddresses) {
  const std::string file = Line{.secure = "TRUE"}.Text();
  EXPECT_EQ(For(file), "n=v");
  EXPECT_EQ(For(file, "http://dl.example.com/a"), "");
  EXPECT_EQ(For(file, "ftps://dl.example.com/a"), "");
  EXPECT_EQ(For(Line{}.Text(), "ftp://dl.example.com/a"), "");
}

TEST(CookieFile, EndedCookiesAreLeftOut) {
  EXPECT_EQ(For(Line{.end = "1900000000"}.Text()), "");
  EXPECT_EQ(For(Line{.end = "1900000001"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.end = "1900000001.5"}.Text()), "n=v");
  EXPECT_EQ(For(Line{.end = "-1"}.Text()), "");
  EXPECT_EQ(For(Line{.end = "soon"}.Text()), "");
  EXPECT_EQ(For(Line{.end = "99999999999999999999"}.Text()), "");
}

TEST(CookieFile, HttpOnlyCookiesAreNoComments) {
  EXPECT_EQ(For("#HttpOnly_" + Line{}.Text()), "n=v");
  EXPECT_EQ(For("#" + Line{}.Text()), "");
}

TEST(CookieFile, LongerPathsComeFirstAndOneNameOnce) {
  const std::string file = Line{.name = "a", .value = "root"}.Text() + Line{.name = "b"}.Text() +
                           Line{.path = "/a", .name = "a", .value = "deep"}.Text();
  EXPECT_EQ(For(file), "a=deep; b=v");
}

TEST(CookieFile, TakesLinesOfAnyEndAndAnEmptyValue) {
  EXPECT_EQ(For("dl.example.com\tFALSE\t/\tFALSE\t0\tn\tv\r\ndl.example.com\tFALSE\t/\tFALSE\t0\tm\t"), "n=v; m=");
}

TEST(CookieFile, PassesOverWhatCannotBeSent) {
  for (const std::string& bad : {std::string("v\rSet: x"), std::string("v; other=1"), std::string("v\0w", 3),
                                 std::string("\x7f"), std::string("\x01")}) {
    EXPECT_EQ(For(Line{.value = bad}.Text()), "") << bad;
    EXPECT_EQ(For(Line{.name = bad}.Text()), "") << bad;
  }
  EXPECT_EQ(For(Line{.name = ""}.Text()), "");
  EXPECT_EQ(For(Line{.name = "a=b"}.Text()), "");
}

TEST(CookieFile, PassesOverLinesOfAnotherForm) {
  const std::string good = Line{}.Text();
  for (const std::string& bad :
       {std::string(), std::string("\n\n"), std::string("<html>\n"), std::string("a\tb\n"),
        std::string("\t\t\t\t\t\t\n"), std::string("dl.example.com\tFALSE\t/\tFALSE\t0\tn\tv\tmore\n"),
        std::string("\xff\xfe\0", 3) + "\n", std::string(100'000, '\t') + "\n", std::string(100'000, 'a') + "\n"}) {
    EXPECT_TRUE(ReadCookieFile(bad).empty());
    EXPECT_EQ(For(bad), "");
    EXPECT_EQ(For(bad + good + bad), "n=v");
    EXPECT_EQ(ReadCookieFile(bad + good).size(), 1U);
  }
}

// Whatever is cut off or changed, nothing but whole cookies for this host comes out.
TEST(CookieFile, DamagedFilesNeverGiveControlCharactersOrCookiesOfOtherHosts) {
  const std::string file = Line{.name = "a", .value = "1"}.Text() +
                           Line{.domain = "bank.example.org", .name = "secret", .value = "2"}.Text() + "#HttpOnly_" +
                           Line{.domain = ".example.com", .subdomains = "TRUE", .name = "b"}.Text();
  for (std::size_t at = 0; at < file.size(); ++at) {
    EXPECT_EQ(For(file.substr(0, at)).find("secret"), std::string::npos);
    for (const char c : {'\t', '\n', '\r', '\0', ';', '.', '#', '\xff'}) {
      std::string damaged = file;
      damaged[at] = c;
      const std::string pairs = For(damaged);
      EXPECT_EQ(pairs.find("secret"), std::string::npos) << at;
      for (const char sent : pairs) EXPECT_FALSE(sent == '\r' || sent == '\n' || sent == '\0' || sent == '\t') << at;
    }
  }
}

}  // namespace
}  // namespace pellora
