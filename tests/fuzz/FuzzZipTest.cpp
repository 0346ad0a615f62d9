// The corpus and seeded changes of it, as an ordinary test.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "FuzzZip.h"

namespace pellora {
namespace {

void Feed(const std::string& bytes) { FuzzZip(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()); }

TEST(FuzzZip, HoldsForItsCorpusAndForWhatDiffersInAFewBytes) {
  int files = 0;
  std::mt19937 random(1);
  for (const auto& entry : std::filesystem::directory_iterator(PELLORA_CORPUS "/zip")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    SCOPED_TRACE(entry.path().string());
    Feed(bytes);
    for (std::size_t length = 0; length < bytes.size(); ++length) Feed(bytes.substr(0, length));
    for (int round = 0; round < 300 && !bytes.empty(); ++round) {
      std::string changed = bytes;
      for (int i = 0; i < 3; ++i) changed[random() % changed.size()] = static_cast<char>(random() % 256);
      Feed(changed);
    }
    ++files;
  }
  EXPECT_GE(files, 8);
}

}  // namespace
}  // namespace pellora
