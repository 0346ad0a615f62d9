// DownloadRecord: everything about one download that must survive the program.
//
// Strings are bytes, untouched, in memory and in the list file. Flags are plain bools here; the list
// file writes them as 16-bit -1 and 0. The order of the fields is that of the list file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace pellora {

enum SegmentState : std::int16_t {
  kSegmentUnconnected = 0,
  kSegmentRequested = 1,
  kSegmentReceiving = 2,
  kSegmentComplete = 3,
  kSegmentPaused = 4,
  kSegmentLoggingIn = 5,
  kSegmentLoggedIn = 6,    // FTP: reply 230 seen, data connection requested
  kSegmentRetrieving = 7,  // FTP: reply 350 seen, RETR sent
  kSegmentRefused = 11,    // FTP: too many connections
};

// One byte range of a file, with its own part file. Offsets count from 0 in the finished file.
// While it runs, RangeEnd + ReceivedTotal - RangeStart + 1 = RangeSize.
struct SegmentRecord {
  std::int32_t RangeStart = 0;     // the next byte to ask the server for
  std::int32_t RangeEnd = 0;       // the last byte, inclusive
  std::int32_t ReceivedNow = 0;    // bytes of the present connection
  std::int32_t ReceivedTotal = 0;  // bytes of earlier connections
  std::int32_t RangeSize = 0;      // as planned
  bool Enabled = false;
  bool Watched = false;  // the stall watch may reconnect it
  std::int16_t Reserved = 0;
  std::string TempFile;                      // full path of the part file
  std::int16_t State = kSegmentUnconnected;  // a SegmentState; the list file may hold any value
  float LastActivity = 0;                    // tick count of the last activity, in ms; may be in the future

  // Adds what the present connection received to the resume point. In a damaged list the sum may be too large.
  void Fold() {
    RangeStart = HeldSum(RangeStart, ReceivedNow);
    ReceivedTotal = HeldSum(ReceivedTotal, ReceivedNow);
    ReceivedNow = 0;
  }
  // Good bytes at the start of the part file.
  std::int64_t Received() const { return std::int64_t{ReceivedNow} + ReceivedTotal; }
  bool operator==(const SegmentRecord&) const = default;

 private:
  static std::int32_t HeldSum(std::int32_t a, std::int32_t b) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp(std::int64_t{a} + b, std::int64_t{Limits::min()}, std::int64_t{Limits::max()}));
  }
};

enum Protocol : std::int16_t { kHttp = 0, kFtp = 1 };

struct DownloadRecord {
  std::int16_t DownloadKind = 0;  // 1: the program's own update package
  // Element 0 is never used; segments are 1 to SegmentCount. Empty: never given an array.
  std::vector<SegmentRecord> Segments;
  std::int16_t SegmentCount = 0;
  std::string FileName;
  std::string Path;  // on the server, with leading "/"
  std::string Host;
  std::int32_t Port = 0;
  std::string UserName;
  std::string Password;
  std::string Reserved1;
  std::int16_t Reserved2 = 0;
  std::string SavePath;
  bool HasSavePath = false;
  std::int16_t Reserved3 = 0;
  std::string RestState;     // "", "0" REST accepted, "-1" refused, "1" ended in a fatal error
  std::string ConnectState;  // "0" a connection was attempted, "1" it timed out and the user kept it
  std::string Reserved4;
  std::string Referer;
  std::int16_t Queued = 0;
  std::int16_t Scheduled = 0;
  bool Paused = false;
  bool ContinueSegments = false;
  std::uint32_t LastTick = 0;  // tick count of the last progress accounting, ms
  std::int32_t FileSize = 0;   // bytes; 0 until known
  std::int32_t Received = 0;   // bytes in all segments
  float ElapsedSeconds = 0;
  float RemainingSeconds = 0;
  bool InUse = false;
  bool Valid = false;
  bool Finished = false;
  bool Removed = false;
  bool Active = false;
  float Percent = 0;
  std::string URL;
  std::int16_t Protocol = kHttp;
  double DateAdded = 0;  // days since 30 December 1899, local

  // Segment `i`, counted from 1. Failure(OutOfRange) if the array does not have it.
  SegmentRecord& Segment(int i);
  const SegmentRecord& Segment(int i) const;
  // The next start plans anew.
  void DropPlan();
  bool operator==(const DownloadRecord&) const = default;
};

}  // namespace pellora
