#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>

#include "transfer/RangeReply.h"

namespace pellora {
namespace {

struct Case {
  const char* block;
  std::size_t dropped;
};

TEST(RangeHeaderLength, DropsTheHeaderOfAPartialReply) {
  const std::string header = "HTTP/1.1 206 Partial Content\r\nContent-Length: 4\r\n\r\n";
  EXPECT_EQ(RangeHeaderLength(header + "body"), header.size());
  EXPECT_EQ(RangeHeaderLength(header), header.size());
  EXPECT_EQ(RangeHeaderLength(header + "a\r\n\r\nb"), header.size());
}

TEST(RangeHeaderLength, DependsOnTheTextOfTheBlock) {
  const Case kCases[] = {
      {"HTTP/1.1 200 OK\r\n\r\nbody", 19},
      {"http/1.1 200 ok\r\n\r\nbody", 19},
      {"HTTP/1.0 206 Partial Content\r\n\r\nbody", 32},
      {"HTTP/1.0 200 OK\r\n\r\nbody", 0},
      {"HTTP/1.1 206 OK\r\n\r\nbody", 0},
      {"HTTP/1.1 404 Not Found\r\n\r\nbody", 0},
      {"HTTP/1.1 404 Not Found\r\n\r\nsee HTTP/1.1 200", 26},
      {"HTTP/1.1 416 x\r\n\r\n206 PARTIAL content", 18},
      {"HTTP/1.x206 partial content\r\n\r\n", 31},
      {"HTTP/2.0 206 Partial Content\r\n\r\n", 0},
      {" HTTP/1.1 200 OK\r\n\r\n", 0},
      {"body\r\n\r\nHTTP/1.1 200", 0},
      {"\r\n\r\n", 0},
      {"HTTP/1", 0},
      {"HTTP/1.", 0},
      {"", 0},
  };
  for (const Case& one : kCases) EXPECT_EQ(RangeHeaderLength(one.block), one.dropped) << one.block;
}

TEST(RangeHeaderLength, DropsThreeCharactersIfTheHeaderDoesNotEnd) {
  EXPECT_EQ(RangeHeaderLength("HTTP/1.1 200 OK\r\nServer: x\r\n"), 3u);
  EXPECT_EQ(RangeHeaderLength("HTTP/1.1 200"), 3u);
}

// The same rule, by plain copies.
std::size_t ByCopies(const std::string& block) {
  std::string lower = block;
  for (char& c : lower) {
    if (static_cast<unsigned char>(c) < 128) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (lower.substr(0, 7) != "http/1.") return 0;
  if (lower.find("206 partial content") == std::string::npos && lower.find("http/1.1 200") == std::string::npos)
    return 0;
  const std::size_t end = block.find("\r\n\r\n");
  return end == std::string::npos ? 3 : end + 4;
}

TEST(RangeHeaderLength, AgreesWithTheRuleOnRandomBlocks) {
  std::mt19937 random(24);
  const std::string pieces[] = {
      "HTTP/1.1 200", "HTTP/1.", "206 partial content", "206 Partial", "\r\n", "\r\n\r\n", "x", "\xff"};
  for (int round = 0; round < 20000; ++round) {
    std::string block = round % 3 == 0 ? "" : "Http/1.";
    for (unsigned left = random() % 8; left > 0; --left) block += pieces[random() % std::size(pieces)];
    ASSERT_EQ(RangeHeaderLength(block), ByCopies(block)) << block;
  }
}

TEST(RangeHeaderLength, ScansAHugeBlockThatOnlyLooksLikeAReply) {
  std::string block = "HTTP/1.";
  while (block.size() < (1 << 20)) block += "206 partial conten";
  EXPECT_EQ(RangeHeaderLength(block), 0u);
  EXPECT_EQ(RangeHeaderLength(block + "206 partial content\r\n\r\nx"), block.size() + 23);
}

}  // namespace
}  // namespace pellora
