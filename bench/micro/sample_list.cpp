// Writes a list file for the measurements: sample_list FILE CURRENT FINISHED FOLDER [JOURNAL]
// That many current and finished downloads of eight segments each; the finished files are recorded as being in FOLDER.
// With JOURNAL they are downloads of the web engine, and that file has a line for each; the current ones are begun.
#include <array>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "SampleRecord.h"
#include "core/ListCodec.h"
#include "fetch/JournalCodec.h"

namespace {

int Number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

bool Write(const char* path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  return static_cast<bool>(file.flush());
}

pellora::DownloadRecord NumberedRecord(int number, bool finished, const std::string& folder) {
  constexpr std::array<const char*, 8> kTypes = {".zip", ".iso", ".mp3", ".avi", ".pdf", ".txt", ".deb", ".tar.gz"};
  const char* const type = kTypes[static_cast<std::size_t>(number) % kTypes.size()];
  pellora::DownloadRecord record = pellora::Sample(number);
  record.FileName += type;
  record.URL += type;
  record.FileSize = pellora::kSampleSegments * 1000000;
  record.DateAdded = 46000 + number / 86400.0;
  record.Paused = true;
  record.Finished = finished;
  record.Percent = record.Finished ? 100.0F : static_cast<float>(number % 1000) / 10;
  record.SavePath = folder + "/" + record.FileName;
  return record;
}

// Makes it one of the web engine's.
pellora::JournalEntry TakeOver(pellora::DownloadRecord& record, int number) {
  record.URL.replace(0, std::string_view("http").size(), "https");
  record.Segments.resize(1);
  record.SegmentCount = 0;
  pellora::JournalEntry entry;
  entry.key = pellora::JournalKeyOf(record.URL, record.DateAdded);
  entry.id = static_cast<std::uint64_t>(number);
  entry.path = record.SavePath;
  entry.facts.total = record.FileSize;
  entry.facts.validator.etag = "\"" + std::to_string(1000000007LL * number) + "\"";
  entry.facts.validator.lastModified = "Thu, 29 Feb 2024 12:34:56 GMT";
  if (record.Finished) {
    entry.state = pellora::JournalState::Finished;
    return entry;
  }
  entry.partPath = record.SavePath + ".part";
  entry.part = {2049, static_cast<std::uint64_t>(number)};
  for (std::int64_t lane = 0; lane < pellora::kSampleSegments; ++lane) {
    entry.held.Add({lane * 1000000, lane * 1000000 + number % 1000 * 1000 + 1});
  }
  return entry;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::cerr << "usage: sample_list FILE CURRENT FINISHED FOLDER [JOURNAL]\n";
    return 1;
  }
  const int current = Number(argv[2]);
  const int all = current + Number(argv[3]);
  std::string bytes;
  std::vector<pellora::JournalEntry> entries;
  pellora::AppendListHeader(bytes, static_cast<std::int16_t>(all));
  pellora::AppendRecord(bytes, pellora::DownloadRecord());
  for (int i = 1; i <= all; ++i) {
    pellora::DownloadRecord record = NumberedRecord(i, i > current, argv[4]);
    if (argc == 6) entries.push_back(TakeOver(record, i));
    pellora::AppendRecord(bytes, record);
  }
  const auto next = static_cast<std::uint64_t>(all) + 1;
  const bool journaled = argc == 5 || Write(argv[5], pellora::WholeJournal(entries, next));
  return Write(argv[1], bytes) && journaled ? 0 : 1;
}
