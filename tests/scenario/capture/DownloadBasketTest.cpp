#include <optional>
#include <string>
#include <vector>

#include "MainWindowFixture.h"
#include "capture/DownloadBasket.h"
#include "capture/PelloraCatcher.h"
#include "mainwin/AddList.h"

namespace pellora {
namespace {

// A drag from another program: with a text, a list of links, both or neither.
class Dragged final : public DataObject {
 public:
  explicit Dragged(std::optional<std::string> text, std::optional<std::string> links = std::nullopt)
      : text_(std::move(text)), links_(std::move(links)) {}
  bool GetFormat(int format) const override { return Content(format).has_value(); }
  std::string GetData(int format) const override {
    ++asked;
    return Content(format).value_or("");
  }
  mutable int asked = 0;

 private:
  std::optional<std::string> Content(int format) const {
    if (format == kTextFormat) return text_;
    return format == kLinksFormat ? links_ : std::nullopt;
  }

  std::optional<std::string> text_;
  std::optional<std::string> links_;
};

class DropBasket : public MainWindowFixture {
 protected:
  DownloadBasket& basket() { return app->basket(); }
  const SimViewRecord& View() { return sim.windows().Record(basket()); }
  void Open() {
    Start();
    Do([&] { window().sdb.Click(); });
    sim.RunFor(1);
  }
  // Addresses in the list window.
  std::vector<std::string> Offered() {
    constexpr std::size_t kUrl = 1;
    std::vector<std::string> addresses;
    for (const ListRow& row : window().addList->ListView1.Rows()) addresses.push_back(row.subItems.at(kUrl));
    return addresses;
  }
  int Drop(std::optional<std::string> text, std::optional<std::string> links = std::nullopt) {
    const Dragged data(std::move(text), std::move(links));
    int effect = kDropNone;
    Do([&] { effect = basket().OLEDragDrop(data, kDropNone); });
    return effect;
  }
  std::pair<double, double> Place() { return {basket().Left(), basket().Top()}; }
  // Presses the left button at (10, 12) in the window and moves the mouse by (x, y).
  void DragBy(float x, float y) {
    Do([&] {
      basket().MouseDown(kLeftButton, 10, 12);
      basket().MouseMove(kLeftButton, 10 + x, 12 + y);
    });
  }
};

TEST_F(DropBasket, IsHiddenAtStart) {
  Start();
  EXPECT_FALSE(basket().Visible());
  EXPECT_FALSE(basket().Loaded());
  EXPECT_FALSE(window().sdb.Checked);
}

TEST_F(DropBasket, IsShownAndHiddenByItsMenuEntry) {
  Open();
  EXPECT_TRUE(basket().Visible());
  EXPECT_TRUE(window().sdb.Checked);
  Do([&] { window().sdb.Click(); });
  EXPECT_FALSE(basket().Visible());
  EXPECT_FALSE(window().sdb.Checked);
  Do([&] { window().sdb.Click(); });
  EXPECT_TRUE(basket().Visible());
  EXPECT_EQ(sim.windows().Count("DownloadBasket"), 1U);
}

TEST_F(DropBasket, IsShownByTheButtonWhichChecksTheMenuEntry) {
  Start();
  for (int click = 0; click < 2; ++click) {  // the button never hides it
    Do([&] { window().Command5.Click(); });
    sim.RunFor(1);
    EXPECT_TRUE(basket().Visible());
    EXPECT_TRUE(window().sdb.Checked);
  }
}

TEST_F(DropBasket, ObeysTheLastOfTwoClicksDuringItsLoad) {
  Start();
  Do([&] {
    window().sdb.Click();
    window().sdb.Click();
  });
  sim.RunFor(1000);
  EXPECT_FALSE(window().sdb.Checked);
  EXPECT_FALSE(basket().Visible());
  EXPECT_FALSE(View().visible);
}

TEST_F(DropBasket, IsA32PixelTopmostSquareAboveTheScreenCentre) {
  Open();
  EXPECT_TRUE(basket().TopMost());
  EXPECT_EQ(basket().Width(), 32);
  EXPECT_EQ(basket().Height(), 32);
  EXPECT_DOUBLE_EQ(basket().Left(), 1280 / 2.0 - 32);
  EXPECT_DOUBLE_EQ(basket().Top(), 1024 / 2.0 - 32 - 500 / 15.0);
  EXPECT_EQ(basket().Caption(), "Form4");
}

TEST_F(DropBasket, KeepsItsPositionWhileHidden) {
  Open();
  DragBy(50, 60);
  const auto place = Place();
  Do([&] { window().sdb.Click(); });
  Do([&] { window().sdb.Click(); });
  sim.RunFor(10);
  EXPECT_EQ(Place(), place);
}

TEST_F(DropBasket, ReturnsOntoAScreenThatBecameSmaller) {
  Open();
  DragBy(5000, 5000);
  Do([&] { window().sdb.Click(); });
  sim.windows().screen = {800, 600};
  Do([&] { window().sdb.Click(); });
  EXPECT_EQ(Place(), std::make_pair(800.0 - 32, 600.0 - 32));
}

TEST_F(DropBasket, FollowsTheMouseWithTheLeftButton) {
  Open();
  const auto [left, top] = Place();
  DragBy(7, -9);
  EXPECT_EQ(Place(), std::make_pair(left + 7, top - 9));
  EXPECT_EQ(basket().DragStartX, 10.0F);
  EXPECT_EQ(basket().DragStartY, 12.0F);
}

TEST_F(DropBasket, StopsAtEachScreenEdge) {
  Open();
  const auto [left, top] = Place();
  DragBy(5000, 3);
  EXPECT_EQ(Place(), std::make_pair(1280.0 - 32, top + 3));
  DragBy(-5000, 0);
  EXPECT_EQ(Place(), std::make_pair(0.0, top + 3));
  DragBy(static_cast<float>(left), 5000);
  EXPECT_EQ(Place(), std::make_pair(left, 1024.0 - 32));
  DragBy(0, -5000);
  EXPECT_EQ(Place(), std::make_pair(left, 0.0));
}

TEST_F(DropBasket, IgnoresTheMiddleButton) {
  Open();
  const auto place = Place();
  Do([&] {
    basket().MouseDown(kMiddleButton, 1, 1);
    basket().MouseMove(kMiddleButton, 99, 99);
    basket().MouseUp(kMiddleButton, 99, 99);
    basket().MouseMove(0, 50, 50);
  });
  EXPECT_EQ(Place(), place);
  EXPECT_EQ(basket().DragStartX, 0.0F);
  EXPECT_TRUE(sim.windows().popups.empty());
}

TEST_F(DropBasket, OffersCloseBasketOnRightClickUnlikeTheTray) {
  Open();
  Do([&] { basket().MouseUp(kRightButton, 3, 3); });
  Do([&] { sim.tray().Mouse(kTrayRightDown); });
  ASSERT_EQ(sim.windows().popups.size(), 2U);
  const SimPopup& own = sim.windows().popups[0];
  EXPECT_EQ(own.captions, (std::vector<std::string>{"&Open Pellora!", "&Pause all downloads", "&Resume all downloads",
                                                    "-", "&Close Basket", "&Exit"}));
  EXPECT_EQ(own.standard, "openwin");
  for (const std::string& caption : sim.windows().popups[1].captions) EXPECT_NE(caption, "&Close Basket");
  EXPECT_FALSE(app->catcher().closebasket.Visible());
  Do([&] { own.entries[4]->Click(); });
  EXPECT_FALSE(basket().Visible());
  EXPECT_FALSE(window().sdb.Checked);
}

TEST_F(DropBasket, HidesAndUnchecksWhenTheWindowManagerClosesIt) {
  Open();
  basket().ViewClosed();
  EXPECT_FALSE(basket().Visible());
  EXPECT_TRUE(basket().Loaded());
  EXPECT_FALSE(window().sdb.Checked);
}

TEST_F(DropBasket, AddsADroppedUrlWithoutStartingIt) {
  Open();
  EXPECT_EQ(Drop("http://origin.example/a.zip"), kDropCopy);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://origin.example/a.zip");
  EXPECT_EQ(Rec(1).DownloadKind, 0);
  EXPECT_EQ(Rec(1).Queued, 0);
  sim.RunFor(3000);
  EXPECT_EQ(InSlot(1), nullptr);
}

TEST_F(DropBasket, AcceptsLeadingBlanksAndAnUppercaseScheme) {
  Open();
  EXPECT_EQ(Drop("   HTTP://origin.example/a.zip"), kDropCopy);
  EXPECT_EQ(Drop(" FTP://origin.example/b.zip  "), kDropCopy);
  ASSERT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(1).URL, "   HTTP://origin.example/a.zip");  // unchanged
  EXPECT_EQ(Rec(1).FileName, "a.zip");
  EXPECT_EQ(Rec(1).Host, "origin.example");
  EXPECT_EQ(Rec(2).FileName, "b.zip");
}

TEST_F(DropBasket, IgnoresOtherTextSilently) {
  Open();
  const std::vector<std::optional<std::string>> others = {std::nullopt,
                                                          "",
                                                          "origin.example/a.zip",
                                                          "https://origin.example/a.zip",
                                                          "mailto:a@origin.example",
                                                          "http:/x/a",
                                                          "see http://origin.example/a.zip"};
  for (const auto& text : others) EXPECT_EQ(Drop(text), kDropNone) << text.value_or("(no text)");
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(DropBasket, ReadsNoDataFromADropWithoutText) {
  Open();
  const Dragged data(std::nullopt);
  Do([&] { basket().OLEDragDrop(data, kDropNone); });
  EXPECT_EQ(data.asked, 0);
}

TEST_F(DropBasket, ReportsABadUrlWithASupportedScheme) {
  Open();
  EXPECT_EQ(Drop("http://origin.example"), kDropCopy);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(Box(), Text(400));
}

TEST_F(DropBasket, OffersSeveralLinesInTheList) {
  Open();
  EXPECT_EQ(Drop("http://origin.example/a.zip\nhttp://origin.example/b.zip"), kDropCopy);
  sim.RunReady();
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(Offered(), (std::vector<std::string>{"http://origin.example/a.zip", "http://origin.example/b.zip"}));
}

TEST_F(DropBasket, AddsTheLinksOfADropWithoutTextForLater) {
  Open();
  EXPECT_EQ(Drop(std::nullopt, "# links\r\nhttp://origin.example/a.zip\r\nftp://me:pw@origin.example/b%20.zip\r\n"),
            kDropCopy);
  sim.RunFor(1000);
  Do([&] { window().addList->Command1.Click(); });
  sim.RunFor(1000);
  ASSERT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(1).URL, "http://origin.example/a.zip");
  EXPECT_EQ(Rec(2).URL, "ftp://me:pw@origin.example/b%20.zip");
  sim.RunFor(3000);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(DropBasket, IgnoresADropOfFiles) {
  Open();
  EXPECT_EQ(Drop(std::nullopt, "file:///home/u/a.zip\r\nhttps://origin.example/a.zip\r\n"), kDropNone);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(DropBasket, PrefersTextOverLinksIfItIsAnAddress) {
  Open();
  EXPECT_EQ(Drop("http://origin.example/text.zip", "http://origin.example/link.zip\r\n"), kDropCopy);
  EXPECT_EQ(Drop("words", "http://origin.example/other.zip\r\n"), kDropCopy);
  sim.RunReady();
  ASSERT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(1).URL, "http://origin.example/text.zip");
  EXPECT_EQ(Rec(2).URL, "http://origin.example/other.zip");
}

TEST_F(DropBasket, SaysInTheListWhichLinksCannotBeAdded) {
  Open();
  Record("http://origin.example/a.zip");
  Drop(std::nullopt, "http://origin.example/a.zip\nhttp://origin.example\nhttp://origin.example/b.zip\n");
  sim.RunFor(1000);
  ASSERT_EQ(Offered().size(), 3U);
  Do([&] { window().addList->Command1.Click(); });
  sim.RunFor(1000);
  ASSERT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(2).URL, "http://origin.example/b.zip");
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(DropBasket, ReportsATextOf10MebibytesAsBad) {
  Open();
  EXPECT_EQ(Drop("http://origin.example/" + std::string(10 << 20, 'a')), kDropCopy);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(Box(), Text(400));
}

TEST_F(DropBasket, QueuesADropWhileAllSlotsAreBusy) {
  sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
  Start();
  Transferring(Record("http://h/a"));
  Do([&] { window().Command5.Click(); });
  Drop("http://origin.example/b.zip");
  EXPECT_EQ(Rec(2).Queued, 1);
}

TEST_F(DropBasket, KeepsTheDropEffectDuringADrag) {
  Open();
  const Dragged url("http://origin.example/a.zip");
  const Dragged other(std::nullopt);
  for (const int effect : {0, 1, 2}) {
    EXPECT_EQ(basket().OLEDragOver(url, effect), effect);
    EXPECT_EQ(basket().OLEDragOver(other, effect), effect);
  }
  EXPECT_EQ(url.asked, 0);
}

}  // namespace
}  // namespace pellora
