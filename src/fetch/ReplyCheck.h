// CheckReply: what a reply to a request for bytes of a file means. Every byte that reaches a part file was let in here.
//
// A range counts only if the reply is 206, Content-Range begins where asked, and total and validator are those of the
// first answer. What is merely unproven is to be compared with bytes that are held, what contradicts is Changed, and a
// server that cannot do ranges as asked gets one connection. The check does not remember anything: the caller limits
// how often it asks again, and decides what a lane's verdict means while other lanes flow.
//
// Statuses are those of RFC 9110, section 15. Answers of ftp, ftps and sftp have none; their length and time of
// modification are judged instead.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/FileFacts.h"
#include "core/IntervalSet.h"
#include "fetch/ReplyHeads.h"
#include "ports/Fetcher.h"

namespace pellora {

enum class RequestKind : std::uint8_t {
  First,    // nothing of the file is held
  Later,    // a further lane, or one again, in a run whose first answer is known
  Resumed,  // the first one of a file that was begun before the program started, or before the user paused it for long
};

struct AskedFor {
  RequestKind kind = RequestKind::First;
  bool ranged = true;              // False: the whole file
  std::int64_t from = 0;           // first byte
  std::int64_t to = -1;            // last byte, inclusive, as in FetchRequest; -1: to the end
  bool conditional = false;        // with If-Range
  std::string_view fileName = {};  // as FileNameFromReply has it: tells files that are compressed themselves
};

enum class ReplyVerdict : std::uint8_t {
  Body,              // the body is `range` of the file
  Empty,             // the file has no bytes
  Held,              // the file ends where the request was to begin: nothing is missing
  CompareSample,     // the length fits, the version is unproven: ask for 64 KiB that are held and compare them first
  CompareWhole,      // the body begins at byte 0: compare with what is held, then continue with it
  AskWhole,          // once more without Range
  AskUnconditional,  // once more without If-Range
  // Nothing can be had on this lane: no further lanes for this download while it runs. Where no lane flows any more,
  // the file is asked for whole, as Resumed.
  OneLane,
  Changed,      // another version of the file
  Redirect,     // to `location`
  Wait,         // 429, 503: later, after `retryAfter` if the server names it
  WaitTooLong,  // the server names a moment more than 24 hours away: stop, naming it
  Again,        // a fault of the server that may pass
  Login,        // 401
  Http2,        // once more with HTTP/2, on one lane
  Refused,      // for good
};

enum class ReplyReason : std::uint8_t {
  None,
  Status,          // as its number says
  NotFound,        // 404, 410
  Forbidden,       // 403
  Login,           // 401
  NoContent,       // 204, 205, or an answer that is none
  Multipart,       // several ranges in one body
  WrongRange,      // not the bytes that were asked for
  NoRanges,        // 200 to a request for a range
  Lengths,         // Content-Length is unreadable or contradicts itself or the range
  TransferCoding,  // other than chunked
  ContentCoding,   // compressed on the way
  BadRedirect,     // without a location
  OtherLength,     // the file had another length
  OtherVersion,    // the file had another validator
  Unproven,        // no validator that says anything
};

// How the end of a body is known.
enum class LengthProof : std::uint8_t {
  Length,      // counted bytes
  Chunked,     // the last chunk
  UntilClose,  // nothing: the length is not confirmed
};

struct ReplyReading {
  ReplyVerdict verdict = ReplyVerdict::Refused;
  ReplyReason reason = ReplyReason::None;
  Range range;                                  // of Body, CompareSample and CompareWhole; its end -1: not known
  LengthProof proof = LengthProof::UntilClose;  // of the body
  FileFacts facts;                              // as this answer has them
  std::string location;                         // of Redirect, as sent
  std::optional<std::int64_t> retryAfter;       // seconds, with every verdict
};

// `known` is of no account for RequestKind::First.
ReplyReading CheckReply(const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known = {});

}  // namespace pellora
