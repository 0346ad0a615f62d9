#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "fetch/ReplyCheck.h"

namespace pellora {
namespace {

using V = ReplyVerdict;
using R = ReplyReason;
using Headers = std::vector<FetchHeader>;

FetchAnswer Answer(int status, Headers headers = {}) {
  FetchAnswer answer;
  answer.status = status;
  answer.headers = std::move(headers);
  return answer;
}

AskedFor First() { return {.kind = RequestKind::First}; }
AskedFor Later(std::int64_t from, std::int64_t to = -1) { return {.kind = RequestKind::Later, .from = from, .to = to}; }
AskedFor Resumed(std::int64_t from, bool conditional = false) {
  return {.kind = RequestKind::Resumed, .from = from, .conditional = conditional};
}
AskedFor Whole(RequestKind kind) { return {.kind = kind, .ranged = false}; }

FileFacts Known(std::int64_t total, Validator validator = {}) { return {total, std::move(validator), -1}; }

const Validator kTag{"\"a\"", false, "", false};
const Validator kWeak{"\"a\"", true, "", false};
const FetchHeader kTagHeader{"ETag", "\"a\""};
const FetchHeader kOtherTagHeader{"ETag", "\"b\""};

void Expect(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known, V verdict, R reason = R::None) {
  SCOPED_TRACE("status " + std::to_string(answer.status));
  const ReplyReading reading = CheckReply(answer, asked, known);
  EXPECT_EQ(static_cast<int>(reading.verdict), static_cast<int>(verdict));
  EXPECT_EQ(static_cast<int>(reading.reason), static_cast<int>(reason));
}

FetchAnswer Part(const std::string& range, Headers more = {}) {
  more.push_back({"Content-Range", "bytes " + range});
  return Answer(206, std::move(more));
}

// The first request

TEST(ReplyCheck, TakesTheFirstRangeWithSizeAndValidator) {
  const ReplyReading reading = CheckReply(Part("0-199/200", {{"Content-Length", "200"}, kTagHeader}), First());
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.range, (Range{0, 200}));
  EXPECT_EQ(reading.facts, Known(200, kTag));
  EXPECT_EQ(reading.proof, LengthProof::Length);
}

TEST(ReplyCheck, TakesARangeShorterThanAskedFor) {
  const ReplyReading reading = CheckReply(Part("0-99/200"), First());
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.range, (Range{0, 100}));
  EXPECT_EQ(reading.facts.total, 200);
}

TEST(ReplyCheck, TakesAWholeFileWhereTheServerIgnoresTheRange) {
  const ReplyReading reading = CheckReply(Answer(200, {{"Content-Length", "200"}, kTagHeader}), First());
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.range, (Range{0, 200}));
  EXPECT_EQ(reading.facts, Known(200, kTag));
  EXPECT_EQ(reading.proof, LengthProof::Length);
  Expect(Answer(203, {{"Content-Length", "200"}}), First(), {}, V::Body);
}

TEST(ReplyCheck, KnowsWhatProvesTheEndOfABody) {
  const ReplyReading untilClose = CheckReply(Answer(200), First());
  EXPECT_EQ(untilClose.verdict, V::Body);
  EXPECT_EQ(untilClose.range, (Range{0, -1}));
  EXPECT_EQ(untilClose.facts.total, -1);
  EXPECT_EQ(untilClose.proof, LengthProof::UntilClose);
  // The chunks count where there are both.
  const ReplyReading chunked =
      CheckReply(Answer(200, {{"Transfer-Encoding", "Chunked"}, {"Content-Length", "7"}}), First());
  EXPECT_EQ(chunked.verdict, V::Body);
  EXPECT_EQ(chunked.facts.total, -1);
  EXPECT_EQ(chunked.proof, LengthProof::Chunked);
}

TEST(ReplyCheck, TakesEmptyFiles) {
  Expect(Answer(200, {{"Content-Length", "0"}}), First(), {}, V::Empty);
  Expect(Answer(416, {{"Content-Range", "bytes */0"}}), First(), {}, V::Empty, R::WrongRange);
  Expect(Answer(416), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Answer(416, {{"Content-Range", "bytes */5"}}), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Answer(416, {{"Content-Range", "bytes 0-4/5"}}), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Answer(416), Whole(RequestKind::First), {}, V::Refused, R::WrongRange);
}

TEST(ReplyCheck, AsksForTheWholeFileWhereTheFirstRangeIsWrong) {
  Expect(Answer(206), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Part("1-199/200"), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Part("0-199/*"), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Part("0-x/200"), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Part("*/200"), First(), {}, V::AskWhole, R::WrongRange);
  Expect(Answer(206, {{"Content-Range", "bytes 0-9/10"}, {"Content-Range", "bytes 0-8/9"}}), First(), {}, V::AskWhole,
         R::WrongRange);
  Expect(Part("0-199/200", {{"Content-Length", "199"}}), First(), {}, V::AskWhole, R::Lengths);
  Expect(Part("0-199/200", {{"Content-Length", "200"}, {"Content-Length", "199"}}), First(), {}, V::AskWhole,
         R::Lengths);
  Expect(Part("0-199/200", {{"Content-Type", "multipart/byteranges; boundary=x"}}), First(), {}, V::AskWhole,
         R::Multipart);
  Expect(Part("0-199/200"), Whole(RequestKind::First), {}, V::Refused, R::WrongRange);
}

TEST(ReplyCheck, RefusesBodiesThatCannotBeTrusted) {
  Expect(Answer(200, {{"Content-Length", "7"}, {"Content-Length", "8"}}), First(), {}, V::Refused, R::Lengths);
  Expect(Answer(200, {{"Content-Length", "x"}}), First(), {}, V::Refused, R::Lengths);
  Expect(Answer(200, {{"Transfer-Encoding", "gzip, chunked"}}), First(), {}, V::Refused, R::TransferCoding);
  Expect(Answer(200, {{"Transfer-Encoding", "gzip"}}), First(), {}, V::Refused, R::TransferCoding);
  Expect(Part("0-9/10", {{"Transfer-Encoding", "deflate"}}), First(), {}, V::Refused, R::TransferCoding);
  Expect(Answer(200, {{"Content-Encoding", "gzip"}}), First(), {}, V::Refused, R::ContentCoding);
  Expect(Answer(200, {{"Content-Encoding", "rot13"}}), First(), {}, V::Refused, R::ContentCoding);
  Expect(Part("0-9/10", {{"Content-Encoding", "br"}}), First(), {}, V::Refused, R::ContentCoding);
}

TEST(ReplyCheck, StoresAFileThatIsCompressedItself) {
  AskedFor asked = First();
  asked.fileName = "a.tar.GZ";
  Expect(Answer(200, {{"Content-Encoding", "gzip"}}), asked, {}, V::Body);
  Expect(Answer(200, {{"Content-Encoding", "x-gzip"}}), asked, {}, V::Body);
  Expect(Answer(200, {{"Content-Encoding", "identity"}}), First(), {}, V::Body);
  Expect(Answer(200, {{"Content-Encoding", "br"}}), asked, {}, V::Refused, R::ContentCoding);
  Expect(Answer(200, {{"Content-Encoding", "gzip, gzip, br"}}), asked, {}, V::Refused, R::ContentCoding);
}

TEST(ReplyCheck, HasAVerdictForEveryStatus) {
  const struct {
    int status;
    V verdict;
    R reason;
  } cases[] = {
      {100, V::Refused, R::Status},    {201, V::Refused, R::Status},    {202, V::Refused, R::Status},
      {204, V::Refused, R::NoContent}, {205, V::Refused, R::NoContent}, {226, V::Refused, R::Status},
      {300, V::Refused, R::Status},    {304, V::Refused, R::Status},    {400, V::Refused, R::Status},
      {401, V::Login, R::Login},       {403, V::Refused, R::Forbidden}, {404, V::Refused, R::NotFound},
      {407, V::Refused, R::Status},    {408, V::Again, R::Status},      {410, V::Refused, R::NotFound},
      {412, V::Refused, R::Status},    {421, V::Again, R::Status},      {425, V::Again, R::Status},
      {426, V::Http2, R::Status},      {429, V::Wait, R::Status},       {451, V::Refused, R::Status},
      {500, V::Again, R::Status},      {501, V::Refused, R::Status},    {502, V::Again, R::Status},
      {503, V::Wait, R::Status},       {504, V::Again, R::Status},      {505, V::Http2, R::Status},
      {599, V::Again, R::Status},      {600, V::Refused, R::Status},    {-1, V::Refused, R::Status},
  };
  for (const auto& [status, verdict, reason] : cases) Expect(Answer(status), First(), {}, verdict, reason);
}

TEST(ReplyCheck, FollowsRedirectsWithALocation) {
  for (const int status : {301, 302, 303, 307, 308}) {
    const ReplyReading reading = CheckReply(Answer(status, {{"Location", " /b "}}), First());
    EXPECT_EQ(reading.verdict, V::Redirect);
    EXPECT_EQ(reading.location, "/b");
    Expect(Answer(status), First(), {}, V::Refused, R::BadRedirect);
  }
}

TEST(ReplyCheck, WaitsAsTheServerSays) {
  const ReplyReading reading = CheckReply(Answer(503, {{"Retry-After", "86400"}}), First());
  EXPECT_EQ(reading.verdict, V::Wait);
  EXPECT_EQ(reading.retryAfter, 86400);
  const ReplyReading tooLong = CheckReply(Answer(429, {{"Retry-After", "86401"}}), First());
  EXPECT_EQ(tooLong.verdict, V::WaitTooLong);
  EXPECT_EQ(tooLong.retryAfter, 86401);
  EXPECT_EQ(CheckReply(Answer(429), First()).retryAfter, std::nullopt);
  EXPECT_EQ(CheckReply(Answer(500, {{"Retry-After", "5"}}), First()).retryAfter, 5);
}

// Further lanes

TEST(ReplyCheck, TakesALaterRangeOfTheSameFile) {
  const ReplyReading reading = CheckReply(Part("50-99/200", {kTagHeader}), Later(50, 99), Known(200, kTag));
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.range, (Range{50, 100}));
  Expect(Part("50-59/200", {kTagHeader}), Later(50, 99), Known(200, kTag), V::Body);
  Expect(Part("50-199/200", {kTagHeader}), Later(50), Known(200, kTag), V::Body);
  Expect(Part("50-99/*", {kTagHeader}), Later(50, 99), Known(200, kTag), V::Body);
}

TEST(ReplyCheck, GoesWithoutALaneThatAnswersAnotherRange) {
  const FileFacts known = Known(200, kTag);
  for (const char* const range : {"49-99/200", "51-99/200", "50-100/200", "50-300/*", "0-199/200", "50-x/200"}) {
    Expect(Part(range, {kTagHeader}), Later(50, 99), known, V::OneLane, R::WrongRange);
  }
  Expect(Part("50-300/*", {kTagHeader}), Later(50), known, V::OneLane, R::WrongRange);
  Expect(Answer(206, {kTagHeader}), Later(50, 99), known, V::OneLane, R::WrongRange);
  Expect(Part("50-99/200", {{"Content-Length", "51"}}), Later(50, 99), known, V::OneLane, R::Lengths);
  Expect(Part("50-99/200", {{"Content-Type", "Multipart/ByteRanges"}}), Later(50, 99), known, V::OneLane, R::Multipart);
  Expect(Part("50-99/200", {{"Content-Encoding", "gzip"}}), Later(50, 99), known, V::OneLane, R::ContentCoding);
}

TEST(ReplyCheck, GoesWithoutALaneThatIsRefused) {
  const FileFacts known = Known(200, kTag);
  Expect(Answer(200, {{"Content-Length", "200"}, kTagHeader}), Later(50, 99), known, V::OneLane, R::NoRanges);
  Expect(Answer(200, {{"Content-Type", "text/html"}}), Later(50, 99), known, V::OneLane, R::NoRanges);
  Expect(Answer(401), Later(50, 99), known, V::Login, R::Login);
  Expect(Answer(403), Later(50, 99), known, V::Refused, R::Forbidden);
  Expect(Answer(404), Later(50, 99), known, V::Refused, R::NotFound);
  Expect(Answer(410), Later(50, 99), known, V::Refused, R::NotFound);
  Expect(Answer(416), Later(50, 99), known, V::OneLane, R::WrongRange);
  Expect(Answer(416, {{"Content-Range", "bytes */200"}}), Later(50, 99), known, V::OneLane, R::WrongRange);
  Expect(Answer(505), Later(50, 99), known, V::Http2, R::Status);
  Expect(Answer(204), Later(50, 99), known, V::Refused, R::NoContent);
  Expect(Answer(429), Later(50, 99), known, V::Wait, R::Status);
  Expect(Answer(502), Later(50, 99), known, V::Again, R::Status);
  Expect(Answer(302, {{"Location", "/x"}}), Later(50, 99), known, V::Redirect, R::Status);
}

TEST(ReplyCheck, SeesThatTheLengthHasChanged) {
  Expect(Part("50-99/201", {kTagHeader}), Later(50, 99), Known(200, kTag), V::Changed, R::OtherLength);
  Expect(Part("50-200/201", {kTagHeader}), Resumed(50), Known(200, kTag), V::Changed, R::OtherLength);
  Expect(Answer(416, {{"Content-Range", "bytes */10"}}), Later(50, 99), Known(200), V::Changed, R::OtherLength);
  Expect(Answer(416, {{"Content-Range", "bytes */10"}}), Resumed(50), Known(200), V::Changed, R::OtherLength);
  Expect(Answer(200, {{"Content-Length", "10"}}), Resumed(50), Known(200), V::Changed, R::OtherLength);
  Expect(Answer(200, {{"Content-Length", "10"}}), Whole(RequestKind::Resumed), Known(200), V::Changed, R::OtherLength);
}

TEST(ReplyCheck, ComparesASampleWhereNodesDifferInTheirValidators) {
  Expect(Part("50-99/200", {kOtherTagHeader}), Later(50, 99), Known(200, kTag), V::CompareSample, R::OtherVersion);
  Expect(Part("50-99/*", {kOtherTagHeader}), Later(50, 99), Known(200, kTag), V::CompareSample, R::OtherVersion);
  const Validator date{"", false, "Sun, 06 Nov 1994 08:49:37 GMT", true};
  Expect(Part("50-99/200", {{"Last-Modified", "Sun, 06 Nov 1994 08:49:38 GMT"}}), Later(50, 99), Known(200, date),
         V::CompareSample, R::OtherVersion);
}

TEST(ReplyCheck, NeedsNoProofOfTheVersionWithinARun) {
  Expect(Part("50-99/200"), Later(50, 99), Known(200), V::Body);
  Expect(Part("50-99/200", {{"ETag", "W/\"a\""}}), Later(50, 99), Known(200, kWeak), V::Body);
  Expect(Part("50-99/200", {{"ETag", "W/\"b\""}}), Later(50, 99), Known(200, kWeak), V::CompareSample, R::OtherVersion);
}

TEST(ReplyCheck, ComparesASampleWhereAnswersHaveNoValidatorInCommon) {
  Expect(Part("50-99/200"), Later(50, 99), Known(200, kTag), V::CompareSample, R::Unproven);
  Expect(Part("50-99/200", {kTagHeader}), Later(50, 99), Known(200), V::CompareSample, R::Unproven);
  const Validator date{"", false, "Sun, 06 Nov 1994 08:49:37 GMT", true};
  Expect(Part("50-99/200"), Later(50, 99), Known(200, date), V::CompareSample, R::Unproven);
  Expect(Part("50-99/200", {kTagHeader}), Later(50, 99), Known(200, date), V::CompareSample, R::Unproven);
}

// After a restart

TEST(ReplyCheck, ResumesWithAStrongValidator) {
  const ReplyReading reading = CheckReply(Part("50-199/200", {kTagHeader}), Resumed(50), Known(200, kTag));
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.range, (Range{50, 200}));
  const std::string modified = "Sun, 06 Nov 1994 08:49:37 GMT";
  Expect(Part("50-199/200", {{"Last-Modified", modified}, {"Date", "Sun, 06 Nov 1994 08:50:37 GMT"}}), Resumed(50),
         Known(200, {"", false, modified, true}), V::Body);
}

TEST(ReplyCheck, ComparesASampleAfterARestartWithoutOne) {
  const std::string modified = "Sun, 06 Nov 1994 08:49:37 GMT";
  Expect(Part("50-199/200"), Resumed(50), Known(200), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200"), Resumed(50), Known(200, kTag), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200", {{"ETag", "W/\"a\""}}), Resumed(50), Known(200, kWeak), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200", {{"Last-Modified", modified}, {"Date", "Sun, 06 Nov 1994 08:50:37 GMT"}}), Resumed(50),
         Known(200, {"", false, modified, false}), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200", {{"Last-Modified", modified}}), Resumed(50), Known(200, {"", false, modified, true}),
         V::CompareSample, R::Unproven);
  Expect(Part("50-199/200"), Resumed(50), Known(200, {"", false, modified, true}), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200", {{"ETag", "W/\"a\""}}), Resumed(50), Known(200, kTag), V::CompareSample, R::Unproven);
  Expect(Part("50-199/200", {kOtherTagHeader}), Resumed(50), Known(200, kTag), V::CompareSample, R::OtherVersion);
}

TEST(ReplyCheck, LearnsTheLengthOfAFileThatHadNone) {
  const ReplyReading reading = CheckReply(Part("50-199/200", {kTagHeader}), Resumed(50), Known(-1, kTag));
  EXPECT_EQ(reading.verdict, V::Body);
  EXPECT_EQ(reading.facts.total, 200);
  Expect(Part("50-199/*", {kTagHeader}), Resumed(50), Known(-1, kTag), V::AskWhole, R::WrongRange);
}

TEST(ReplyCheck, ComparesAWholeFileThatComesInsteadOfTheRest) {
  const ReplyReading reading = CheckReply(Answer(200, {{"Content-Length", "200"}}), Resumed(50), Known(200, kTag));
  EXPECT_EQ(reading.verdict, V::CompareWhole);
  EXPECT_EQ(reading.range, (Range{0, 200}));
  Expect(Answer(200), Resumed(50), Known(200, kTag), V::CompareWhole, R::NoRanges);
  Expect(Answer(200, {{"Content-Length", "200"}}), Resumed(50), Known(-1), V::CompareWhole, R::NoRanges);
  Expect(Answer(200, {{"Content-Length", "200"}}), Whole(RequestKind::Later), Known(200), V::CompareWhole, R::NoRanges);
}

TEST(ReplyCheck, AsksOnceWithoutACondition) {
  const Headers headers = {{"Content-Length", "200"}, kTagHeader};
  Expect(Answer(200, headers), Resumed(50, true), Known(200, kTag), V::AskUnconditional, R::NoRanges);
  Expect(Answer(200, headers), Resumed(50, false), Known(200, kTag), V::CompareWhole, R::NoRanges);
  Expect(Answer(200, {{"Content-Length", "200"}, kOtherTagHeader}), Resumed(50, true), Known(200, kTag),
         V::CompareWhole, R::NoRanges);
}

TEST(ReplyCheck, AsksForTheWholeFileWhereTheRestIsWrong) {
  Expect(Part("0-199/200", {kTagHeader}), Resumed(50), Known(200, kTag), V::AskWhole, R::WrongRange);
  Expect(Answer(416), Resumed(50), Known(200, kTag), V::AskWhole, R::WrongRange);
}

TEST(ReplyCheck, KnowsThatNothingIsMissing) {
  Expect(Answer(416, {{"Content-Range", "bytes */50"}}), Resumed(50), Known(-1), V::Held, R::WrongRange);
  Expect(Answer(416, {{"Content-Range", "bytes */50"}}), Resumed(50), Known(50), V::Held, R::WrongRange);
}

// ftp, ftps, sftp

FetchAnswer PlainAnswer(std::int64_t length, std::int64_t modified = 7) {
  FetchAnswer answer;
  answer.length = length;
  answer.modified = modified;
  return answer;
}

TEST(ReplyCheck, AddsTheStartOfARangeToTheLengthThatFtpNames) {
  const ReplyReading first = CheckReply(PlainAnswer(200), First());
  EXPECT_EQ(first.verdict, V::Body);
  EXPECT_EQ(first.range, (Range{0, 200}));
  EXPECT_EQ(first.facts, (FileFacts{200, {}, 7}));
  const ReplyReading later = CheckReply(PlainAnswer(150), Later(50), first.facts);
  EXPECT_EQ(later.verdict, V::Body);
  EXPECT_EQ(later.range, (Range{50, 200}));
}

TEST(ReplyCheck, JudgesFtpByLengthAndTime) {
  const FileFacts known{200, {}, 7};
  Expect(PlainAnswer(0), First(), {}, V::Empty);
  Expect(PlainAnswer(-1), First(), {}, V::Body);
  EXPECT_EQ(CheckReply(PlainAnswer(-1), First()).proof, LengthProof::UntilClose);
  Expect(PlainAnswer(200), Later(50), known, V::Changed, R::OtherLength);
  Expect(PlainAnswer(std::numeric_limits<std::int64_t>::max()), Later(50), known, V::OneLane, R::Lengths);
  Expect(PlainAnswer(-1), Later(50), known, V::OneLane, R::Lengths);
  Expect(PlainAnswer(150, 8), Later(50), known, V::CompareSample, R::OtherVersion);
  Expect(PlainAnswer(150, -1), Later(50), known, V::CompareSample, R::Unproven);
  Expect(PlainAnswer(150, -1), Later(50), {200, {}, -1}, V::Body);
  Expect(PlainAnswer(150, 7), Resumed(50), known, V::Body);
  Expect(PlainAnswer(150, 8), Resumed(50), known, V::CompareSample, R::OtherVersion);
  Expect(PlainAnswer(150, -1), Resumed(50), known, V::CompareSample, R::Unproven);
  Expect(PlainAnswer(0, 7), Resumed(200), known, V::Held);
  Expect(PlainAnswer(0, 7), Resumed(200), {-1, {}, 7}, V::Body);
  Expect(PlainAnswer(150, 7), Resumed(50), {-1, {}, 7}, V::Body);
  Expect(PlainAnswer(-1, 7), Resumed(50), known, V::Body);
  EXPECT_EQ(CheckReply(PlainAnswer(200), Whole(RequestKind::Later), known).range, (Range{0, 200}));
  Expect(PlainAnswer(200, 7), Whole(RequestKind::Resumed), known, V::CompareWhole, R::NoRanges);
  Expect(PlainAnswer(-1, 7), Whole(RequestKind::Resumed), {-1, {}, 7}, V::CompareWhole, R::NoRanges);
  Expect(PlainAnswer(300, 7), Whole(RequestKind::Resumed), known, V::Changed, R::OtherLength);
}

}  // namespace
}  // namespace pellora
