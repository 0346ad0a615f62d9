#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "transfer/ReplyHeaders.h"

namespace pellora {
namespace {

TEST(ParseReplyHeaders, ReadsStatusLengthAndType) {
  const ReplyHeaders headers = ParseReplyHeaders(
      "HTTP/1.1 206 Partial Content\r\nContent-Length: 5000\r\nContent-Type: application/zip\r\n\r\n");
  EXPECT_EQ(headers.status, 206);
  EXPECT_EQ(headers.contentLength, 5000);
  EXPECT_EQ(headers.contentType, "application/zip");
  EXPECT_EQ(headers.location, "");
}

TEST(ParseReplyHeaders, ReadsTheLocationOfARedirect) {
  const ReplyHeaders headers = ParseReplyHeaders("HTTP/1.1 302 Found\r\nLocation: http://b/c\r\n\r\n");
  EXPECT_EQ(headers.status, 302);
  EXPECT_EQ(headers.location, "http://b/c");
}

TEST(ParseReplyHeaders, LeavesTheLengthAtZeroWithoutItsLine) {
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 200 OK\r\nServer: x\r\n\r\n").contentLength, 0);
}

TEST(ParseReplyHeaders, LetsTheLaterLineWin) {
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 22\r\n\r\n").contentLength, 22);
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: x\r\n\r\n").contentLength, 0);
}

TEST(ParseReplyHeaders, IgnoresALineWithoutLineEnd) {
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 200 OK\r\nContent-Length: 7").contentLength, 0);
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n").contentLength, 7);
}

TEST(ParseReplyHeaders, AcceptsKeysInAnyCase) {
  const ReplyHeaders headers = ParseReplyHeaders("x\r\ncontent-LENGTH: 3\r\nlOCATION: b\r\ncontent-type: t\r\n");
  EXPECT_EQ(headers.contentLength, 3);
  EXPECT_EQ(headers.location, "b");
  EXPECT_EQ(headers.contentType, "t");
}

TEST(ParseReplyHeaders, LosesTheFirstCharacterWithoutABlankAfterTheColon) {
  const ReplyHeaders headers =
      ParseReplyHeaders("HTTP/1.1 200 OK\r\nContent-Length:1234\r\nLocation:http://x/\r\nContent-Type:a/b\r\n\r\n");
  EXPECT_EQ(headers.contentLength, 234);
  EXPECT_EQ(headers.location, "ttp://x/");
  EXPECT_EQ(headers.contentType, "a/b");
}

TEST(ParseReplyHeaders, TrimsBlanksOfValuesAndKeepsParameters) {
  const ReplyHeaders headers =
      ParseReplyHeaders("x\r\nLocation:    a b  \r\nContent-Type:  text/html; charset=utf-8 \r\n\r\n");
  EXPECT_EQ(headers.location, "a b");
  EXPECT_EQ(headers.contentType, "text/html; charset=utf-8");
}

TEST(ParseReplyHeaders, ReadsTheStatusFromTheNinthCharacterOfAnyText) {
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.0 404 Not Found\r\n\r\n").status, 404);
  EXPECT_EQ(ParseReplyHeaders("12345678500").status, 500);
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1").status, 0);
  EXPECT_EQ(ParseReplyHeaders("").status, 0);
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 OK").status, 0);
  EXPECT_EQ(ParseReplyHeaders("HTTP/1.1 99999999999").status, 2147483647);
}

TEST(ParseReplyHeaders, ClampsALengthToTheLimitsOfItsType) {
  const auto lengthOf = [](const std::string& value) {
    return ParseReplyHeaders("x\r\nContent-Length: " + value + "\r\n").contentLength;
  };
  EXPECT_EQ(lengthOf("2147483647"), 2147483647);
  EXPECT_EQ(lengthOf("3000000000"), 2147483647);
  EXPECT_EQ(lengthOf(std::string(5000, '9')), 2147483647);
  EXPECT_EQ(lengthOf("-3000000000"), -2147483647 - 1);
  EXPECT_EQ(lengthOf("-1"), -1);
  EXPECT_EQ(lengthOf("2.5"), 2);
  EXPECT_EQ(lengthOf("1e9"), 1);
}

TEST(ParseReplyHeaders, ScansABodyInTheSameBlockLikeHeaders) {
  const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nbody\r\n";
  EXPECT_EQ(ParseReplyHeaders(reply + "more\r\n").contentLength, 9);
  EXPECT_EQ(ParseReplyHeaders(reply + "Content-Length: 8\r\n").contentLength, 8);
}

TEST(ParseReplyHeaders, IsNotConfusedByBinaryBodies) {
  std::mt19937 random(21);
  std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 1048576\r\nContent-Type: a/b\r\n\r\n";
  for (int i = 0; i < 1 << 20; ++i) reply += static_cast<char>(random());
  const ReplyHeaders headers = ParseReplyHeaders(reply);
  EXPECT_EQ(headers.status, 200);
  EXPECT_EQ(headers.contentLength, 1048576);
  EXPECT_EQ(headers.contentType, "a/b");
}

TEST(ParseReplyHeaders, KeepsTheLastOfManyHugeLines) {
  std::string reply = "HTTP/1.1 302 Found\r\n";
  for (int i = 0; i < 4; ++i) reply += "Location: " + std::string(1 << 18, static_cast<char>('a' + i)) + "\r\n";
  for (int i = 0; i < 100000; ++i) reply += "Content-Length: " + std::to_string(i) + "\r\n";
  const ReplyHeaders headers = ParseReplyHeaders(reply);
  EXPECT_EQ(headers.location, std::string(1 << 18, 'd'));
  EXPECT_EQ(headers.contentLength, 99999);
}

TEST(ParseReplyHeaders, FindsNothingInRandomPiecesOfLineEnds) {
  std::mt19937 random(22);
  for (int round = 0; round < 2000; ++round) {
    std::string reply;
    for (unsigned left = random() % 200; left > 0; --left) reply += "\r\n :x"[random() % 5];
    const ReplyHeaders headers = ParseReplyHeaders(reply);
    ASSERT_EQ(headers.contentLength, 0);
    ASSERT_EQ(headers.location, "");
    ASSERT_EQ(headers.contentType, "");
  }
}

}  // namespace
}  // namespace pellora
