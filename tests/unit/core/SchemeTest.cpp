#include <gtest/gtest.h>

#include "core/Scheme.h"

namespace pellora {
namespace {

struct SchemeCase {
  const char* text;
  bool any, lowerCase, openable;
};

TEST(Scheme, IgnoresCaseUnlessLowerCaseIsRequired) {
  const SchemeCase cases[] = {
      {"http://a/b", true, true, true},   {"ftp://a/b", true, true, true},     {"HTTP://a/b", true, false, true},
      {"Ftp://a/b", true, false, true},   {"https://a/b", false, false, true}, {"HTTPS://a/b", false, false, true},
      {"http://", true, true, false},     {"FTP://", true, false, false},      {"https://", false, false, false},
      {"http:/a", false, false, false},   {"ftps://a/b", false, false, false}, {"", false, false, false},
      {" http://a", false, false, false}, {"file:///a", false, false, false},  {"a http://b", false, false, false},
  };
  for (const SchemeCase& one : cases) {
    EXPECT_EQ(HasScheme(one.text), one.any) << one.text;
    EXPECT_EQ(HasLowerCaseScheme(one.text), one.lowerCase) << one.text;
    EXPECT_EQ(IsOpenableUrl(one.text), one.openable) << one.text;
  }
}

TEST(Scheme, TellsHttpFromFtp) {
  EXPECT_TRUE(HasHttpScheme("Http://a/b"));
  EXPECT_FALSE(HasFtpScheme("Http://a/b"));
  EXPECT_TRUE(HasFtpScheme("fTP://a/b"));
  EXPECT_FALSE(HasHttpScheme("fTP://a/b"));
}

TEST(Scheme, KnowsTheNewSchemesInAnyCaseOrInLowerCaseOnly) {
  for (const char* const url : {"https://h/f", "HTTPS://", "ftps://h", "sftp://h/f"})
    EXPECT_TRUE(HasNewScheme(url)) << url;
  for (const char* const url : {"http://h/f", "ftp://h/f", "https:/h", " https://h", "httpss://h"}) {
    EXPECT_FALSE(HasNewScheme(url)) << url;
  }
  EXPECT_TRUE(HasLowerCaseNewScheme("sftp://h"));
  EXPECT_FALSE(HasLowerCaseNewScheme("SFTP://h"));
}

}  // namespace
}  // namespace pellora
