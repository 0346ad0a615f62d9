#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SimPlatform.h"
#include "ui/Controls.h"

namespace pellora {
namespace {

class ControlWindow final : public Window {
 public:
  explicit ControlWindow(Platform& platform) : Window(platform, "ControlWindow", "") {}
  CommandButton Command1{this, "Command1", "Start", 501};
  CheckBox Check1{this, "Check1"};
  Toolbar Toolbar1{this, "Toolbar1", {{"add", "Add URL", 100}, {"quit", "Quit", 108}}};
  TabStrip Tabs{this, "Tabs", {{"a", "A"}, {"b", "B"}}};
  StatusBar Status{this, "Status", {"", "", ""}};
  ListView List{this, "List", {{"name", "Filename", 200}}};
  ControlArray<ProgressBar> Prog{this, "Prog", 8};
  ControlArray<Label> Labels{this, "Labels", {{"one", 1}, {"two", 0}}};
};

class ControlsTest : public testing::Test {
 protected:
  static ListRow Row(const std::string& key, const std::string& text = "") {
    ListRow row;
    row.key = key;
    row.text = text;
    return row;
  }
  static std::vector<ListRow> Rows(std::initializer_list<const char*> keys) {
    std::vector<ListRow> rows;
    for (const char* key : keys) rows.push_back(Row(key));
    return rows;
  }

  SimPlatform sim;
  std::shared_ptr<ControlWindow> window = std::make_shared<ControlWindow>(sim.platform());
  ListView& list = window->List;
  using Numbers = std::vector<std::size_t>;
};

TEST_F(ControlsTest, DisabledButtonDoesNotClick) {
  int clicks = 0;
  window->Command1.OnClick = [&] { ++clicks; };
  window->Command1.Click();
  window->Command1.Enabled = false;
  window->Command1.Click();
  EXPECT_EQ(clicks, 1);
}

TEST_F(ControlsTest, TagsHoldATextNumberOrNothing) {
  EXPECT_EQ(window->Command1.Tag(), "501");
  EXPECT_EQ(window->Check1.Tag(), "");
  EXPECT_EQ(window->Labels(0).Tag(), "1");
  EXPECT_EQ(window->Labels(1).Tag(), "");
}

TEST_F(ControlsTest, ArrayElementsKnowTheirIndex) {
  EXPECT_EQ(window->Prog.Count(), 8);
  EXPECT_EQ(window->Find("Prog(7)"), &window->Prog(7));
  EXPECT_THROW(window->Prog(8), std::out_of_range);
}

TEST_F(ControlsTest, UserChangeIsSetBeforeItsEvent) {
  bool seen = false;
  int tab = -1;
  window->Check1.OnClick = [&] { seen = window->Check1.Value; };
  window->Tabs.OnClick = [&] { tab = window->Tabs.Selected; };
  window->Check1.SetByUser(true);
  window->Tabs.SelectByUser(1);
  EXPECT_TRUE(seen);
  EXPECT_EQ(tab, 1);
}

TEST_F(ControlsTest, ToolbarReportsTheKeyOfItsButton) {
  std::string key;
  window->Toolbar1.OnButtonClick = [&](const std::string& clicked) { key += clicked; };
  window->Toolbar1.ClickButton("quit");
  EXPECT_EQ(key, "quit");
}

TEST_F(ControlsTest, StatusPanelsCountFromOne) {
  window->Status.SetPanel(2, "middle");
  EXPECT_EQ(window->Status.Panels(), (std::vector<std::string>{"", "middle", ""}));
  EXPECT_THROW(window->Status.SetPanel(4, "x"), std::out_of_range);
}

TEST_F(ControlsTest, NewRowsKeepTheSelectionByKey) {
  list.SetRows(Rows({"a", "b", "c", "d"}));
  list.Select({3, 1, 1, 99});
  EXPECT_EQ(list.Selection(), (Numbers{1, 3}));
  list.SetRows(Rows({"d", "x", "b"}));
  EXPECT_EQ(list.Selection(), (Numbers{0, 2}));
  list.SetRows(Rows({"x", "d"}));
  EXPECT_EQ(list.Selection(), (Numbers{1}));
  list.SetRows({});
  EXPECT_EQ(list.Selection(), Numbers{});
}

TEST_F(ControlsTest, OneSelectedRowOfEqualKeysStaysOne) {
  list.SetRows(Rows({"a", "a", "b"}));
  list.Select({1});
  list.SetRows(Rows({"b", "a", "a"}));
  EXPECT_EQ(list.Selection().size(), 1U);
}

TEST_F(ControlsTest, LargestListStaysFullySelected) {
  std::vector<ListRow> rows;
  Numbers all;
  for (std::size_t i = 0; i < 32767; ++i) {
    rows.push_back(Row("http://host.example/" + std::to_string(i)));
    all.push_back(i);
  }
  list.SetRows(rows);
  list.Select(all);
  list.SetRows(rows);
  EXPECT_EQ(list.Selection(), all);
}

TEST_F(ControlsTest, ChangedRowIsNotedOnlyIfItDiffers) {
  list.SetRows(Rows({"a", "b"}));
  const std::uint64_t version = list.RowsVersion();
  list.SetRow(1, Row("b"));
  EXPECT_EQ(list.ChangedRows(), Numbers{});
  list.SetRow(1, Row("b", "50%"));
  EXPECT_EQ(list.ChangedRows(), Numbers{1});
  EXPECT_EQ(list.RowsVersion(), version);
  EXPECT_EQ(list.Rows()[1].text, "50%");
  list.ChangesSeen();
  EXPECT_EQ(list.ChangedRows(), Numbers{});
  EXPECT_THROW(list.SetRow(2, Row("c")), std::out_of_range);
  list.SetRows(Rows({"a"}));
  EXPECT_GT(list.RowsVersion(), version);
}

TEST_F(ControlsTest, TheSameRowsChangeOnlyWhereTheyDiffer) {
  list.SetRows({Row("a"), Row("b", "50%"), Row("c")});
  list.Select({2});
  const std::uint64_t version = list.RowsVersion();
  list.SetRows({Row("a"), Row("b", "51%"), Row("c")});
  EXPECT_EQ(list.RowsVersion(), version);
  EXPECT_EQ(list.ChangedRows(), Numbers{1});
  EXPECT_EQ(list.Rows()[1].text, "51%");
  EXPECT_EQ(list.Selection(), Numbers{2});
  list.SetRows({Row("a"), Row("c"), Row("b", "51%")});
  EXPECT_GT(list.RowsVersion(), version);
  EXPECT_EQ(list.ChangedRows(), Numbers{});
  EXPECT_EQ(list.Selection(), Numbers{1});
}

TEST_F(ControlsTest, ChangesThatNoViewHasSeenTakeLittleMemory) {
  list.SetRows({Row("a"), Row("b")});
  const std::uint64_t version = list.RowsVersion();
  for (int i = 0; i < 1000; ++i) list.SetRow(1, Row("b", std::to_string(i)));
  EXPECT_LT(list.ChangedRows().size(), 100U);
  EXPECT_GT(list.RowsVersion(), version);
}

TEST_F(ControlsTest, SortedListFollowsTheTextsOfOneColumn) {
  list.SetSorted(true);
  list.SetRows({Row("k1", "b"), Row("k2", "A"), Row("k3", "a"), Row("k4", "+c"), Row("k5", "10"), Row("k6", "9")});
  const auto keys = [this] {
    std::string text;
    for (const ListRow& row : list.Rows()) text += row.key.back();
    return text;
  };
  EXPECT_EQ(keys(), "456231");  // "+c", "10", "9", "A", "a", "b"
  list.SortBy(0, true);
  EXPECT_EQ(keys(), "132654");
  list.SortBy(3, true);  // no row has this column: all are equal and keep their order
  EXPECT_EQ(keys(), "132654");
  list.SetSorted(false);
  list.SortBy(0, false);
  EXPECT_EQ(keys(), "132654");
  list.SetSorted(true);
  EXPECT_EQ(keys(), "456231");
}

TEST_F(ControlsTest, SortingIsStableAndKeepsTheSelection) {
  list.SetRows({Row("k1", "x"), Row("k2", "a"), Row("k3", "x"), Row("k4", "x")});
  list.Select({2, 3});
  list.SetSorted(true);
  EXPECT_EQ(list.Rows()[1].key, "k1");
  EXPECT_EQ(list.Rows()[2].key, "k3");
  EXPECT_EQ(list.Selection(), (Numbers{2, 3}));
  list.SortBy(0, true);
  EXPECT_EQ(list.Rows()[0].key, "k1");
  EXPECT_EQ(list.Selection(), (Numbers{1, 2}));
}

// Of words, with their lengths in the second column.
class Words final : public RowSource {
 public:
  explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}
  std::size_t Count() const override { return words_.size(); }
  ListRow Row(std::size_t number) const override {
    ++made;
    ListRow row;
    row.text = Text(number, 0);
    row.subItems = {Text(number, 1)};
    return row;
  }
  std::string Text(std::size_t number, int column) const override {
    return column == 0 ? words_.at(number) : std::to_string(words_.at(number).size());
  }

  mutable int made = 0;

 private:
  std::vector<std::string> words_;
};

TEST_F(ControlsTest, RowsOfASourceAreMadeWhenTheyAreAskedFor) {
  list.SetRows(Rows({"a", "b"}));
  list.Select({1});
  const std::uint64_t version = list.RowsVersion();
  const auto words = std::make_shared<Words>(std::vector<std::string>{"some", "odd", "words"});
  list.SetSource(words);
  EXPECT_GT(list.RowsVersion(), version);
  EXPECT_EQ(list.RowCount(), 3U);
  EXPECT_TRUE(list.Rows().empty());
  EXPECT_EQ(list.Selection(), Numbers{});
  EXPECT_EQ(words->made, 0);
  EXPECT_EQ(list.RowAt(1).text, "odd");
  EXPECT_EQ(list.RowAt(1).subItems, std::vector<std::string>{"3"});
  EXPECT_EQ(words->made, 1);
  EXPECT_THROW(list.RowAt(3), std::out_of_range);
  list.SetRows(Rows({"c"}));
  EXPECT_EQ(list.RowCount(), 1U);
  EXPECT_EQ(list.RowAt(0).key, "c");
}

TEST_F(ControlsTest, RowsOfASourceAreSortedAndKeepTheSelection) {
  list.FigureColumns = {1};
  list.SetSource(std::make_shared<Words>(std::vector<std::string>{"some", "odd", "longer-words", "Bit"}));
  list.Select({0, 2, 7});
  EXPECT_EQ(list.SelectedNumbers(), (Numbers{0, 2}));
  const auto texts = [this] {
    std::string all;
    for (std::size_t at = 0; at < list.RowCount(); ++at) all += list.RowAt(at).text + " ";
    return all;
  };
  EXPECT_EQ(texts(), "some odd longer-words Bit ");
  list.SetSorted(true);
  EXPECT_EQ(texts(), "Bit longer-words odd some ");
  EXPECT_EQ(list.Selection(), (Numbers{1, 3}));
  EXPECT_EQ(list.SelectedNumbers(), (Numbers{2, 0}));
  list.SortBy(1, true);
  EXPECT_EQ(texts(), "longer-words some Bit odd ");
  EXPECT_EQ(list.SelectedNumbers(), (Numbers{2, 0}));
}

TEST_F(ControlsTest, ComboBoxReportsTheChosenItem) {
  ComboBox box{window.get(), "box"};
  int changes = 0;
  box.OnChange = [&] { ++changes; };
  box.Items = std::vector<std::string>{"a", "b"};
  box.ChooseByUser(1);
  EXPECT_EQ(box.Text(), "b");
  EXPECT_EQ(box.Index(), 1);
  box.ChooseByUser(2);
  box.ChooseByUser(-1);
  EXPECT_EQ(box.Text(), "b");
  EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace pellora
