// Rows that are arranged by a column or filtered, and the commands on them.
#include "MainWindowFixture.h"
#include "core/QueueOrder.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

using Texts = std::vector<std::string>;

class Arrange : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    program().settings.MaxSimulDownlads = 0;  // stops the queue
  }
  std::int16_t Sized(const std::string& name, std::int32_t size,
                     const std::function<void(DownloadRecord&)>& more = {}) {
    return Record("http://h/" + name, [&](DownloadRecord& r) {
      r.FileSize = size;
      if (more) more(r);
    });
  }
  void Refresh() {
    sim.Do([&] {
      window().RefreshRows(0, 1);
      window().RefreshDownList();
    });
  }
  // As the user sees them.
  Texts Shown(const ListView& list) {
    Texts names;
    for (std::size_t place = 0; place < list.Arrangement().Count(); ++place) {
      names.push_back(list.Rows()[list.Arrangement().RowAt(place)].text);
    }
    return names;
  }
  Texts Current() { return Shown(window().ListView1); }
  void ClickColumn(ListView& list, int column) {
    Do([&] { list.ClickColumn(column); });
  }
  void Filter(const std::string& text) {
    Do([&] { window().FilterText.SetByUser(text); });
  }
};

TEST_F(Arrange, ThirdClickOnAHeadingReturnsToTheListsOrder) {
  Sized("b", 30), Sized("c", 10), Sized("a", 20);
  Refresh();
  EXPECT_EQ(Current(), (Texts{"b", "c", "a"}));
  ClickColumn(window().ListView1, 0);
  EXPECT_EQ(Current(), (Texts{"a", "b", "c"}));
  ClickColumn(window().ListView1, 0);
  EXPECT_EQ(Current(), (Texts{"c", "b", "a"}));
  ClickColumn(window().ListView1, 0);
  EXPECT_EQ(Current(), (Texts{"b", "c", "a"}));
}

TEST_F(Arrange, AnotherHeadingBeginsUpwards) {
  Sized("b", 30), Sized("c", 10), Sized("a", 20);
  Refresh();
  ClickColumn(window().ListView1, 0);
  ClickColumn(window().ListView1, 2);
  EXPECT_EQ(Current(), (Texts{"c", "a", "b"}));
}

TEST_F(Arrange, FiguresCountByTheirValueAndNotByTheirText) {
  const auto dated = [](double date, float seconds) {
    return [=](DownloadRecord& r) { r.DateAdded = date, r.RemainingSeconds = seconds; };
  };
  Sized("kb", 900'000, dated(46000.5, 3700));        // "878.91 kb", the latest by its day, "1:01:40"
  Sized("mb", 2'000'000, dated(45990.5, 60));        // "1.91 mb"
  Sized("bytes", 1'100'000, dated(45999.25, 5900));  // "1.05 mb"
  Refresh();
  ClickColumn(window().ListView1, 2);
  EXPECT_EQ(Current(), (Texts{"kb", "bytes", "mb"}));
  ClickColumn(window().ListView1, 4);
  EXPECT_EQ(Current(), (Texts{"mb", "bytes", "kb"}));
  ClickColumn(window().ListView1, 5);
  EXPECT_EQ(Current(), (Texts{"mb", "kb", "bytes"}));
}

TEST_F(Arrange, StatusIsByStandingAndThenByPercentage) {
  Sized("active", 1, [](auto& r) { r.Active = true, r.Percent = 5; });
  Sized("stopped9", 1, [](auto& r) { r.Percent = 9; });
  Sized("queued", 1, [](auto& r) { r.Queued = 1; });
  Sized("stopped80", 1, [](auto& r) { r.Percent = 80; });
  Refresh();
  ClickColumn(window().ListView1, 3);
  EXPECT_EQ(Current(), (Texts{"stopped9", "stopped80", "queued", "active"}));
}

TEST_F(Arrange, EqualRowsKeepTheListsOrderDownwardsToo) {
  Sized("c", 10), Sized("a", 10), Sized("b", 5);
  Refresh();
  ClickColumn(window().ListView1, 2);
  EXPECT_EQ(Current(), (Texts{"b", "c", "a"}));
  ClickColumn(window().ListView1, 2);
  EXPECT_EQ(Current(), (Texts{"c", "a", "b"}));
}

TEST_F(Arrange, RowMovesWhenItsFigureChanges) {
  const std::int16_t a = Sized("a", 10);
  Sized("b", 20), Sized("c", 30);
  Refresh();
  ClickColumn(window().ListView1, 2);
  Rec(a).FileSize = 25'000'000;
  Settle();
  sim.Do([&] { window().RefreshRows(a, 1); });
  EXPECT_EQ(Current(), (Texts{"b", "c", "a"}));
}

TEST_F(Arrange, LeavesTheQueueAndTheListAsTheyAre) {
  const std::int16_t b = Sized("b", 30, [](auto& r) { r.Queued = 1; });
  const std::int16_t a = Sized("a", 20, [](auto& r) { r.Queued = 1; });
  Refresh();
  ClickColumn(window().ListView1, 0);
  EXPECT_EQ(Current(), (Texts{"a", "b"}));
  EXPECT_EQ(QueueOrder(program()).Queued(), (std::vector<std::int16_t>{b, a}));
  EXPECT_EQ(Names(window().ListView1), (Texts{"b", "a"}));
}

TEST_F(Arrange, CommandsActOnTheSelectedRecordWhereverItIsShown) {
  const std::int16_t b = Sized("b", 30);
  const std::int16_t a = Sized("a", 20);
  Refresh();
  ClickColumn(window().ListView1, 0);
  const std::size_t first = window().ListView1.Arrangement().RowAt(0);
  Do([&] { window().ListView1.SelectByUser({first}); });
  Do([&] { window().ListView1.PressDelete(); });
  EXPECT_FALSE(Rec(a).InUse);
  EXPECT_TRUE(Rec(b).InUse);
}

TEST_F(Arrange, SelectionStaysWithItsRowWhenTheListIsRebuilt) {
  Sized("b", 30);
  const std::int16_t a = Sized("a", 20);
  Refresh();
  ClickColumn(window().ListView1, 0);
  ASSERT_TRUE(Select(window().ListView1, a));
  Sized("0", 1);
  Settle();
  Refresh();
  EXPECT_EQ(Current(), (Texts{"0", "a", "b"}));
  ASSERT_EQ(window().ListView1.Selection().size(), 1U);
  EXPECT_EQ(window().ListView1.Rows()[window().ListView1.Selection()[0]].record, a);
}

TEST_F(Arrange, FinishedFilesAreArrangedByThemselves) {
  Finished("b"), Finished("a");
  Refresh();
  ClickColumn(window().ListView2, 0);
  EXPECT_EQ(Shown(window().ListView2), (Texts{"a", "b"}));
  EXPECT_FALSE(window().ListView1.Arrangement().Order());
}

TEST_F(Arrange, FilterIsHiddenUntilItIsAskedFor) {
  EXPECT_FALSE(window().FilterText.Visible());
  EXPECT_FALSE(window().FilterCaption.Visible());
  EXPECT_FALSE(window().endfilter.Enabled());
  const int selected = window().FilterText.SelectAll;
  Do([&] { window().findrows.Click(); });
  EXPECT_TRUE(window().FilterText.Visible());
  EXPECT_TRUE(window().FilterCaption.Visible());
  EXPECT_TRUE(window().endfilter.Enabled());
  EXPECT_NE(window().FilterText.SelectAll(), selected);
}

TEST_F(Arrange, FilterShowsRowsByNameAddressAndFolder) {
  Sized("one.iso", 1);
  Record("http://mirror.example/two.img");
  Sized("three.bin", 1, [](auto& r) { r.SavePath = "/films/three.bin"; });
  Finished("four.iso");
  Refresh();
  Filter("ISO");
  EXPECT_EQ(Current(), (Texts{"one.iso"}));
  EXPECT_EQ(Shown(window().ListView2), (Texts{"four.iso"}));
  Filter("mirror");
  EXPECT_EQ(Current(), (Texts{"two.img"}));
  EXPECT_EQ(Shown(window().ListView2), Texts{});
  Filter("films");
  EXPECT_EQ(Current(), (Texts{"three.bin"}));
  Filter(" ");
  EXPECT_EQ(Current().size(), 3U);
}

TEST_F(Arrange, EndOfTheFilterEmptiesAndHidesIt) {
  Sized("a", 1), Sized("b", 1);
  Refresh();
  Do([&] { window().findrows.Click(); });
  Filter("a");
  ASSERT_EQ(Current(), (Texts{"a"}));
  Do([&] { window().endfilter.Click(); });
  EXPECT_EQ(Current(), (Texts{"a", "b"}));
  EXPECT_EQ(window().FilterText.Text(), "");
  EXPECT_FALSE(window().FilterText.Visible());
  EXPECT_FALSE(window().endfilter.Enabled());
}

TEST_F(Arrange, HiddenRowsAreNotSelected) {
  const std::int16_t a = Sized("a", 1);
  Sized("b", 1);
  Refresh();
  ASSERT_TRUE(Select(window().ListView1, a));
  Filter("b");
  EXPECT_TRUE(window().ListView1.Selection().empty());
  Do([&] { window().ListView1.PressDelete(); });
  EXPECT_TRUE(Rec(a).InUse);
}

TEST_F(Arrange, ClearAllClearsTheFilesThatAreShown) {
  const std::int16_t a = Finished("a.zip");
  const std::int16_t b = Finished("b.zip");
  Refresh();
  Filter("a.zip");
  Do([&] { window().clearall.Click(); });
  ASSERT_EQ(Box(), Text(408));
  Answer(kAnswerYes);
  EXPECT_FALSE(Rec(a).InUse);
  EXPECT_TRUE(Rec(b).InUse);
}

TEST_F(Arrange, NewDownloadsComeThroughTheFilterToo) {
  Refresh();
  Filter("iso");
  Sized("a.iso", 1), Sized("b.zip", 1);
  Settle();
  Refresh();
  EXPECT_EQ(Current(), (Texts{"a.iso"}));
  EXPECT_EQ(Names(window().ListView1), (Texts{"a.iso", "b.zip"}));
}

TEST_F(Arrange, RowThatIsRenamedLeavesTheFilterAndTheSelection) {
  const std::int16_t a = Sized("a.iso", 1);
  Refresh();
  Filter("a.iso");
  ASSERT_TRUE(Select(window().ListView1, a));
  Rec(a).FileName = "other";
  Rec(a).URL = "http://h/other";
  Settle();
  sim.Do([&] { window().RefreshRows(a, 1); });
  EXPECT_EQ(Current(), Texts{});
  EXPECT_TRUE(window().ListView1.Selection().empty());
}

TEST_F(Arrange, SpacePausesAndRestartsTheSelectedDownload) {
  const std::int16_t a = Sized("a", 1000);
  FakeTransfer& transfer = Transferring(a);
  Refresh();
  ASSERT_TRUE(Select(window().ListView1, a));
  Do([&] { window().ListView1.PressSpace(); });
  EXPECT_EQ(transfer.pauses, 1);
  EXPECT_FALSE(Rec(a).Active);
  Do([&] { window().ListView1.PressSpace(); });
  EXPECT_EQ(transfer.resumes, 1);
  EXPECT_TRUE(Rec(a).Active);
}

TEST_F(Arrange, PastedAddressIsAddedAsADroppedOneIs) {
  sim.clipboard().text = "http://h/pasted.zip";
  Do([&] { window().pasteurl.Click(); });
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/pasted.zip");
}

TEST_F(Arrange, PastedTextWithoutAddressIsNamedInTheStatusBar) {
  sim.clipboard().text = "no address";
  Do([&] { window().pasteurl.Click(); });
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(Panel(1), TextOf(program(), WebText::NoAddressPasted));
}

TEST_F(Arrange, DetailsKeyUnfoldsTheInformationPane) {
  const std::int16_t a = Finished("a.zip");
  Refresh();
  ASSERT_TRUE(Select(window().ListView2, a));
  EXPECT_FALSE(window().Details.Visible());
  Do([&] { window().ListView2.PressDetails(); });
  EXPECT_TRUE(window().Details.Visible());
  EXPECT_EQ(window().TabStrip1.Selected(), 1);
  EXPECT_EQ(window().Info(0).Caption(), "a.zip");
  EXPECT_EQ(window().Info(3).Caption(), "/d/a.zip");
}

TEST_F(Arrange, DetailsKeyWithoutASelectionDoesNothing) {
  Do([&] { window().ListView1.PressDetails(); });
  EXPECT_FALSE(window().Details.Visible());
}

TEST_F(Arrange, OnlyFilesThatAreThereCanBeDraggedOut) {
  Finished("a.zip"), Finished("gone.zip", false);
  Refresh();
  const ListView& list = window().ListView2;
  ASSERT_EQ(list.Rows().size(), 2U);
  EXPECT_EQ(list.FileOf(list.Rows()[0]), "/d/a.zip");
  EXPECT_EQ(list.FileOf(list.Rows()[1]), "");
  EXPECT_FALSE(window().ListView1.FileOf);
}

}  // namespace
}  // namespace pellora
