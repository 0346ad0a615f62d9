#include <gtest/gtest.h>

#include "fetch/ReplyHeads.h"

namespace pellora {
namespace {

FetchAnswer With(std::vector<FetchHeader> headers) {
  FetchAnswer answer;
  answer.status = 200;
  answer.headers = std::move(headers);
  return answer;
}

TEST(ReplyHeads, FindsHeadersInAnyCaseWithoutBlanks) {
  const FetchAnswer answer = With({{"etag", " \t\"a b\" \t"}, {"X", "1"}, {"ETAG", ""}});
  EXPECT_EQ(HeadersOf(answer, "ETag"), (std::vector<std::string_view>{"\"a b\"", ""}));
  EXPECT_EQ(HeaderOf(answer, "x"), "1");
  EXPECT_EQ(HeaderOf(answer, "Y"), "");
}

TEST(ReplyHeads, ReadsLengthsOfDigitsOnly) {
  EXPECT_EQ(ParseLength("0"), 0);
  EXPECT_EQ(ParseLength("9223372036854775807"), 9223372036854775807);
  for (const char* const text : {"", "-1", "+1", "1.0", "0x10", "1 2", "9223372036854775808", "1k"}) {
    EXPECT_EQ(ParseLength(text), std::nullopt) << text;
  }
}

TEST(ReplyHeads, ReadsContentRanges) {
  const auto expect = [](const char* text, Range range, std::int64_t total) {
    const std::optional<ContentRange> found = ParseContentRange(text);
    ASSERT_TRUE(found) << text;
    EXPECT_EQ(found->range, range) << text;
    EXPECT_EQ(found->total, total) << text;
  };
  expect("bytes 0-99/200", {0, 100}, 200);
  expect("Bytes\t5-5/6", {5, 6}, 6);
  expect("bytes 10-19/*", {10, 20}, -1);
  expect("bytes 4294967296-8589934591/8589934592", {4294967296, 8589934592}, 8589934592);
  const std::optional<ContentRange> unsatisfied = ParseContentRange("bytes */200");
  ASSERT_TRUE(unsatisfied);
  EXPECT_EQ(unsatisfied->range, std::nullopt);
  EXPECT_EQ(unsatisfied->total, 200);
}

TEST(ReplyHeads, RefusesContentRangesThatAreNone) {
  for (const char* const text :
       {"", "bytes", "bytes 0-99", "bytes */*", "bytes=0-99/200", "items 0-9/10", "bytes 9-0/10", "bytes 0-10/10",
        "bytes 0-/10", "bytes -5/10", "bytes 5/10", "bytes 0-9/", "bytes 0-9/x", "bytes 0-9/10/11",
        "bytes 0-9,20-29/30", "bytes 0-4611686018427387904/*", "bytes 0-0/0", "bytesx 0-9/10"}) {
    EXPECT_FALSE(ParseContentRange(text)) << text;
  }
}

TEST(ReplyHeads, TakesRepeatedLengthsOnlyIfTheyAgree) {
  const auto expect = [](std::vector<FetchHeader> headers, bool sound, std::int64_t length) {
    const LengthReading reading = ReadContentLength(With(std::move(headers)));
    EXPECT_EQ(reading.sound, sound);
    if (sound) {
      EXPECT_EQ(reading.length, length);
    }
  };
  expect({}, true, -1);
  expect({{"Content-Length", "7"}}, true, 7);
  expect({{"Content-Length", "7, 7"}, {"content-length", "7"}}, true, 7);
  expect({{"Content-Length", "7"}, {"Content-Length", "8"}}, false, 0);
  expect({{"Content-Length", "7, 8"}}, false, 0);
  expect({{"Content-Length", "7x"}}, false, 0);
  expect({{"Content-Length", ""}}, false, 0);
  expect({{"Content-Length", "-7"}}, false, 0);
}

TEST(ReplyHeads, ListsMembersInLowerCaseWithoutParameters) {
  EXPECT_EQ(ListMembers(With({{"Transfer-Encoding", "GZip;q=1 , , Chunked"}, {"transfer-encoding", "x"}}),
                        "Transfer-Encoding"),
            (std::vector<std::string>{"gzip", "chunked", "x"}));
}

TEST(ReplyHeads, ReadsValidators) {
  EXPECT_EQ(ReadValidator(With({{"ETag", "\"a\""}})), (Validator{"\"a\"", false, "", false}));
  EXPECT_EQ(ReadValidator(With({{"ETag", "W/\"a\""}})), (Validator{"\"a\"", true, "", false}));
  EXPECT_EQ(ReadValidator(With({{"ETag", "\"\""}})), (Validator{"\"\"", false, "", false}));
  for (const char* const tag : {"a", "\"a", "W/a", "\"a\"b\"", "\"", "w/\"a\""}) {
    EXPECT_EQ(ReadValidator(With({{"ETag", tag}})), Validator{}) << tag;
  }
}

TEST(ReplyHeads, TrustsADateOnlyAMinuteLater) {
  const std::string modified = "Sun, 06 Nov 1994 08:49:37 GMT";
  const auto settled = [&](const char* date) {
    const Validator validator = ReadValidator(With({{"Last-Modified", modified}, {"Date", date}}));
    EXPECT_EQ(validator.lastModified, modified);
    return validator.settled;
  };
  EXPECT_FALSE(settled("Sun, 06 Nov 1994 08:50:36 GMT"));
  EXPECT_TRUE(settled("Sun, 06 Nov 1994 08:50:37 GMT"));
  EXPECT_FALSE(settled(""));
  EXPECT_EQ(ReadValidator(With({{"Last-Modified", "yesterday"}})), Validator{});
}

TEST(ReplyHeads, MakesRangesConditionalByStrongValidatorsOnly) {
  EXPECT_EQ(IfRangeOf({"\"a\"", false, "date", true}), "\"a\"");
  EXPECT_EQ(IfRangeOf({"\"a\"", true, "date", true}), "");
  EXPECT_EQ(IfRangeOf({"", false, "date", true}), "date");
  EXPECT_EQ(IfRangeOf({"", false, "date", false}), "");
}

TEST(ReplyHeads, ReadsRetryAfterAgainstTheDateOfTheAnswer) {
  const std::string date = "Sun, 06 Nov 1994 08:49:37 GMT";
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "120"}})), 120);
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "Sun, 06 Nov 1994 08:50:07 GMT"}, {"Date", date}})), 30);
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "Sun, 06 Nov 1994 08:49:07 GMT"}, {"Date", date}})), 0);
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "Sun, 06 Nov 1994 08:50:07 GMT"}})), std::nullopt);
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "soon"}, {"Date", date}})), std::nullopt);
  EXPECT_EQ(RetryAfter(With({{"Retry-After", "-5"}})), std::nullopt);
  EXPECT_EQ(RetryAfter(With({})), std::nullopt);
}

}  // namespace
}  // namespace pellora
