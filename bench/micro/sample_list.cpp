// Writes a list file for the measurements: sample_list FILE CURRENT FINISHED FOLDER
// That many current and finished downloads of eight segments each; the finished files are recorded as being in FOLDER.
#include <array>
#include <charconv>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "SampleRecord.h"
#include "core/ListCodec.h"

namespace {

int Number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: sample_list FILE CURRENT FINISHED FOLDER\n";
    return 1;
  }
  constexpr std::array<const char*, 8> kTypes = {".zip", ".iso", ".mp3", ".avi", ".pdf", ".txt", ".deb", ".tar.gz"};
  const int current = Number(argv[2]);
  const int all = current + Number(argv[3]);
  std::string bytes;
  pellora::AppendListHeader(bytes, static_cast<std::int16_t>(all));
  pellora::AppendRecord(bytes, pellora::DownloadRecord());
  for (int i = 1; i <= all; ++i) {
    pellora::DownloadRecord record = pellora::Sample(i);
    record.FileName += kTypes[static_cast<std::size_t>(i) % kTypes.size()];
    record.URL += kTypes[static_cast<std::size_t>(i) % kTypes.size()];
    record.FileSize = pellora::kSampleSegments * 1000000;
    record.DateAdded = 46000 + i / 86400.0;
    record.Paused = true;
    record.Finished = i > current;
    record.Percent = record.Finished ? 100.0F : static_cast<float>(i % 1000) / 10;
    record.SavePath = std::string(argv[4]) + "/" + record.FileName;
    pellora::AppendRecord(bytes, record);
  }
  std::ofstream file(argv[1], std::ios::binary);
  file << bytes;
  return file.flush() ? 0 : 1;
}
