// Records for the tests of the list file: a full one, and random ones of any bytes.
#pragma once

#include <random>
#include <string>

#include "core/ListCodec.h"
#include "core/Record.h"

namespace pellora::test {

inline DownloadRecord FullRecord() {
  DownloadRecord r;
  r.DownloadKind = 1;
  r.Segments.resize(3);
  r.Segments[1] = {100, 199, 20, 30, 150, true, true, 7, "/t/file.zip001.tmp", kSegmentReceiving, 123456.5F};
  r.Segments[2] = {300, 399, 0, 0, 100, true, false, 0, "/t/file.zip002.tmp", kSegmentRefused, -1.0F};
  r.SegmentCount = 2;
  r.FileName = "file.zip";
  r.Path = "/pub/file.zip";
  r.Host = "host.example";
  r.Port = 8080;
  r.UserName = "anonymous";
  r.Password = "secret";
  r.Reserved1 = "r1";
  r.Reserved2 = 2;
  r.SavePath = "/d/file.zip";
  r.HasSavePath = true;
  r.Reserved3 = 3;
  r.RestState = "0";
  r.ConnectState = "1";
  r.Reserved4 = "r4";
  r.Referer = "http://from.example/";
  r.Queued = 1;
  r.Scheduled = 1;
  r.ContinueSegments = true;
  r.LastTick = 4294967295U;
  r.FileSize = 400;
  r.Received = 50;
  r.ElapsedSeconds = 1.5F;
  r.RemainingSeconds = 2.5F;
  r.InUse = true;
  r.Valid = true;
  r.Active = true;
  r.Percent = 12.5F;
  r.URL = "http://host.example:8080/pub/file.zip";
  r.Protocol = kFtp;
  r.DateAdded = 46000.25;
  return r;
}

inline std::string EncodedList(const std::vector<DownloadRecord>& records) {  // element 0 first
  std::string bytes;
  AppendListHeader(bytes, static_cast<std::int16_t>(records.size() - 1));
  for (const DownloadRecord& record : records) AppendRecord(bytes, record);
  return bytes;
}

class RandomRecords {
 public:
  explicit RandomRecords(std::uint32_t seed) : random_(seed) {}

  DownloadRecord Next() {
    DownloadRecord r;
    r.DownloadKind = Small();
    const std::size_t elements = random_() % 10;
    for (std::size_t i = 0; i < elements; ++i) r.Segments.push_back(NextSegment());
    r.SegmentCount = elements == 0 ? std::int16_t{0} : static_cast<std::int16_t>(random_() % elements);
    for (std::string* text : {&r.FileName, &r.Path, &r.Host, &r.UserName, &r.Password, &r.Reserved1, &r.SavePath,
                              &r.RestState, &r.ConnectState, &r.Reserved4, &r.Referer, &r.URL}) {
      *text = Text();
    }
    for (std::int16_t* number : {&r.Reserved2, &r.Reserved3, &r.Queued, &r.Scheduled, &r.Protocol}) *number = Small();
    for (std::int32_t* number : {&r.Port, &r.FileSize, &r.Received}) *number = Large();
    for (bool* flag :
         {&r.HasSavePath, &r.Paused, &r.ContinueSegments, &r.InUse, &r.Valid, &r.Finished, &r.Removed, &r.Active}) {
      *flag = Flag();
    }
    r.LastTick = static_cast<std::uint32_t>(Large());
    for (float* number : {&r.ElapsedSeconds, &r.RemainingSeconds, &r.Percent}) *number = Real();
    r.DateAdded = static_cast<double>(Large()) / 1024;
    return r;
  }

 private:
  SegmentRecord NextSegment() {
    SegmentRecord s;
    for (std::int32_t* n : {&s.RangeStart, &s.RangeEnd, &s.ReceivedNow, &s.ReceivedTotal, &s.RangeSize}) *n = Large();
    s.Enabled = Flag();
    s.Watched = Flag();
    s.Reserved = Small();
    s.TempFile = Text();
    s.State = Small();
    s.LastActivity = Real();
    return s;
  }
  std::int16_t Small() { return static_cast<std::int16_t>(random_()); }
  std::int32_t Large() { return static_cast<std::int32_t>(random_()); }
  bool Flag() { return random_() % 2 == 0; }
  float Real() { return static_cast<float>(Large()) / 16; }
  std::string Text() {
    std::string text(random_() % 40, '\0');
    for (char& c : text) c = static_cast<char>(random_());
    return text;
  }

  std::mt19937 random_;
};

}  // namespace pellora::test
