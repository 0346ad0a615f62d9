// What tests of the window for looking inside share: an archive of six files, and the steps to unpack some of it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "LookInsideRun.h"

namespace pellora {

inline std::vector<TestEntry> Sample() {
  return {Packed("docs/a.pdf", Bytes(100'000, 1)), Stored("docs/deep/b.pdf", Bytes(5000, 2)),
          Packed("docs/c.txt", Bytes(900, 3)),     Packed("top.txt", Bytes(20'000, 4)),
          Stored("big.bin", Bytes(300'000, 5)),    Packed("Cover.PDF", Bytes(70, 6))};
}

class LookingInside : public testing::Test, protected LookInsideRun {
 protected:
  void SetUp() override { Serve(Sample()); }
  void Look(ArchiveLook look = {.url = kUrl}) {
    Open(std::move(look));
    ASSERT_TRUE(RunUntilListed()) << State();
  }
  // Until the dialog for the folder is open, and with its answer.
  void ExtractTo(CommandButton& button) {
    Press(button);
    ASSERT_TRUE(FolderDialog()) << Box();
    Press(FolderDialog()->Command1);
  }
  bool IsUnpacked(const std::string& name, const std::string& plain) { return sim.disk().Holds(Path(name), plain); }
  // Column 0 is the name.
  std::string Cell(const std::string& name, std::size_t column) {
    const ListView& list = Viewer()->ListView1;
    for (std::size_t at = 0; at < list.RowCount(); ++at) {
      const ListRow& row = list.RowAt(at);
      if (row.text == name) return column <= row.subItems.size() ? row.subItems[column - 1] : std::string();
    }
    return "no row";
  }
};

}  // namespace pellora
