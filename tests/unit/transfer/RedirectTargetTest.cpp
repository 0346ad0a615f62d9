#include <gtest/gtest.h>

#include "transfer/RedirectTarget.h"

namespace pellora {
namespace {

TEST(TargetOfRedirect, SplitsAfterTheFirstTwoSlashes) {
  struct Case {
    const char* location;
    const char* host;
    const char* path;
    const char* fileName;
  };
  const Case kCases[] = {
      {"http://b.example/x/y.exe", "b.example", "/x/y.exe", "y.exe"},
      {"http://b.example", "b.example", "/", ""},
      {"http://b.example/", "b.example", "/", ""},
      {"http://b.example/x/", "b.example", "/x/", ""},
      {"https://b:8443/z", "b:8443", "/z", "z"},
      {"ftp://b/z", "b", "/z", "z"},
      {"//b/z", "b", "/z", "z"},
      {"http://b//z", "b", "//z", "z"},
      {"http://b/?u=http://c/d", "b", "/?u=http://c/d", "d"},
      {"/a//b.zip", "b.zip", "/", ""},
  };
  for (const Case& one : kCases) {
    SCOPED_TRACE(one.location);
    const RedirectTarget target = TargetOfRedirect(one.location);
    EXPECT_EQ(target.host, one.host);
    EXPECT_EQ(target.path, one.path);
    EXPECT_EQ(target.fileName, one.fileName);
  }
}

TEST(TargetOfRedirect, DropsOneCharacterOfARelativeLocation) {
  const RedirectTarget target = TargetOfRedirect("/a/b.zip");
  EXPECT_EQ(target.host, "a");
  EXPECT_EQ(target.path, "/b.zip");
  EXPECT_EQ(target.fileName, "b.zip");
  EXPECT_EQ(TargetOfRedirect("b.zip").host, ".zip");
}

TEST(TargetOfRedirect, GivesAnEmptyHostForNoLocation) {
  for (const char* const location : {"", "/", "//", "http://"}) {
    EXPECT_EQ(TargetOfRedirect(location).host, "") << location;
    EXPECT_EQ(TargetOfRedirect(location).path, "/") << location;
    EXPECT_EQ(TargetOfRedirect(location).fileName, "") << location;
  }
}

}  // namespace
}  // namespace pellora
