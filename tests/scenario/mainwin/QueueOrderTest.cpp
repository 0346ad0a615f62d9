// The order of the queue: popup, keys, and what starts.
#include <string>
#include <vector>

#include "MainWindowFixture.h"
#include "core/QueueOrder.h"

namespace pellora {
namespace {

class OrderOfTheQueue : public MainWindowFixture {
 protected:
  OrderOfTheQueue() {
    sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
    Start();
    Record("http://h/running");
    Transferring(1);
    for (const char* url : {"http://h/a", "http://h/b", "http://h/c"}) Record(url, [](auto& r) { r.Queued = 1; });
    Do([&] { window().RefreshRows(kAllRows, kForced); });
  }
  void Choose(Menu& entry, std::int16_t index) {
    Select(window().ListView1, index);
    Do([&] { window().ListView1.RightClick(); });
    Do([&] { entry.Click(); });
  }
  void Press(RowMove move, std::int16_t index) {
    Select(window().ListView1, index);
    Do([&] { window().ListView1.PressMove(move); });
  }
  // Ends what runs, again and again, and says what starts.
  std::vector<std::string> Started() {
    std::vector<std::string> names;
    for (int running = 1; running != 0;) {
      Do([&] {
        Rec(running).Active = false;
        Rec(running).Finished = true;
      });
      sim.RunFor(1000);
      running = 0;
      for (int i = 1; i <= program().DownloadCount; ++i) running = Rec(i).Active ? i : running;
      if (running != 0) names.push_back(Rec(running).FileName);
    }
    return names;
  }
};

TEST_F(OrderOfTheQueue, IsThatOfTheListBeforeAMove) { EXPECT_EQ(Started(), (std::vector<std::string>{"a", "b", "c"})); }

TEST_F(OrderOfTheQueue, FollowsThePopup) {
  Choose(window().queuefirst, 4);
  EXPECT_EQ(Panel(1), "Number 1 in the queue");
  Choose(window().queuedown, 2);
  EXPECT_EQ(Panel(1), "Number 3 in the queue");
  EXPECT_EQ(Started(), (std::vector<std::string>{"c", "b", "a"}));
}

TEST_F(OrderOfTheQueue, FollowsTheKeys) {
  Press(RowMove::Last, 2);
  Press(RowMove::Up, 4);
  EXPECT_EQ(Started(), (std::vector<std::string>{"c", "b", "a"}));
}

TEST_F(OrderOfTheQueue, LeavesTheRowsWhereTheyAre) {
  Press(RowMove::First, 4);
  Settle();
  EXPECT_EQ(Names(window().ListView1), (std::vector<std::string>{"running", "a", "b", "c"}));
}

TEST_F(OrderOfTheQueue, PopupOffersMovesThatChangeSomething) {
  const auto enabled = [&](std::int16_t index) {
    Select(window().ListView1, index);
    Do([&] { window().ListView1.RightClick(); });
    return std::vector<bool>{window().queuefirst.Enabled(), window().queueup.Enabled(), window().queuedown.Enabled(),
                             window().queuelast.Enabled()};
  };
  EXPECT_EQ(enabled(1), (std::vector<bool>{false, false, false, false}));
  EXPECT_EQ(enabled(2), (std::vector<bool>{false, false, true, true}));
  EXPECT_EQ(enabled(3), (std::vector<bool>{true, true, true, true}));
  EXPECT_EQ(enabled(4), (std::vector<bool>{true, true, false, false}));
}

TEST_F(OrderOfTheQueue, KeysDoNothingToWhatIsNotQueued) {
  Press(RowMove::Last, 1);
  EXPECT_FALSE(program().HasQueuePlaces());
}

TEST_F(OrderOfTheQueue, ResumeAllFollowsIt) {
  Press(RowMove::First, 4);
  Do([&] {
    Rec(1).Active = false;
    Rec(1).Finished = true;
    for (int i = 2; i <= 4; ++i) {
      Rec(i).Queued = 0;
      Rec(i).Paused = true;
    }
    window().resumeall();
  });
  EXPECT_TRUE(Rec(4).Active);
  EXPECT_EQ(Rec(2).Queued, 1);
  EXPECT_EQ(Rec(3).Queued, 1);
}

TEST_F(OrderOfTheQueue, ClassicDownloadsAreOfferedNoOtherAddress) {
  Select(window().ListView1, 2);
  Do([&] { window().ListView1.RightClick(); });
  EXPECT_FALSE(window().changeaddress.Visible());
}

}  // namespace
}  // namespace pellora
