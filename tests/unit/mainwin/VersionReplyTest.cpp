#include <gtest/gtest.h>

#include <string>

#include "core/Version.h"
#include "mainwin/VersionReply.h"

namespace pellora {
namespace {

struct ReplyCase {
  const char* block;
  float version;
  const char* notes;
};

class VersionReplies : public ::testing::TestWithParam<ReplyCase> {};

TEST_P(VersionReplies, YieldVersionAndNotes) {
  const VersionReply reply = ReadVersionReply(GetParam().block);
  EXPECT_EQ(reply.version, GetParam().version) << GetParam().block;
  EXPECT_EQ(reply.notes, GetParam().notes) << GetParam().block;
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, VersionReplies,
    ::testing::Values(ReplyCase{"HTTP/1.1 200 OK\r\nServer: x\r\n\r\n5.3\r\nFaster.\r\nSmaller.", 5.3F,
                                "Faster.\r\nSmaller."},
                      // Without a line end after the number the notes begin at the body's second character.
                      ReplyCase{"HTTP/1.1 200 OK\r\n\r\n5.21", 5.21F, ".21"},
                      // Without a blank line the body begins at the fourth character.
                      ReplyCase{"xyz5.5\r\nnotes", 5.5F, "notes"}, ReplyCase{"5.5\r\nnotes", 0, "notes"},
                      ReplyCase{"", 0, ""}, ReplyCase{"abc", 0, ""}, ReplyCase{"HTTP/1.1 200 OK\r\n\r\n", 0, ""},
                      ReplyCase{"HTTP/1.1 200 OK\r\n\r\n<html>404</html>", 0, "html>404</html>"},
                      ReplyCase{"HTTP/1.1 200 OK\r\n\r\n  5.4 beta\r\n", 5.4F, ""},
                      ReplyCase{"HTTP/1.1 200 OK\r\n\r\n5,4\r\n", 5.0F, ""},
                      ReplyCase{"HTTP/1.1 200 OK\r\n\r\n-9\r\n", -9.0F, ""}));

TEST(VersionReplies, ClampANumberTooLargeForAFloat) {
  const VersionReply reply = ReadVersionReply("x\r\n\r\n" + std::string(400, '9'));
  EXPECT_GT(reply.version, 1e38F);
  EXPECT_LE(VersionDigits(reply.version).size(), 39U);
}

TEST(VersionReplies, EqualTheProgramsVersionIfTheTextDoes) {
  // As a double, 5.2 is above the float.
  EXPECT_EQ(ReadVersionReply("x\r\n\r\n5.2").version, kVersion);
  EXPECT_EQ(ReadVersionReply("x\r\n\r\n5.20").version, kVersion);
}

TEST(VersionDigits, OmitPointsAndGroups) {
  const std::pair<float, const char*> cases[] = {{5.3F, "53"},  {5.30F, "53"},         {5.21F, "521"},
                                                 {10.0F, "10"}, {100000.0F, "100000"}, {6.125F, "6125"}};
  for (const auto& [version, digits] : cases) EXPECT_EQ(VersionDigits(version), digits);
}

}  // namespace
}  // namespace pellora
