#include <gtest/gtest.h>

#include <string>

#include "core/Utf8.h"
#include "fetch/FileNameFromReply.h"

namespace pellora {
namespace {

std::string Named(std::vector<FetchHeader> headers, const char* url) {
  FetchAnswer answer;
  answer.status = 200;
  answer.headers = std::move(headers);
  return FileNameFromReply(answer, ParseWebAddress(url).value());
}

std::string Disposed(const std::string& value) { return Named({{"content-disposition", value}}, "https://s/path.bin"); }

TEST(FileNameFromReply, TakesTheNameOfContentDisposition) {
  EXPECT_EQ(Disposed("attachment; filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename=\"a b.zip\""), "a b.zip");
  EXPECT_EQ(Disposed("ATTACHMENT;FileName = \"a;b.zip\" ; size=3"), "a;b.zip");
  EXPECT_EQ(Disposed("inline; filename=a b.zip; x=y"), "a b.zip");
  EXPECT_EQ(Disposed("filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename=\"a\\\"b\\\\c.zip\""), "c.zip");  // a quote, then a folder's separator
  EXPECT_EQ(Disposed("attachment; filename=\"it's \\\"it\\\".zip\""), "it's _it_.zip");
  EXPECT_EQ(Disposed("attachment; filename=\"open.zip"), "open.zip");
  EXPECT_EQ(Disposed("attachment; filename=\"open.zip\\"), "path.bin");  // the last part of a path that ends
  EXPECT_EQ(Disposed("attachment; filename=a.zip; filename=b.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename=a%20b.zip"), "a%20b.zip");
}

TEST(FileNameFromReply, PrefersTheExtendedForm) {
  EXPECT_EQ(Disposed("attachment; filename=a.zip; filename*=UTF-8''na%C3%AFve%20%e2%82%ac.zip"),
            "na\xC3\xAFve \xE2\x82\xAC.zip");
  EXPECT_EQ(Disposed("attachment; filename*=utf-8'en'b.zip; filename=a.zip"), "b.zip");
  EXPECT_EQ(Disposed("attachment; filename*=UTF-8''b.zip; filename*=UTF-8''c.zip"), "b.zip");
  EXPECT_EQ(Disposed("attachment; filename*=ISO-8859-1''%E9.zip"), "\xC3\xA9.zip");
  EXPECT_EQ(Disposed("attachment; filename*=\"UTF-8''b.zip\""), "b.zip");
}

TEST(FileNameFromReply, FallsBackFromABrokenExtendedForm) {
  EXPECT_EQ(Disposed("attachment; filename*=UTF-8''%FF.zip; filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename*=KOI8-R''b.zip; filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename*=b.zip; filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename*=UTF-8''..; filename=a.zip"), "a.zip");
  EXPECT_EQ(Disposed("attachment; filename*=UTF-8''..%2F; filename=\"\""), "path.bin");
  EXPECT_EQ(Disposed("attachment"), "path.bin");
  EXPECT_EQ(Disposed("attachment; filename="), "path.bin");
}

TEST(FileNameFromReply, LeavesNoFolderInAName) {
  EXPECT_EQ(Disposed("attachment; filename=\"../../etc/passwd.txt\""), "passwd.txt");
  EXPECT_EQ(Disposed("attachment; filename=\"C:\\\\dir\\\\a.exe\""), "a.exe");
  EXPECT_EQ(Disposed("attachment; filename*=UTF-8''..%2F..%5Ca.sh"), "a.sh");
  EXPECT_EQ(Named({}, "https://s/d/..%2F..%2Fa.sh"), "_._.._a.sh");
}

TEST(FileNameFromReply, TakesTheLastPartOfThePathDecodedAndWithoutTheQuery) {
  EXPECT_EQ(Named({}, "https://s/d/a%20%C3%A9.zip?x=/b.rar#c.7z"), "a \xC3\xA9.zip");
  EXPECT_EQ(Named({}, "https://s/d/%E9.zip"), "\xC3\xA9.zip");  // not UTF-8
  EXPECT_EQ(Named({}, "https://s/d/\xC3\xA9.zip"), "\xC3\xA9.zip");
  EXPECT_EQ(Named({}, "https://s/"), "index");
  EXPECT_EQ(Named({{"Content-Type", "text/html; charset=utf-8"}}, "https://s/d/"), "index.html");
}

TEST(FileNameFromReply, TakesTheExtensionFromTheTypeOnlyIfThereIsNone) {
  EXPECT_EQ(Named({{"Content-Type", "Application/ZIP"}}, "https://s/get"), "get.zip");
  EXPECT_EQ(Named({{"Content-Type", "application/zip"}}, "https://s/get.php"), "get.php");
  EXPECT_EQ(Named({{"Content-Type", "application/octet-stream"}}, "https://s/get"), "get");
  EXPECT_EQ(Named({{"Content-Type", "video/mp4"}, {"Content-Disposition", "attachment; filename=film"}}, "https://s/x"),
            "film.mp4");
  EXPECT_EQ(Named({{"Content-Type", "text/plain"}}, "https://s/Mr.%20Smith"), "Mr. Smith.txt");
}

TEST(FileNameFromReply, KeepsTheExtensionOfTheTypeWithinTheLimit) {
  const std::string name = Named({{"Content-Type", "text/plain"}}, ("https://s/" + std::string(300, 'n')).c_str());
  EXPECT_EQ(name, std::string(236, 'n') + ".txt");
}

TEST(HarmlessName, ReplacesWhatSomeDiskCannotKeep) {
  EXPECT_EQ(HarmlessName("a/b\\c:d*e?f\"g<h>i|j"), "a_b_c_d_e_f_g_h_i_j");
  EXPECT_EQ(HarmlessName("it's 100% (a) [b] #c.zip"), "it's 100% (a) [b] #c.zip");
}

TEST(HarmlessName, DropsControlsAndWhatReversesOrHidesText) {
  EXPECT_EQ(HarmlessName("a\nb\tc\x7F"
                         "d\xC2\x85"
                         "e"),
            "abcde");
  EXPECT_EQ(HarmlessName(std::string("a\0b", 3)), "ab");
  EXPECT_EQ(HarmlessName("invoice\xE2\x80\xAE"
                         "fdp.exe"),
            "invoicefdp.exe");
  EXPECT_EQ(HarmlessName("a\xE2\x81\xA6"
                         "b\xE2\x80\x8F"
                         "c\xEF\xBB\xBF"
                         "d\xD8\x9C"
                         "e\xE2\x80\xA8"
                         "f\xF3\xA0\x81\x81"),
            "abcdef");
  EXPECT_EQ(HarmlessName("\xD9\x85\xDB\x8C\xE2\x80\x8C\xD8\xAE"),
            "\xD9\x85\xDB\x8C\xE2\x80\x8C\xD8\xAE");  // joins letters
}

TEST(HarmlessName, HidesNothingAndNamesNoOption) {
  EXPECT_EQ(HarmlessName(".bashrc"), "_bashrc");
  EXPECT_EQ(HarmlessName("..a"), "_.a");
  EXPECT_EQ(HarmlessName("~a"), "_a");
  EXPECT_EQ(HarmlessName("-rf"), "_rf");
  EXPECT_EQ(HarmlessName("  a.b  "), "a.b");
  EXPECT_EQ(HarmlessName("a.b. ."), "a.b");
  for (const char* const name : {"", ".", "..", "...", " ", ". .", "\x01"}) EXPECT_EQ(HarmlessName(name), "") << name;
}

TEST(HarmlessName, NamesNoDevice) {
  EXPECT_EQ(HarmlessName("con"), "_con");
  EXPECT_EQ(HarmlessName("NUL.txt"), "_NUL.txt");
  EXPECT_EQ(HarmlessName("Com1.a.b"), "_Com1.a.b");
  EXPECT_EQ(HarmlessName("lpt9 .x"), "_lpt9 .x");
  EXPECT_EQ(HarmlessName("com0"), "com0");
  EXPECT_EQ(HarmlessName("com10"), "com10");
  EXPECT_EQ(HarmlessName("comb.x"), "comb.x");
  EXPECT_EQ(HarmlessName("com!"), "com!");
  EXPECT_EQ(HarmlessName("console.log"), "console.log");
}

TEST(HarmlessName, CutsLongNamesBetweenCharactersAndKeepsTheExtension) {
  EXPECT_EQ(HarmlessName(std::string(240, 'n')), std::string(240, 'n'));
  EXPECT_EQ(HarmlessName(std::string(241, 'n')), std::string(240, 'n'));
  EXPECT_EQ(HarmlessName(std::string(300, 'n') + ".tar.gz"), std::string(233, 'n') + ".tar.gz");
  std::string euros;
  for (int i = 0; i < 100; ++i) euros += "\xE2\x82\xAC";
  EXPECT_EQ(HarmlessName(euros + ".zip"), euros.substr(0, 234) + ".zip");  // 236 would cut the 79th
  EXPECT_EQ(HarmlessName(std::string(230, 'n') + "." + std::string(30, 'x')),
            std::string(230, 'n') + "." + std::string(9, 'x'));
}

TEST(HarmlessName, IsStable) {
  for (const std::string& name :
       {std::string("-.~a/b.. "), std::string(300, '.') + "a", "con/" + std::string(300, 'x') + " .zip",
        std::string("\xFF\xFE.-"), std::string(" -nul. "), std::string(238, 'n') + ". " + std::string(30, 'x')}) {
    const std::string once = HarmlessName(name);
    EXPECT_EQ(HarmlessName(once), once);
    EXPECT_TRUE(IsUtf8(once));
    EXPECT_LE(once.size(), kLongestFileName);
  }
}

TEST(NumberedName, PutsTheNumberBeforeTheExtension) {
  EXPECT_EQ(NumberedName("a.zip", 1), "a.zip");
  EXPECT_EQ(NumberedName("a.zip", 2), "a (2).zip");
  EXPECT_EQ(NumberedName("a.mp3", 2), "a (2).mp3");
  EXPECT_EQ(NumberedName("a.tar.gz", 12), "a (12).tar.gz");
  EXPECT_EQ(NumberedName("a", 2), "a (2)");
  EXPECT_EQ(NumberedName(".a", 2), ".a (2)");
  EXPECT_EQ(NumberedName("a.", 2), "a (2)");
  EXPECT_EQ(NumberedName("a.{b", 2), "a.{b (2)");
  EXPECT_EQ(NumberedName("a.b_c", 2), "a.b_c (2)");
  EXPECT_EQ(NumberedName("a.b-c", 2), "a.b-c (2)");
  EXPECT_EQ(NumberedName("a.\xC3\xA9", 2), "a (2).\xC3\xA9");
  EXPECT_EQ(NumberedName("Mr. Smith", 2), "Mr. Smith (2)");
  EXPECT_EQ(NumberedName(std::string(236, 'n') + ".zip", 2), std::string(232, 'n') + " (2).zip");
}

TEST(NumberedName, FollowingOneCountsOn) {
  EXPECT_EQ(FollowingName("a.zip"), "a (2).zip");
  EXPECT_EQ(FollowingName("a (2).zip"), "a (3).zip");
  EXPECT_EQ(FollowingName("a (9).tar.gz"), "a (10).tar.gz");
  EXPECT_EQ(FollowingName("a (2)"), "a (3)");
  EXPECT_EQ(FollowingName("a (1).zip"), "a (1) (2).zip");
  EXPECT_EQ(FollowingName("a (02).zip"), "a (02) (2).zip");
  EXPECT_EQ(FollowingName("a (2x).zip"), "a (2x) (2).zip");
  EXPECT_EQ(FollowingName("a ().zip"), "a () (2).zip");
  EXPECT_EQ(FollowingName(" (2).zip"), " (2) (2).zip");
  EXPECT_EQ(FollowingName(std::string(232, 'n') + " (9).zip"), std::string(231, 'n') + " (10).zip");
}

TEST(NumberedName, OfAPartLeavesRoomForItsEnding) {
  EXPECT_EQ(PartNameOf(std::string(240, 'n')), std::string(240, 'n') + ".part");
  EXPECT_EQ(PartNameOf(std::string(255, 'n')), std::string(240, 'n') + ".part");
}

TEST(NumberedName, NamesThePart) { EXPECT_EQ(PartNameOf("a (2).zip"), "a (2).zip.part"); }

}  // namespace
}  // namespace pellora
