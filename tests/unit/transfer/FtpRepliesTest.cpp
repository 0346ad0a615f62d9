#include <gtest/gtest.h>

#include "ports/Failure.h"
#include "transfer/FtpReplies.h"

namespace pellora {
namespace {

TEST(QuotedDirectory, IsBetweenTheFirstAndTheLastQuote) {
  EXPECT_EQ(QuotedDirectory("257 \"/home/u\" is the current directory"), "/home/u");
  EXPECT_EQ(QuotedDirectory("257 \"/a \"\"b\"\"\" x"), "/a \"\"b\"\"");
}

TEST(QuotedDirectory, IsEmptyWithoutTwoQuotes) {
  EXPECT_EQ(QuotedDirectory("257 /home/u"), "");
  EXPECT_EQ(QuotedDirectory("257 \"/home/u"), "");
  EXPECT_EQ(QuotedDirectory("257"), "");
}

TEST(RemoteDirectory, IsRelativeToTheLoginDirectory) {
  EXPECT_EQ(RemoteDirectory("/home/u", "/pub/a.zip"), "/home/u/pub/");
  EXPECT_EQ(RemoteDirectory("/", "/pub/a.zip"), "/pub/");
  EXPECT_EQ(RemoteDirectory("/home/u/", "/a.zip"), "/home/u/");
  EXPECT_EQ(RemoteDirectory("", "/pub/a.zip"), "/pub/");
  EXPECT_EQ(RemoteDirectory("/home/u", "a.zip"), "/home/u");
}

TEST(SizeReply, IsTheNumberAfterTheFirstBlank) {
  EXPECT_EQ(SizeReply("213 52428800"), 52428800);
  EXPECT_EQ(SizeReply("213-1"), 0);
  EXPECT_EQ(SizeReply("213 -1"), 0);
  EXPECT_EQ(SizeReply("213 abc"), 0);
  EXPECT_EQ(SizeReply("213 2147483647"), 2147483647);
  EXPECT_EQ(SizeReply("213 2147483648"), 0);
  EXPECT_EQ(SizeReply("213 99999999999"), 0);
}

TEST(ParsePassiveReply, ReadsHostAndPortUnchanged) {
  const PassiveAddress address = ParsePassiveReply("227 Entering Passive Mode (10,0,0,7,195,80).");
  EXPECT_EQ(address.host, "10.0.0.7");
  EXPECT_EQ(address.Port(), 195 * 256 + 80);
  EXPECT_EQ(address.PortModulo(), 195 * 256 + 80);
}

TEST(ParsePassiveReply, ReducesNumbersAbove255ForTheSegmentsOnly) {
  const PassiveAddress address = ParsePassiveReply("227 (1,2,3,4,257,300)");
  EXPECT_EQ(address.Port(), 257 * 256 + 300);
  EXPECT_EQ(address.PortModulo(), 1 * 256 + 44);
}

TEST(ParsePassiveReply, IgnoresASeventhNumber) {
  const PassiveAddress address = ParsePassiveReply("227 (1,2,3,4,5,6,7,8)");
  EXPECT_EQ(address.host, "1.2.3.4");
  EXPECT_EQ(address.Port(), 5 * 256 + 6);
}

TEST(ParsePassiveReply, TruncatesFractionsAndClampsGarbage) {
  EXPECT_EQ(ParsePassiveReply("227 (1,2,3,4,1.9,x)").PortModulo(), 256);
  const PassiveAddress huge = ParsePassiveReply("227 (1,2,3,4,99999999999,-99999999999)");
  EXPECT_GE(huge.PortModulo(), 0);
  EXPECT_LT(huge.PortModulo(), 65536);
}

TEST(ParsePassiveReply, FailsWithoutAnAddress) {
  for (const char* const line : {"227", "227 Entering Passive Mode", "227 )(", "227 (1,2,3,4)", "227 (1,2,3,4,5"}) {
    EXPECT_THROW(ParsePassiveReply(line), Failure) << line;
  }
}

TEST(FtpCommand, CannotCarryASecondCommand) {
  EXPECT_EQ(FtpCommand("RETR ", "/pub/a b.zip"), "RETR /pub/a b.zip\r\n");
  EXPECT_EQ(FtpCommand("RETR ", "a\r\nDELE b"), "RETR a??DELE b\r\n");
  EXPECT_EQ(FtpCommand("RETR ",
                       "a\x7f"
                       "b\xC3\xA4"),
            "RETR a?b\xC3\xA4\r\n");
}

}  // namespace
}  // namespace pellora
