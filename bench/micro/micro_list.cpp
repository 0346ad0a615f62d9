// Measures the full list: 32,767 records of eight segments each, encoded, written and loaded.
// Prints milliseconds (median and least of several rounds) and the size of the list.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "SampleRecord.h"
#include "core/ListCodec.h"

namespace {

using pellora::DownloadRecord;

constexpr int kRecords = 32767;
constexpr int kRounds = 15;

void Measure(const char* what, const std::function<void()>& work) {
  std::vector<double> rounds;
  for (int i = 0; i < kRounds; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    rounds.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  std::sort(rounds.begin(), rounds.end());
  std::cout << what << ": median " << rounds[kRounds / 2] << " ms, least " << rounds.front() << " ms\n";
}

}  // namespace

int main() {
  std::vector<DownloadRecord> records(1);
  for (int i = 1; i <= kRecords; ++i) records.push_back(pellora::Sample(i));

  std::string bytes;
  const auto encode = [&] {
    bytes.clear();
    pellora::AppendListHeader(bytes, kRecords);
    for (const DownloadRecord& record : records) pellora::AppendRecord(bytes, record);
  };
  Measure("first save, buffer growing", [&] {
    std::string().swap(bytes);
    encode();
  });
  Measure("save, buffer reused", encode);

  std::vector<DownloadRecord> loaded;
  Measure("load", [&] {
    loaded = std::vector<DownloadRecord>(kRecords + 1);
    pellora::ListDecoder decoder(bytes);
    for (DownloadRecord& record : loaded) decoder.Next(record);
  });
  std::cout << "size: " << bytes.size() << " bytes\n";
  if (loaded != records) {
    std::cerr << "the loaded list differs from the saved one\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
