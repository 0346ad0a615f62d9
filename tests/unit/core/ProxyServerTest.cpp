#include <gtest/gtest.h>

#include <string>

#include "core/ProxyServer.h"
#include "core/Settings.h"

namespace pellora {
namespace {

TEST(ProxyServer, UrlsHaveSchemeLoginAndPort) {
  struct Case {
    std::string text, url;
  };
  const Case cases[] = {
      {"proxy.example", "http://proxy.example:3128"},
      {" proxy.example ", "http://proxy.example:3128"},
      {"10.0.0.1:8080", "http://10.0.0.1:8080"},
      {"http://Proxy.example/", "http://proxy.example:3128"},
      {"http://proxy.example:80", "http://proxy.example:80"},
      {"HTTPS://proxy.example", "https://proxy.example:3128"},
      {"socks5://proxy.example:1080", "socks5://proxy.example:1080"},
      {"socks5h://ann:p%40w@[::1]:9050", "socks5h://ann:p%40w@[::1]:9050"},
      {"ann:pw@proxy.example", "http://ann:pw@proxy.example:3128"},
      {"ann@[::1]", "http://ann:@[::1]:3128"},
      {"", ""},
      {"://x", ""},
      {"gopher://proxy.example", ""},
      {"http://proxy.example/path", ""},
      {"http://proxy.example?x", ""},
      {"a b", ""},
      {"proxy.example:99999", ""},
      {"proxy.example:0x", ""},
  };
  for (const Case& c : cases) {
    const auto proxy = ParseProxy(c.text, 3128);
    EXPECT_EQ(proxy ? UrlOf(*proxy) : "", c.url) << c.text;
  }
}

TEST(ProxyServer, OptionsThatNameNoneAreNotLeftOut) {
  Settings settings;
  settings.ProxyPort = 81;
  for (const char* const server : {"", "gopher://x", "a b", "::1"}) {
    settings.ProxyServer = server;
    EXPECT_NE(ProxyOf(settings), "") << server;
  }
  settings.ProxyServer = "socks5h://proxy.example";
  EXPECT_EQ(ProxyOf(settings), "socks5h://proxy.example:81");
}

TEST(ProxyServer, PlainOnesHaveNeitherSchemeNorLogin) {
  for (const char* const plain : {"", "proxy.example", "10.0.0.1", "::1"}) EXPECT_TRUE(IsPlainProxy(plain)) << plain;
  for (const char* const other : {"http://proxy.example", "socks5h://proxy.example", "ann:pw@proxy.example"}) {
    EXPECT_FALSE(IsPlainProxy(other)) << other;
  }
}

}  // namespace
}  // namespace pellora
