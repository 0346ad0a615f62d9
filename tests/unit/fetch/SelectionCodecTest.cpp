#include <gtest/gtest.h>

#include <functional>

#include "SimRandom.h"
#include "fetch/FieldLines.h"
#include "fetch/SelectionCodec.h"

namespace pellora {
namespace {

Selection Sample() {
  Selection selection;
  selection.archive = "big archive.zip";
  selection.folder = "/home/u/my files";
  selection.existing = Existing::Keep;
  selection.facts = {5'000'000'000, {"\"a b\"", true, "Sat, 01 Jan 2000 00:00:00 GMT", true}, 946'684'800};
  SelectedEntry file;
  file.path = {"docs", "100 %.txt"};
  file.rawName = std::string("docs/\xFF\0%", 8);
  file.range = {4'300'000'000, 4'300'001'000};
  file.reach = 4'300'002'000;
  file.packed = {9, 0x0801, 0x6000, 0x5A8C, 0xDEADBEEF, 900, 6'000'000'000, std::string("\2\0AE\3\x08\0", 7), {}};
  file.modified = -5;
  file.mode = 0755;
  SelectedEntry folder;
  folder.path = {"empty"};
  folder.rawName = "empty/";
  folder.range = {4'300'002'000, 4'300'002'036};
  folder.reach = 4'300'002'036;
  folder.isFolder = true;
  selection.entries = {file, folder};
  return selection;
}

TEST(SelectionCodec, KeepsEverythingButThePassword) {
  const Selection sample = Sample();
  Selection withPassword = sample;
  withPassword.entries[0].packed.password = "open sesame";
  const std::string text = SelectionText(withPassword);
  EXPECT_EQ(text.find("sesame"), std::string::npos);
  EXPECT_EQ(ReadSelection(text), sample);
}

// They come first.
TEST(SelectionCodec, KeepsFilesThatWereUnpackedFromAnEarlierVersion) {
  Selection selection = Sample();
  SelectedEntry unpacked = selection.entries[0];
  unpacked.range = {};
  unpacked.reach = 0;
  selection.entries.insert(selection.entries.begin(), 2, unpacked);
  EXPECT_EQ(ReadSelection(SelectionText(selection)), selection);
  std::swap(selection.entries[1], selection.entries[2]);
  EXPECT_FALSE(ReadSelection(SelectionText(selection)));
}

TEST(SelectionCodec, RefusesATextThatIsCutAnywhere) {
  const std::string text = SelectionText(Sample());
  for (std::size_t length = 0; length < text.size(); ++length) EXPECT_FALSE(ReadSelection(text.substr(0, length)));
  EXPECT_FALSE(ReadSelection(text + text));
}

TEST(SelectionCodec, RefusesATextWithAnyByteChanged) {
  const std::string text = SelectionText(Sample());
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::string changed = text;
    changed[at] ^= '\x04';
    EXPECT_FALSE(ReadSelection(changed)) << at;
  }
}

TEST(SelectionCodec, RefusesWhatNoWriterWrites) {
  const auto refuses = [](const std::function<void(Selection&)>& change) {
    Selection selection = Sample();
    change(selection);
    return !ReadSelection(SelectionText(selection));
  };
  EXPECT_FALSE(refuses([](Selection&) {}));
  EXPECT_TRUE(refuses([](Selection& s) { s.folder = "relative"; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.folder.clear(); }));
  EXPECT_TRUE(refuses([](Selection& s) { s.facts.total = -1; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.facts.total = 1000; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.entries.clear(); }));
  EXPECT_TRUE(refuses([](Selection& s) { std::swap(s.entries[0], s.entries[1]); }));
  EXPECT_TRUE(refuses([](Selection& s) { s.entries[1].range.begin = s.entries[0].range.end - 1; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.entries[0].reach = s.entries[0].range.end - 1; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.entries[0].range.end = s.entries[0].range.begin; }));
  EXPECT_TRUE(refuses([](Selection& s) { s.entries[0].path.clear(); }));
  for (const char* part : {"", ".", "..", "../x"}) {
    EXPECT_TRUE(refuses([&](Selection& s) { s.entries[0].path = {"docs", part}; })) << part;
  }
  EXPECT_TRUE(refuses([](Selection& s) { s.entries[0].path = {std::string("a\0b", 3)}; }));
}

// Of any kind, with a right sum too.
TEST(SelectionCodec, RefusesAMillionHostileBytes) {
  SimRandom random(1);
  const std::string text = SelectionText(Sample());
  for (int round = 0; round < 1000; ++round) {
    std::string bytes = text;
    for (int change = 0; change < 20; ++change) {
      bytes[random.Next() % bytes.size()] = static_cast<char>(random.Next());
    }
    EXPECT_FALSE(ReadSelection(bytes));
  }
  std::string rubbish(1'000'000, '\0');
  for (char& byte : rubbish) byte = static_cast<char>(random.Next());
  EXPECT_FALSE(ReadSelection(rubbish));
  EXPECT_FALSE(ReadSelection(std::string(1'000'000, '\n')));
  EXPECT_FALSE(ReadSelection(std::string(1'000'000, '/')));
  const std::string promises = fields::Line(" archive=a folder=/a total=100 entries=18446744073709551615");
  EXPECT_FALSE(ReadSelection(promises));
  EXPECT_FALSE(ReadSelection(promises + fields::Line(" path=" + std::string(1'000'000, '/') + " at=0:50 reach=50")));
  EXPECT_FALSE(ReadSelection(fields::Line(" archive=a folder=/a total=100 entries=1") +
                             fields::Line(" path=a at=9223372036854775807:-1 reach=50")));
}

}  // namespace
}  // namespace pellora
