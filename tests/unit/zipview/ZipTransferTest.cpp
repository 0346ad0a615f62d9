#include <gtest/gtest.h>

#include <string>

#include "zipview/ZipTransfer.h"

namespace pellora {
namespace {

const std::string kHead = "HTTP/1.1 206 Partial Content\r\nContent-Type: application/zip\r\nContent-Length: 4\r\n\r\n";

DownloadRecord Record() {
  DownloadRecord record;
  record.Host = "o.example";
  record.Path = "/dir/a.zip";
  record.Port = 8080;
  record.Referer = "http://elsewhere.example/";
  record.URL = "http://o.example:8080/dir/a.zip";
  return record;
}

TEST(ZipRequest, HasFiveLinesInOrderWithTheHostAsReferer) {
  EXPECT_EQ(ZipRequest(Record(), 978, 1000),
            "GET /dir/a.zip HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: o.example\r\nHost: o.example\r\n"
            "Range: bytes=978-1000\r\n\r\n");
}

TEST(ZipRequest, SendsNegativeBoundsUnchanged) {
  EXPECT_NE(ZipRequest(Record(), -12, 10).find("Range: bytes=-12-10\r\n"), std::string::npos);
}

TEST(ZipRequest, KeepsItsLinesForAnyText) {
  DownloadRecord record = Record();
  record.Path = "/a b\r\nX: y.zip";
  record.Host = "o\r\n.example";
  const std::string request = ZipRequest(record, 0, 1);
  EXPECT_EQ(request.substr(0, request.find("\r\n")), "GET /a%20b%0D%0AX:%20y.zip HTTP/1.1");
  EXPECT_NE(request.find("Host: o%0D%0A.example\r\n"), std::string::npos);
}

TEST(TakeZipBlock, DropsTheHeaderAndKeepsExactlyTheWantedBytes) {
  std::string buffer;
  EXPECT_TRUE(TakeZipBlock(buffer, kHead + "abcdef", 4));
  EXPECT_EQ(buffer, "abcd");
}

TEST(TakeZipBlock, WaitsForTheRestOverSeveralBlocks) {
  std::string buffer;
  EXPECT_FALSE(TakeZipBlock(buffer, kHead, 4));
  EXPECT_FALSE(TakeZipBlock(buffer, "ab", 4));
  EXPECT_FALSE(TakeZipBlock(buffer, "", 4));
  EXPECT_TRUE(TakeZipBlock(buffer, "cd", 4));
  EXPECT_TRUE(TakeZipBlock(buffer, "ef", 4));
  EXPECT_EQ(buffer, "abcd");
}

TEST(TakeZipBlock, TreatsContentTypeAnywhereInAnyCaseAsAHeader) {
  for (const char* word : {"content-type", "CONTENT-TYPE", "Content-Type"}) {
    std::string buffer = "12";
    EXPECT_FALSE(TakeZipBlock(buffer, std::string("xx") + word + "yy\r\n\r\nz", 9)) << word;
    EXPECT_EQ(buffer, "12z");
  }
}

TEST(TakeZipBlock, LosesDataBeforeADoubleLineEndIfAFileNameHoldsContentType) {
  std::string buffer;
  EXPECT_FALSE(TakeZipBlock(buffer, kHead + "PK.content-type.txt", 40));
  EXPECT_EQ(buffer, "PK.content-type.txt");  // the first double line end is the header's
  EXPECT_FALSE(TakeZipBlock(buffer, "PK content-type.txt", 40));
  EXPECT_EQ(buffer, "PK.content-type.txtcontent-type.txt");  // none: three characters are lost
}

TEST(TakeZipBlock, MisreadsAHeaderSplitOverTwoBlocks) {
  for (std::size_t at = 0; at <= kHead.size(); ++at) {
    std::string buffer;
    TakeZipBlock(buffer, kHead.substr(0, at), 400);
    TakeZipBlock(buffer, kHead.substr(at) + "data", 400);
    EXPECT_TRUE(buffer.ends_with("data")) << at;
    const std::size_t wordEnd = kHead.find("Content-Type") + 12;
    // A cut before the word keeps the first piece as data; inside it, neither piece has the word; after it, the first
    // piece loses three characters and the second none.
    if (at == 0 || at == kHead.size()) {
      EXPECT_EQ(buffer, "data") << at;
    }
    if (at > 0 && at <= wordEnd - 12) {
      EXPECT_EQ(buffer, kHead.substr(0, at) + "data") << at;
    }
    if (at > wordEnd - 12 && at < wordEnd) {
      EXPECT_EQ(buffer, kHead + "data") << at;
    }
    if (at >= wordEnd && at < kHead.size()) {
      EXPECT_EQ(buffer, kHead.substr(3) + "data") << at;
    }
  }
}

TEST(TakeZipBlock, ReadsAHeaderWithoutAContentTypeAsData) {
  const std::string head = "HTTP/1.1 206 Partial Content\r\nContent-Length: 4\r\n\r\n";
  std::string buffer;
  EXPECT_TRUE(TakeZipBlock(buffer, head + "abcd", 22));
  EXPECT_EQ(buffer, head.substr(0, 22));
}

TEST(TakeZipBlock, IsDoneAtTheFirstBlockIfNothingIsWanted) {
  std::string buffer;
  EXPECT_TRUE(TakeZipBlock(buffer, kHead + "P", 0));
  EXPECT_TRUE(buffer.empty());
}

TEST(TakeZipBlock, KeepsOnlyTheWantedBytesOfAFlood) {
  std::string buffer;
  const std::string block(1U << 18, 'x');
  for (int i = 0; i < 100; ++i) TakeZipBlock(buffer, block, 22);
  EXPECT_EQ(buffer.size(), 22U);
  EXPECT_LT(buffer.capacity(), 100U);
}

}  // namespace
}  // namespace pellora
