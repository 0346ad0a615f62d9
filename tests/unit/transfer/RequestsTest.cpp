#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "transfer/Requests.h"

namespace pellora {
namespace {

DownloadRecord Record(const std::string& referer = "") {
  DownloadRecord record;
  record.URL = "http://site.example:8080/dir/a.zip?x=1";
  record.Host = "site.example";
  record.Port = 8080;
  record.Path = "/dir/a.zip?x=1";
  record.Referer = referer;
  return record;
}

SegmentRecord Range(std::int32_t start, std::int32_t end) {
  SegmentRecord segment;
  segment.RangeStart = start;
  segment.RangeEnd = end;
  return segment;
}

TEST(ProbeRequest, HasExactBytesWithoutAReferer) {
  EXPECT_EQ(ProbeRequest(Record(), false),
            "GET /dir/a.zip?x=1 HTTP/1.1\r\n"
            "Accept: *.*, */*\r\n"
            "Connection: Keep-Alive\r\n"
            "Host: site.example\r\n"
            "\r\n"
            "\r\n");
}

TEST(ProbeRequest, HasExactBytesWithARefererAndAProxy) {
  EXPECT_EQ(ProbeRequest(Record("http://from.example/"), true),
            "GET http://site.example:8080/dir/a.zip?x=1 HTTP/1.1\r\n"
            "Accept: *.*, */*\r\n"
            "Connection: Keep-Alive\r\n"
            "Host: site.example\r\n"
            "Referer: http://from.example/\r\n"
            "\r\n"
            "\r\n");
}

TEST(Requests, OmitTheBlanksAroundAUrl) {
  DownloadRecord record = Record("  http://from.example/a b ");
  const DownloadRecord trimmed = Record("http://from.example/a b");
  record.URL = "  " + record.URL + " ";
  EXPECT_EQ(ProbeRequest(record, true), ProbeRequest(trimmed, true));
  EXPECT_EQ(SegmentRequest(record, Range(0, 9), true), SegmentRequest(trimmed, Range(0, 9), true));
}

TEST(SegmentRequest, HasExactBytesWithoutAReferer) {
  EXPECT_EQ(SegmentRequest(Record(), Range(5000, 9999), false),
            "GET /dir/a.zip?x=1 HTTP/1.1\r\n"
            "Accept: *.*, */*\r\n"
            "Referer: \r\n"
            "Connection: Keep-Alive\r\n"
            "Host: site.example\r\n"
            "Range: bytes=5000-9999\r\n"
            "\r\n");
}

TEST(SegmentRequest, HasExactBytesWithARefererAndAProxy) {
  EXPECT_EQ(SegmentRequest(Record("http://from.example/"), Range(0, 2147483646), true),
            "GET http://site.example:8080/dir/a.zip?x=1 HTTP/1.1\r\n"
            "Accept: *.*, */*\r\n"
            "Referer: http://from.example/\r\n"
            "Connection: Keep-Alive\r\n"
            "Host: site.example\r\n"
            "Range: bytes=0-2147483646\r\n"
            "\r\n");
}

TEST(SegmentRequest, RequestsTheRangeOfAnUnknownSize) {
  EXPECT_NE(SegmentRequest(Record(), Range(0, -1), false).find("\r\nRange: bytes=0--1\r\n"), std::string::npos);
}

TEST(Requests, KeepTheirLinesForAnyRecordText) {
  DownloadRecord record = Record("r\r\nEvil: 1");
  record.Path = "/x HTTP/1.1\r\nEvil: 2";
  record.Host = "h\r\nEvil: 3";
  record.URL = "http://h/\nEvil: 4";
  for (const bool proxy : {false, true}) {
    for (const std::string& request : {ProbeRequest(record, proxy), SegmentRequest(record, Range(0, 9), proxy)}) {
      EXPECT_EQ(request.find("\nEvil"), std::string::npos) << request;
      EXPECT_EQ(std::count(request.begin(), request.end(), '\n'), 7) << request;
    }
  }
}

}  // namespace
}  // namespace pellora
