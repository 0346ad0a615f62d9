#include <gtest/gtest.h>

#include "fetch/CookieJar.h"

namespace pellora {
namespace {

constexpr std::int64_t kNow = 1'700'000'000;

WebAddress At(std::string_view url) { return ParseWebAddress(url).value(); }

class CookieJarTest : public testing::Test {
 protected:
  void Take(std::string_view header, std::string_view from = "https://a.example/d/f.zip", std::int64_t now = kNow) {
    jar.Take(At(from), header, now);
  }
  std::string For(std::string_view url) const { return jar.For(At(url)); }

  CookieJar jar;
};

TEST_F(CookieJarTest, SendsCookiesToTheirOriginAlone) {
  Take("a=1; Domain=example; HttpOnly");
  EXPECT_EQ(For("https://a.example/d/g"), "a=1");
  EXPECT_EQ(For("https://b.example/d/g"), "");
  EXPECT_EQ(For("https://a.example:8443/d/g"), "");
  EXPECT_EQ(For("http://a.example/d/g"), "");
}

TEST_F(CookieJarTest, SendsCookiesOfHttpToHttpsOfTheSameHost) {
  Take("a=1; Path=/", "http://a.example/");
  EXPECT_EQ(For("https://a.example/x"), "a=1");
  EXPECT_EQ(For("http://a.example/x"), "a=1");
}

TEST_F(CookieJarTest, SendsSecureCookiesOverHttpsAlone) {
  Take("a=1; Path=/; secure", "http://a.example/");
  EXPECT_EQ(For("http://a.example/x"), "");
  EXPECT_EQ(For("https://a.example/x"), "a=1");
}

TEST_F(CookieJarTest, ObeysPaths) {
  Take("own=1");
  Take("all=2; Path=/");
  Take("deep=3; Path=/d/e");
  Take("wrong=4; Path=d");
  EXPECT_EQ(For("https://a.example/d/e/f"), "deep=3; own=1; wrong=4; all=2");
  EXPECT_EQ(For("https://a.example/d"), "own=1; wrong=4; all=2");
  EXPECT_EQ(For("https://a.example/do"), "all=2");
  EXPECT_EQ(For("https://a.example/d/ef"), "own=1; wrong=4; all=2");
}

TEST_F(CookieJarTest, ReplacesACookieOfTheSameNameAndPath) {
  Take("a=1; Path=/");
  Take("b=2; Path=/");
  Take("a=3; Path=/");
  EXPECT_EQ(For("https://a.example/"), "b=2; a=3");
}

TEST_F(CookieJarTest, RemovesWhatIsOver) {
  for (const char* const end :
       {"Max-Age=0", "Max-Age=-1", "Expires=Thu, 01 Jan 1970 00:00:10 GMT", "expires=Tue, 14 Nov 2023 22:13:20 GMT"}) {
    Take("a=1; Path=/");
    Take(std::string("a=2; Path=/; ") + end);
    EXPECT_EQ(For("https://a.example/"), "") << end;
  }
  Take("a=1; Path=/; Expires=Tue, 14 Nov 2023 22:13:21 GMT");
  EXPECT_EQ(For("https://a.example/"), "a=1");
  Take("a=2; Path=/; Max-Age=5; Expires=Thu, 01 Jan 1970 00:00:10 GMT");
  EXPECT_EQ(For("https://a.example/"), "a=2");
  Take("a=3; Path=/; Max-Age=x; Expires=never");
  EXPECT_EQ(For("https://a.example/"), "a=3");
}

TEST_F(CookieJarTest, KnowsTheYear1970WithoutTheTime) {
  Take("a=1; Path=/; Expires=Thu, 01 Jan 1970 00:00:10 GMT", "https://a.example/", 0);
  EXPECT_EQ(For("https://a.example/"), "");
  Take("a=1; Path=/; Expires=Tue, 14 Nov 2023 22:13:20 GMT", "https://a.example/", 0);
  EXPECT_EQ(For("https://a.example/"), "a=1");
}

TEST_F(CookieJarTest, PassesOverWhatIsNoCookie) {
  for (const char* const header : {"", ";", "a", "=1", "a\x01=1; Path=/", "a=1\r\nX: y; Path=/"}) Take(header);
  Take("a=" + std::string(5000, 'x'));
  EXPECT_EQ(For("https://a.example/d/f"), "");
  Take(" a = b=c ; Path=/");
  EXPECT_EQ(For("https://a.example/"), "a=b=c");
}

TEST_F(CookieJarTest, KeepsTheFiftyYoungest) {
  for (int i = 0; i < 60; ++i) Take("c" + std::to_string(i) + "=1; Path=/");
  const std::string sent = For("https://a.example/");
  EXPECT_TRUE(sent.starts_with("c10=1; "));
  EXPECT_TRUE(sent.ends_with("; c59=1"));
}

}  // namespace
}  // namespace pellora
