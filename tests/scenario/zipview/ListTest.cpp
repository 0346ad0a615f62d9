// The listing: folders, sorting, displays.
#include <algorithm>

#include "ZipFixture.h"

namespace pellora {
namespace {

class ZipList : public ZipFixture {
 protected:
  void SetUp() override { ASSERT_TRUE(Open(members)); }
  Form2& View() { return *Viewer(); }
  const ListView& List() { return View().ListView1; }
  void ByFolder() {
    sim.Do([&] { View().Option1.SetByUser(true); });
  }
  void DoubleClick(const std::string& text) {
    const std::vector<std::string> texts = Texts(View());
    const auto at = std::find(texts.begin(), texts.end(), text);
    ASSERT_NE(at, texts.end()) << text;
    const auto row = static_cast<std::size_t>(at - texts.begin());
    sim.Do([&] { View().ListView1.SelectByUser({row}); });
    sim.Do([&] { View().ListView1.DoubleClick(); });
  }
  void Column(int column) {
    sim.Do([&] { View().ListView1.ClickColumn(column); });
  }

  const std::vector<SimMember> members = {
      {"z.txt", 100, 200},        {"docs/", 0, 0},     {"docs/b.txt", 9, 10}, {"docs/img/"},
      {"docs/img/c.png", 30, 30}, {"A.txt", 20, 1000}, {"lost/d.txt", 1, 2},  {"b.txt", 3, 0}};
};

TEST_F(ZipList, StartsWithAFlatReportOfFiles) {
  EXPECT_TRUE(View().Option2.Value());
  EXPECT_TRUE(View().Option4.Value());
  EXPECT_EQ(List().View(), kReportDisplay);
  EXPECT_EQ(View().Caption(), "OnLine-Zip Viewer & Extractor");
  EXPECT_TRUE(View().Visible());
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"A.txt", "b.txt", "b.txt", "c.png", "d.txt", "z.txt"}));
  EXPECT_EQ(Caption(), "1.2 kb used by 8 file(s)  (163 bytes packed.)");
  EXPECT_EQ(List().Columns().size(), 5U);
}

TEST_F(ZipList, KeepsEqualRowsInArchiveOrder) {
  EXPECT_EQ(List().Rows()[1].key, "e3");
  EXPECT_EQ(List().Rows()[2].key, "e8");
}

TEST_F(ZipList, ShowsOneFolderAtATimeWithItsTotals) {
  ByFolder();
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"+docs", "A.txt", "b.txt", "z.txt"}));
  EXPECT_EQ(Caption(), "1.1 kb used by 4 file(s)  (123 bytes packed.)");
  DoubleClick("+docs");
  EXPECT_EQ(View().CurrentFolder, "docs");
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"+img", "b.txt"}));
  DoubleClick("+img");
  EXPECT_EQ(View().CurrentFolder, "docs/img");
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"c.png"}));
  EXPECT_EQ(Caption(), "30 bytes used by 1 file(s)  (30 bytes packed.)");
}

TEST_F(ZipList, GoesUpToTheRootAndRelistsItThere) {
  ByFolder();
  DoubleClick("+docs");
  DoubleClick("+img");
  sim.Do([&] { View().Command4.Click(); });
  EXPECT_EQ(View().CurrentFolder, "docs");
  sim.Do([&] { View().Command4.Click(); });
  EXPECT_EQ(View().CurrentFolder, "");
  const std::uint64_t version = List().RowsVersion();
  sim.Do([&] { View().Command4.Click(); });
  EXPECT_GT(List().RowsVersion(), version);
  EXPECT_EQ(List().Rows().size(), 4U);
}

TEST_F(ZipList, KeepsTheFolderWhileItShowsFiles) {
  ByFolder();
  DoubleClick("+docs");
  sim.Do([&] { View().Option2.SetByUser(true); });
  EXPECT_EQ(List().Rows().size(), 6U);
  EXPECT_FALSE(View().Option1.Value());
  ByFolder();
  EXPECT_EQ(View().CurrentFolder, "docs");
  EXPECT_EQ(List().Rows().size(), 2U);
}

TEST_F(ZipList, IgnoresADoubleClickOnAFileOrOnNothing) {
  const std::uint64_t version = List().RowsVersion();
  DoubleClick("A.txt");
  EXPECT_EQ(List().RowsVersion(), version);
  sim.Do([&] { View().ListView1.SelectByUser({}); });
  sim.Do([&] { View().ListView1.DoubleClick(); });
  EXPECT_EQ(List().RowsVersion(), version);
  EXPECT_EQ(View().CurrentFolder, "");
}

TEST_F(ZipList, SortsByTextAndReversesOnASecondClick) {
  Column(2);
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"b.txt", "b.txt", "A.txt", "d.txt", "z.txt", "c.png"}))
      << "0, 10, 1000, 2, 200, 30";
  Column(2);
  EXPECT_TRUE(List().SortsDescending());
  EXPECT_EQ(Texts(View()).front(), "c.png");
  Column(0);
  EXPECT_EQ(List().SortKey(), 0);
  EXPECT_TRUE(List().SortsDescending());  // another column keeps the order
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"z.txt", "d.txt", "c.png", "b.txt", "b.txt", "A.txt"}));
}

TEST_F(ZipList, KeepsItsSortOrderAcrossListings) {
  Column(0);
  ByFolder();
  EXPECT_EQ(Texts(View()), (std::vector<std::string>{"z.txt", "b.txt", "A.txt", "+docs"}));
}

TEST_F(ZipList, SwitchesViewsByTheFourOptions) {
  const std::vector<std::pair<OptionButton*, int>> options = {
      {&View().Option3, 2}, {&View().Option5, 0}, {&View().Option6, 1}, {&View().Option4, 3}};
  for (const auto& entry : options) {
    OptionButton* const option = entry.first;
    sim.Do([&] { option->SetByUser(true); });
    EXPECT_EQ(List().View(), entry.second);
    for (const auto& [other, ignored] : options) EXPECT_EQ(other->Value(), other == option);
  }
}

TEST_F(ZipList, ReturnsToTheReportAtEachListingWithoutChangingOptions) {
  sim.Do([&] { View().Option5.SetByUser(true); });
  ByFolder();
  EXPECT_EQ(List().View(), kReportDisplay);
  EXPECT_TRUE(View().Option5.Value());
  EXPECT_FALSE(View().Option4.Value());
}

TEST_F(ZipList, FillsTheWindowWithinItsMargins) {
  sim.Do([&] { View().ViewResized(900, 700, 890, 660); });
  EXPECT_EQ(List().Width(), 880);
  EXPECT_EQ(List().Height(), 590);
  sim.Do([&] { View().ViewResized(5, 5, 0, 0); });
  EXPECT_EQ(List().Height(), 0);
}

TEST_F(ZipList, ShowsFileTypeAndFolderIcons) {
  EXPECT_EQ(List().Rows()[3].icon, "file:png");
  ByFolder();
  EXPECT_EQ(List().Rows()[0].icon, "folder");
}

TEST_F(ZipList, StaysEnglishAndExplainsItsButtonsInToolTips) {
  EXPECT_EQ(View().Command1.ToolTipText(),
            "Use the Pellora classic and extracts all the compressed files into a directory");
  EXPECT_EQ(View().Command2.ToolTipText(), "Extract only some files from this ZIP to a directory");
  EXPECT_EQ(View().Command3.ToolTipText(), "Use the classic Pellora interface to download the entire Zip");
  for (const Control* const control : View().Controls()) EXPECT_EQ(control->Tag(), "") << control->Name;
}

TEST_F(ZipFixture, ListsNothingBeforeAnythingIsRead) {
  HttpFault hang;
  hang.hangInBody = 30;
  origin.OnConnection(3, hang);
  origin.File("/a.zip", SimArchive({{"a.txt", 1, 2}}));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(sim.RunUntil([&] { return origin.Requests().size() == 3; }));
  EXPECT_EQ(Viewer()->EntryCount, 1);
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  EXPECT_EQ(Caption(), "0 bytes used by 0 file(s)  (0 bytes packed.)");
  sim.Do([&] { Viewer()->Option2.SetByUser(true); });
  EXPECT_TRUE(Viewer()->ListView1.Rows().empty());
}

}  // namespace
}  // namespace pellora
