#include "fetch/ReplyCheck.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "core/Ascii.h"

namespace pellora {

namespace {

constexpr std::int64_t kLongestWait = std::int64_t{24} * 60 * 60;  // s

ReplyReading Verdict(ReplyVerdict verdict, ReplyReason reason) {
  ReplyReading reading;
  reading.verdict = verdict;
  reading.reason = reason;
  return reading;
}

// Compressed on the way, unless the file itself has this form and is stored as it came.
bool IsForeignCoding(const std::string& coding, std::string_view fileName) {
  struct Own {
    std::string_view coding;
    std::array<std::string_view, 4> endings;
  };
  constexpr std::array kOwn = {
      Own{"gzip", {".gz", ".tgz", ".svgz", ".gz"}},    Own{"x-gzip", {".gz", ".tgz", ".svgz", ".gz"}},
      Own{"br", {".br", ".br", ".br", ".br"}},         Own{"zstd", {".zst", ".tzst", ".zst", ".zst"}},
      Own{"compress", {".z", ".taz", ".z", ".z"}},     Own{"x-compress", {".z", ".taz", ".z", ".z"}},
      Own{"bzip2", {".bz2", ".tbz2", ".tbz", ".bz2"}}, Own{"x-bzip2", {".bz2", ".tbz2", ".tbz", ".bz2"}},
      Own{"xz", {".xz", ".txz", ".xz", ".xz"}}};
  if (coding == "identity") return false;
  const auto* const own = std::find_if(kOwn.begin(), kOwn.end(), [&](const Own& row) { return row.coding == coding; });
  if (own == kOwn.end()) return true;
  return std::none_of(own->endings.begin(), own->endings.end(),
                      [&](std::string_view ending) { return EndsWithNoCase(fileName, ending); });
}

// What must not be wrong in any head whose body is a file's. None: nothing is.
ReplyReason FaultOfBody(const FetchAnswer& answer, const AskedFor& asked) {
  const std::vector<std::string> transfer = ListMembers(answer, "Transfer-Encoding");
  if (transfer.size() > 1 || (transfer.size() == 1 && transfer.front() != "chunked"))
    return ReplyReason::TransferCoding;
  for (const std::string& coding : ListMembers(answer, "Content-Encoding")) {
    if (IsForeignCoding(coding, asked.fileName)) return ReplyReason::ContentCoding;
  }
  if (StartsWithNoCase(HeaderOf(answer, "Content-Type"), "multipart/byteranges")) return ReplyReason::Multipart;
  return ReadContentLength(answer).sound ? ReplyReason::None : ReplyReason::Lengths;
}

bool IsChunked(const FetchAnswer& answer) { return !ListMembers(answer, "Transfer-Encoding").empty(); }

// The length of the body; chunks say it themselves (RFC 9112, section 6.3).
std::int64_t BodyLength(const FetchAnswer& answer) { return IsChunked(answer) ? -1 : ReadContentLength(answer).length; }

LengthProof ProofOf(const FetchAnswer& answer) {
  if (IsChunked(answer)) return LengthProof::Chunked;
  return BodyLength(answer) >= 0 ? LengthProof::Length : LengthProof::UntilClose;
}

enum class Version : std::uint8_t {
  Same,
  Other,
  Unproven,  // nothing contradicts
  Unsaid,    // only one has a validator, or they have different kinds
};

bool HasValidator(const FileFacts& facts) {
  return !facts.validator.etag.empty() || !facts.validator.lastModified.empty() || facts.modified >= 0;
}

Version VersionOf(const FileFacts& known, const FileFacts& now) {
  const Validator& a = known.validator;
  const Validator& b = now.validator;
  if (!a.etag.empty() && !b.etag.empty()) {
    if (a.etag != b.etag) return Version::Other;
    return a.weak || b.weak ? Version::Unproven : Version::Same;
  }
  if (!a.lastModified.empty() && !b.lastModified.empty()) {
    if (a.lastModified != b.lastModified) return Version::Other;
    return a.settled && b.settled ? Version::Same : Version::Unproven;
  }
  if (known.modified >= 0 && now.modified >= 0) {
    return known.modified == now.modified ? Version::Same : Version::Other;
  }
  return HasValidator(known) || HasValidator(now) ? Version::Unsaid : Version::Unproven;
}

// `reading` has the range of a body of the right length: is it of the right version?
ReplyReading WithVersion(ReplyReading reading, const AskedFor& asked, const FileFacts& known) {
  const Version version = VersionOf(known, reading.facts);
  const bool right = asked.kind == RequestKind::First || version == Version::Same ||
                     (asked.kind == RequestKind::Later && version == Version::Unproven);
  reading.verdict = right ? ReplyVerdict::Body : ReplyVerdict::CompareSample;
  if (!right) reading.reason = version == Version::Other ? ReplyReason::OtherVersion : ReplyReason::Unproven;
  return reading;
}

ReplyReading PartialContent(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  const std::vector<std::string_view> headers = HeadersOf(answer, "Content-Range");
  const std::optional<ContentRange> found = headers.size() == 1 ? ParseContentRange(headers.front()) : std::nullopt;
  if (!asked.ranged || !found || !found->range) return Verdict(ReplyVerdict::AskWhole, ReplyReason::WrongRange);

  const bool first = asked.kind == RequestKind::First;
  ReplyReading reading;
  reading.facts = {found->total, ReadValidator(answer), -1};
  reading.range = *found->range;
  reading.proof = LengthProof::Length;
  if (!first && known.total >= 0 && found->total >= 0 && found->total != known.total) {
    reading.verdict = ReplyVerdict::Changed;
    reading.reason = ReplyReason::OtherLength;
    return reading;
  }
  if (found->total < 0 && !first) reading.facts.total = known.total;
  const std::int64_t total = reading.facts.total;
  const bool fits = reading.range.begin == asked.from && (asked.to < 0 || reading.range.end <= asked.to + 1) &&
                    total >= 0 && reading.range.end <= total;
  if (!fits) return Verdict(ReplyVerdict::AskWhole, ReplyReason::WrongRange);
  const std::int64_t length = BodyLength(answer);
  if (length >= 0 && length != reading.range.Length()) return Verdict(ReplyVerdict::AskWhole, ReplyReason::Lengths);
  return WithVersion(std::move(reading), asked, known);
}

ReplyReading WholeContent(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  ReplyReading reading;
  const std::int64_t length = BodyLength(answer);
  reading.facts = {length, ReadValidator(answer), -1};
  reading.range = {0, length};
  reading.proof = ProofOf(answer);
  if (asked.kind == RequestKind::First) {
    reading.verdict = length == 0 ? ReplyVerdict::Empty : ReplyVerdict::Body;
    return reading;
  }
  reading.reason = ReplyReason::NoRanges;
  if (asked.kind == RequestKind::Later && asked.ranged) {
    reading.verdict = ReplyVerdict::OneLane;
  } else if (asked.conditional && VersionOf(known, reading.facts) == Version::Same) {
    reading.verdict = ReplyVerdict::AskUnconditional;
  } else if (known.total >= 0 && length >= 0 && length != known.total) {
    reading.verdict = ReplyVerdict::Changed;
    reading.reason = ReplyReason::OtherLength;
  } else {
    reading.verdict = ReplyVerdict::CompareWhole;
  }
  return reading;
}

// 416 says how long the file is (RFC 9110, section 15.5.17).
ReplyReading NotSatisfiable(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  const std::optional<ContentRange> found = ParseContentRange(HeaderOf(answer, "Content-Range"));
  const std::int64_t total = found && !found->range ? found->total : -1;
  ReplyReading reading = Verdict(ReplyVerdict::AskWhole, ReplyReason::WrongRange);
  reading.facts.total = total;
  if (asked.kind == RequestKind::First) {
    if (total == 0) reading.verdict = ReplyVerdict::Empty;
  } else if (total >= 0 && known.total >= 0 && total != known.total) {
    reading.verdict = ReplyVerdict::Changed;
    reading.reason = ReplyReason::OtherLength;
  } else if (total >= 0 && total == asked.from) {
    reading.verdict = ReplyVerdict::Held;
  }
  if (!asked.ranged) reading.verdict = ReplyVerdict::Refused;
  return reading;
}

// Statuses whose body is no part of the file.
struct StatusRow {
  int from;
  int to;  // inclusive
  ReplyVerdict verdict;
  ReplyReason reason;
};
constexpr std::array kStatuses = {
    StatusRow{401, 401, ReplyVerdict::Login, ReplyReason::Login},
    StatusRow{403, 403, ReplyVerdict::Refused, ReplyReason::Forbidden},
    StatusRow{404, 404, ReplyVerdict::Refused, ReplyReason::NotFound},
    StatusRow{408, 408, ReplyVerdict::Again, ReplyReason::Status},
    StatusRow{410, 410, ReplyVerdict::Refused, ReplyReason::NotFound},
    StatusRow{421, 421, ReplyVerdict::Again, ReplyReason::Status},
    StatusRow{425, 425, ReplyVerdict::Again, ReplyReason::Status},
    StatusRow{426, 426, ReplyVerdict::Http2, ReplyReason::Status},
    StatusRow{429, 429, ReplyVerdict::Wait, ReplyReason::Status},
    StatusRow{501, 501, ReplyVerdict::Refused, ReplyReason::Status},
    StatusRow{503, 503, ReplyVerdict::Wait, ReplyReason::Status},
    StatusRow{505, 505, ReplyVerdict::Http2, ReplyReason::Status},
    StatusRow{500, 599, ReplyVerdict::Again, ReplyReason::Status},
    StatusRow{204, 205, ReplyVerdict::Refused, ReplyReason::NoContent},
};

ReplyReading WithoutBody(const FetchAnswer& answer) {
  if (IsRedirect(answer.status)) {
    const std::string_view location = HeaderOf(answer, "Location");
    if (location.empty()) return Verdict(ReplyVerdict::Refused, ReplyReason::BadRedirect);
    ReplyReading reading = Verdict(ReplyVerdict::Redirect, ReplyReason::Status);
    reading.location = location;
    return reading;
  }
  for (const StatusRow& row : kStatuses) {
    if (answer.status < row.from || answer.status > row.to) continue;
    const bool tooLong = row.verdict == ReplyVerdict::Wait && RetryAfter(answer).value_or(0) > kLongestWait;
    return Verdict(tooLong ? ReplyVerdict::WaitTooLong : row.verdict, row.reason);
  }
  return Verdict(ReplyVerdict::Refused, ReplyReason::Status);
}

ReplyReading HttpReply(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  const bool whole = answer.status == 200 || answer.status == 203;
  if (answer.status == 416) return NotSatisfiable(answer, asked, known);
  if (!whole && answer.status != 206) return WithoutBody(answer);
  const ReplyReason fault = FaultOfBody(answer, asked);
  if (fault == ReplyReason::Multipart || (fault == ReplyReason::Lengths && !whole)) {
    return Verdict(ReplyVerdict::AskWhole, fault);
  }
  if (fault != ReplyReason::None) return Verdict(ReplyVerdict::Refused, fault);
  return whole ? WholeContent(answer, asked, known) : PartialContent(answer, asked, known);
}

// ftp, ftps and sftp name the length from the start of the range, not that of the file.
ReplyReading PlainReply(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  ReplyReading reading;
  const std::int64_t from = asked.ranged ? asked.from : 0;
  const bool beyond = answer.length > std::numeric_limits<std::int64_t>::max() - from;  // no file is so long
  const std::int64_t total = answer.length < 0 || beyond ? -1 : from + answer.length;
  reading.facts = {total, {}, answer.modified};
  reading.range = {from, total};
  reading.proof = total < 0 ? LengthProof::UntilClose : LengthProof::Length;
  if (asked.kind == RequestKind::First) {
    reading.verdict = total == 0 ? ReplyVerdict::Empty : ReplyVerdict::Body;
    return reading;
  }
  if (known.total >= 0 && total >= 0 && total != known.total) {
    reading.verdict = ReplyVerdict::Changed;
    reading.reason = ReplyReason::OtherLength;
    return reading;
  }
  if (!asked.ranged) {
    reading.verdict = ReplyVerdict::CompareWhole;
    reading.reason = ReplyReason::NoRanges;
    return reading;
  }
  if (total < 0 && asked.kind == RequestKind::Later) return Verdict(ReplyVerdict::OneLane, ReplyReason::Lengths);
  if (total >= 0 && total == from && known.total == total) {
    reading.verdict = ReplyVerdict::Held;
    return reading;
  }
  return WithVersion(std::move(reading), asked, known);
}

// Other lanes have ranges of the file: a reply without the range asked for says only that this lane is one too many.
bool IsOneTooMany(const ReplyReading& reading) {
  switch (reading.verdict) {
    case ReplyVerdict::AskWhole:
    case ReplyVerdict::Empty:
    case ReplyVerdict::Held:
      return true;
    case ReplyVerdict::Refused:
      return reading.reason == ReplyReason::ContentCoding || reading.reason == ReplyReason::TransferCoding;
    default:
      return false;
  }
}

}  // namespace

ReplyReading CheckReply(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  ReplyReading reading = answer.status == 0 ? PlainReply(answer, asked, known) : HttpReply(answer, asked, known);
  // Who has asked for the whole file already gets no better answer by asking again.
  if (reading.verdict == ReplyVerdict::AskWhole && !asked.ranged) reading.verdict = ReplyVerdict::Refused;
  if (asked.kind == RequestKind::Later && IsOneTooMany(reading)) reading.verdict = ReplyVerdict::OneLane;
  reading.retryAfter = RetryAfter(answer);
  return reading;
}

}  // namespace pellora
