// A record of the full list that the benchmarks measure: eight segments, names of usual length.
#pragma once

#include <string>

#include "core/Record.h"

namespace pellora {

inline constexpr int kSampleSegments = 8;

inline DownloadRecord Sample(int number) {
  const std::string name = "archive-number-" + std::to_string(number) + ".zip";
  DownloadRecord record;
  record.Segments.resize(kSampleSegments + 1);
  for (int i = 1; i <= kSampleSegments; ++i) {
    pellora::SegmentRecord& segment = record.Segment(i);
    segment.RangeStart = i * 1000000;
    segment.RangeEnd = segment.RangeStart + 999999;
    segment.RangeSize = 1000000;
    segment.TempFile = "/home/user/Documents/Pellora/temp/" + name + "00" + std::to_string(i) + ".tmp";
  }
  record.SegmentCount = kSampleSegments;
  record.FileName = name;
  record.Path = "/pub/files/" + name;
  record.Host = "downloads.host.example";
  record.URL = "http://" + record.Host + record.Path;
  record.SavePath = "/home/user/Documents/Pellora/downloads/" + name;
  record.InUse = true;
  return record;
}

}  // namespace pellora
