#include <gtest/gtest.h>

#include <map>

#include "fetch/EnvironmentProxy.h"

namespace pellora {
namespace {

using Environment = std::map<std::string, std::string>;

std::string ProxyOf(const std::string& url, const Environment& environment) {
  return EnvironmentProxy(*ParseWebAddress(url), [&](const std::string& name) {
    const auto found = environment.find(name);
    return found == environment.end() ? std::string() : found->second;
  });
}

bool Excepts(const std::string& noProxy, const std::string& url) {
  return ProxyOf(url, {{"all_proxy", "p"}, {"no_proxy", noProxy}}).empty();
}

TEST(EnvironmentProxy, IsTheOneOfTheScheme) {
  const Environment environment{
      {"http_proxy", "http://h:1"}, {"https_proxy", "http://s:2"}, {"ftp_proxy", "http://f:3"}};
  EXPECT_EQ(ProxyOf("http://x.example/", environment), "http://h:1");
  EXPECT_EQ(ProxyOf("https://x.example/", environment), "http://s:2");
  EXPECT_EQ(ProxyOf("ftp://x.example/a", environment), "http://f:3");
  EXPECT_EQ(ProxyOf("ftps://x.example/a", environment), "http://f:3");
  EXPECT_EQ(ProxyOf("sftp://x.example/a", environment), "");
  EXPECT_EQ(ProxyOf("http://x.example/", {}), "");
}

TEST(EnvironmentProxy, ForAllCountsWhereTheSchemeHasNone) {
  const Environment environment{{"https_proxy", "http://s:2"}, {"all_proxy", "socks5h://a:1080"}};
  EXPECT_EQ(ProxyOf("https://x.example/", environment), "http://s:2");
  for (const char* const url : {"http://x.example/", "ftp://x.example/a", "sftp://x.example/a"}) {
    EXPECT_EQ(ProxyOf(url, environment), "socks5h://a:1080") << url;
  }
}

TEST(EnvironmentProxy, CapitalsCountButForHttp) {
  EXPECT_EQ(ProxyOf("https://x.example/", {{"HTTPS_PROXY", "http://s:2"}}), "http://s:2");
  EXPECT_EQ(ProxyOf("https://x.example/", {{"HTTPS_PROXY", "http://s:2"}, {"https_proxy", "http://t:2"}}),
            "http://t:2");
  EXPECT_EQ(ProxyOf("https://x.example/", {{"ALL_PROXY", "http://a:2"}}), "http://a:2");
  EXPECT_EQ(ProxyOf("https://x.example/", {{"ALL_PROXY", "http://a:2"}, {"NO_PROXY", "example"}}), "");
  EXPECT_EQ(ProxyOf("http://x.example/", {{"HTTP_PROXY", "http://evil:2"}}), "");
}

TEST(EnvironmentProxy, WithoutASchemeIsOfHttp) {
  EXPECT_EQ(ProxyOf("https://x.example/", {{"https_proxy", "joe:pw@proxy:3128"}}), "http://joe:pw@proxy:3128");
  // Never a direct connection instead.
  EXPECT_EQ(ProxyOf("https://x.example/", {{"https_proxy", "::"}}), "http://::");
}

TEST(EnvironmentProxy, ExceptsNamesAndWhatIsBelowThem) {
  for (const char* const list : {"b.example", ".b.example", "*.b.example", "B.EXAMPLE", "b.example.", "a, b.example",
                                 "a\tb.example", ",,b.example,"}) {
    EXPECT_TRUE(Excepts(list, "https://b.example/")) << list;
    EXPECT_TRUE(Excepts(list, "https://x.b.example/")) << list;
    EXPECT_FALSE(Excepts(list, "https://xb.example/")) << list;
    EXPECT_FALSE(Excepts(list, "https://example/")) << list;
    EXPECT_FALSE(Excepts(list, "https://b.example.org/")) << list;
  }
  EXPECT_TRUE(Excepts("*", "https://b.example/"));
  EXPECT_TRUE(Excepts("x *", "https://b.example/"));
  for (const char* const list : {"", ",", ".", "*.", "[", "[]", "[]:"}) {
    EXPECT_FALSE(Excepts(list, "https://b.example/")) << list;
  }
}

TEST(EnvironmentProxy, ExceptsPorts) {
  EXPECT_TRUE(Excepts("b.example:8443", "https://b.example:8443/"));
  EXPECT_FALSE(Excepts("b.example:8443", "https://b.example/"));
  EXPECT_TRUE(Excepts("b.example:443", "https://b.example/"));
}

TEST(EnvironmentProxy, ExceptsAddressesThatAreEqual) {
  EXPECT_TRUE(Excepts("127.0.0.1", "https://127.0.0.1/"));
  EXPECT_FALSE(Excepts("0.0.1", "https://127.0.0.1/"));
  EXPECT_TRUE(Excepts("::1", "https://[::1]/"));
  EXPECT_TRUE(Excepts("[::1]", "https://[::1]/"));
  EXPECT_TRUE(Excepts("[::1]:8443", "https://[::1]:8443/"));
  EXPECT_FALSE(Excepts("[::1]:8443", "https://[::1]/"));
}

}  // namespace
}  // namespace pellora
