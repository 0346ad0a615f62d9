#include <gtest/gtest.h>

#include "mainwin/ClipboardUrl.h"

namespace pellora {
namespace {

const std::string kUsual = "HTM,HTML,ASP,PHP,CGI";

TEST(UrlToAskAbout, TrimsBlanksAndLineEndsAroundAnHttpOrFtpUrl) {
  EXPECT_EQ(UrlToAskAbout("http://a.example/x.zip", kUsual), "http://a.example/x.zip");
  EXPECT_EQ(UrlToAskAbout("ftp://a.example/x.zip  ", kUsual), "ftp://a.example/x.zip");
  for (const char* const text : {"http://a.example/x.zip\n", "http://a.example/x.zip\r\n", " http://a.example/x.zip",
                                 "\n\r\n http://a.example/x.zip \n \r"}) {
    EXPECT_EQ(UrlToAskAbout(text, kUsual), "http://a.example/x.zip") << text;
  }
}

TEST(UrlToAskAbout, ChecksTheEndOfTheUrlNotOfTheText) {
  EXPECT_EQ(UrlToAskAbout("http://a.example/x/\n", kUsual), std::nullopt);
  EXPECT_EQ(UrlToAskAbout("http://a.example/x.htm\r\n", kUsual), std::nullopt);
  EXPECT_EQ(UrlToAskAbout(" \r\n", kUsual), std::nullopt);
}

TEST(TrimCopiedText, RemovesBlanksAndLineEndsAndNothingElse) {
  EXPECT_EQ(TrimCopiedText("\r\n a\nb \n"), "a\nb");
  EXPECT_EQ(TrimCopiedText("\ta\t"), "\ta\t");
  EXPECT_EQ(TrimCopiedText(""), "");
  EXPECT_EQ(TrimCopiedText("\n \r"), "");
}

TEST(UrlToAskAbout, AsksAboutAUrlWithoutADot) {
  EXPECT_EQ(UrlToAskAbout("http://localhost/file", kUsual), "http://localhost/file");
}

TEST(UrlToAskAbout, NeverAsksAboutAnUppercaseScheme) {
  EXPECT_EQ(UrlToAskAbout("HTTP://a.example/x.zip", kUsual), std::nullopt);
  EXPECT_EQ(UrlToAskAbout("https://a.example/x.zip", kUsual), std::nullopt);
}

TEST(UrlToAskAbout, NeverAsksAboutAUrlThatEndsInASlash) {
  EXPECT_EQ(UrlToAskAbout("http://a.example/x/", kUsual), std::nullopt);
  EXPECT_EQ(UrlToAskAbout("http://a.example/x\\ ", kUsual), std::nullopt);
}

TEST(UrlToAskAbout, SkipsIgnoredExtensionsInAnyCase) {
  for (const char* extension : {"htm", "HTML", "Php", "cgi"}) {
    EXPECT_EQ(UrlToAskAbout(std::string("http://a.example/x.") + extension, kUsual), std::nullopt) << extension;
  }
}

TEST(UrlToAskAbout, AsksAboutAnIgnoredExtensionWithAQuery) {
  EXPECT_TRUE(UrlToAskAbout("http://a.example/x.php?id=1", kUsual));
}

TEST(UrlToAskAbout, IgnoresNoExtensionInAListOfOneButBothOfTwo) {
  EXPECT_TRUE(UrlToAskAbout("http://a.example/x.htm", "HTM"));
  EXPECT_FALSE(UrlToAskAbout("http://a.example/x.htm", "HTM,ZIP"));
  EXPECT_FALSE(UrlToAskAbout("http://a.example/x.zip", "HTM,ZIP"));
}

TEST(UrlToAskAbout, DoesNotTrimTheIgnoredExtensions) {
  EXPECT_TRUE(UrlToAskAbout("http://a.example/x.zip", "HTM, ZIP"));
}

TEST(UrlToAskAbout, TreatsSeveralLinesAsOneText) {
  EXPECT_EQ(UrlToAskAbout("http://a.example/x.zip\r\nmore", kUsual), "http://a.example/x.zip\r\nmore");
}

TEST(NewUrlToAskAbout, AsksOnlyWhereThePathEndsInANameWithAnExtension) {
  EXPECT_EQ(NewUrlToAskAbout(" https://a.example/d/x.zip\r\n", kUsual), "https://a.example/d/x.zip");
  EXPECT_EQ(NewUrlToAskAbout("sftp://u@a.example/x.zip?y#z", kUsual), "sftp://u@a.example/x.zip?y#z");
  for (const char* const text : {"https://a.example", "https://a.example/", "https://a.example/page",
                                 "https://a.example/page?f=x.zip", "https://a.example/d.zip/", "http://a.example/x.zip",
                                 "HTTPS://a.example/x.zip", "https://a.example/x.zip\nmore"}) {
    EXPECT_EQ(NewUrlToAskAbout(text, kUsual), std::nullopt) << text;
  }
}

TEST(NewUrlToAskAbout, IgnoresExtensionsOfThePathAlsoInAListOfOne) {
  EXPECT_FALSE(NewUrlToAskAbout("https://a.example/x.htm", "HTM"));
  EXPECT_FALSE(NewUrlToAskAbout("https://a.example/x.Php?f=a.zip", kUsual));
  EXPECT_FALSE(NewUrlToAskAbout("https://a.example/x%2Ehtm", kUsual));
  EXPECT_TRUE(NewUrlToAskAbout("https://a.example/x.zip?f=a.php", kUsual));
  EXPECT_TRUE(NewUrlToAskAbout("https://a.example/x.zip", ""));
}

}  // namespace
}  // namespace pellora
