// Calls of scripts: adding without a question, pausing and removing by id.
#include "MainWindowFixture.h"

namespace pellora {
namespace {

class Scripts : public MainWindowFixture {
 protected:
  void SetUp() override { sim.settings().values[{"Pellora", "CheckClipboard"}] = "False"; }

  void AddFromScript(const std::string& url) {
    Do([&] { app->Add(url, [this](const AddAnswer& answer) { answers.push_back(answer); }); });
  }
  std::string IdOf(int index) {
    for (const DownloadInfo& info : app->List()) {
      if (info.index == index) return info.id;
    }
    return "";
  }
  std::string Pause(const std::string& id) {
    std::string reason;
    Do([&] { reason = app->Pause(id); });
    return reason;
  }
  std::string Remove(const std::string& id) {
    std::string reason;
    Do([&] { reason = app->Remove(id); });
    return reason;
  }

  std::vector<AddAnswer> answers;
};

TEST_F(Scripts, AddAndStartAUrlAndGetItsId) {
  Start();
  AddFromScript("http://h/a.zip");
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0].reason, "");
  EXPECT_EQ(answers[0].id, IdOf(1));
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  ASSERT_NE(InSlot(1), nullptr);
  EXPECT_EQ(InSlot(1)->probes, 1);
  EXPECT_TRUE(InSlot(1)->shown);
}

TEST_F(Scripts, GetTheReasonForARefusedUrlWithoutABox) {
  Start();
  for (const std::string& url : {std::string("https://h/a.zip"), std::string("http://h"), std::string(),
                                 "http://h/" + std::string(1 << 17, 'a')}) {
    AddFromScript(url);
    EXPECT_EQ(answers.back().id, "") << url;
    EXPECT_NE(answers.back().reason, "") << url;
  }
  EXPECT_EQ(answers.size(), 4U);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Scripts, AreRefusedAListedUrlWithoutAQuestion) {
  Start();
  Record("http://h/a.zip");
  AddFromScript("http://h/a.zip");
  EXPECT_EQ(answers.at(0).id, "");
  EXPECT_EQ(answers.at(0).reason, "It is in the list already.");
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Scripts, SaveWithoutAskingForAPath) {
  sim.settings().values[{"Pellora", "SaveAs"}] = "True";
  Start();
  AddFromScript("http://h/a.zip");
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_FALSE(Rec(1).HasSavePath);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
}

TEST_F(Scripts, QueueAUrlWhileAllSlotsAreBusy) {
  sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
  Start();
  Transferring(Record("http://h/a"));
  AddFromScript("http://h/b");
  EXPECT_EQ(Rec(2).Queued, 1);
  EXPECT_EQ(answers.at(0).id, IdOf(2));
  EXPECT_EQ(InSlot(2), nullptr);
}

TEST_F(Scripts, ReuseAFreeSlotUnderAnotherId) {
  Start();
  AddFromScript("http://h/a.zip");
  const std::string previous = answers.at(0).id;
  EXPECT_EQ(Remove(previous), "");
  AddFromScript("http://h/b.zip");
  ASSERT_EQ(Rec(1).URL, "http://h/b.zip");
  EXPECT_NE(answers.at(1).id, previous);
  EXPECT_EQ(Remove(previous), "There is no such download.");
  EXPECT_EQ(Pause(previous), "There is no such download.");
  EXPECT_TRUE(Rec(1).InUse);
}

TEST_F(Scripts, GetOtherIdsInAnotherRun) {
  Start();
  Record("http://h/a.zip");
  OtherRun later(SimOptions{.startSerial = 46000.41});
  later.app.program().newTransferWindow = [&](std::int16_t) {
    return std::make_shared<FakeTransfer>(later.app.program());
  };
  later.Start();
  later.sim.Do([&] { later.app.Add("http://h/b.zip", [](const AddAnswer&) {}); });
  EXPECT_NE(later.app.List().at(0).id, IdOf(1));
}

TEST_F(Scripts, GetAnswersOnceTheStartCompletes) {
  AddFromScript("http://h/a.zip");
  EXPECT_TRUE(answers.empty());
  Start();
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0].id, IdOf(1));
}

TEST_F(Scripts, ChangeNothingOnceTheProgramEnds) {
  Start();
  Do([&] { app->SaveAndQuit(); });
  AddFromScript("http://h/a.zip");
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(Scripts, PauseARunningDownloadAndNoOther) {
  Start();
  FakeTransfer& first = Transferring(Record("http://h/a.zip"));
  FakeTransfer& second = Transferring(Record("http://h/b.zip"));
  EXPECT_EQ(Pause(IdOf(2)), "");
  EXPECT_EQ(first.pauses, 0);
  EXPECT_EQ(second.pauses, 1);
  EXPECT_TRUE(Rec(2).Paused);
  EXPECT_EQ(Pause(IdOf(2)), "It is not running.");
  Record("http://h/c.zip", [](auto& r) { r.Queued = 1; });
  EXPECT_EQ(Pause(IdOf(3)), "It is not running.");
}

TEST_F(Scripts, RemoveARunningDownloadWithItsPartsAndWithoutAQuestion) {
  Start();
  sim.disk().Put("/t/a.zip001.tmp", "x");
  const std::int16_t index = Record("http://h/a.zip", [](auto& r) {
    r.Segments.resize(2);
    r.SegmentCount = 1;
    r.Segments[1].TempFile = "/t/a.zip001.tmp";
    r.Segments[1].ReceivedTotal = 1;
    r.Segments[1].RangeStart = 1;
    r.Segments[1].RangeEnd = 8;
    r.Segments[1].RangeSize = 9;
  });
  FakeTransfer& transfer = Transferring(index);
  Settle();
  EXPECT_EQ(Remove(IdOf(index)), "");
  EXPECT_TRUE(transfer.unloaded);
  EXPECT_FALSE(Rec(index).InUse);
  EXPECT_FALSE(sim.disk().Has("/t/a.zip001.tmp"));
  Settle();
  EXPECT_TRUE(window().ListView1.Rows().empty());
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Scripts, RemoveAFinishedDownloadAndLeaveItsFile) {
  Start();
  const std::int16_t index = Finished("a.zip");
  ASSERT_EQ(window().ListView2.Rows().size(), 1U);
  EXPECT_EQ(Remove(IdOf(index)), "");
  EXPECT_FALSE(Rec(index).InUse);
  EXPECT_TRUE(window().ListView2.Rows().empty());
  EXPECT_TRUE(sim.disk().Has("/d/a.zip"));
}

TEST_F(Scripts, AreRefusedInvalidIds) {
  Start();
  Record("http://h/a.zip");
  const std::string id = IdOf(1);
  for (const std::string& text : {std::string(), std::string("1"), std::string("-1"), std::string("99999999999"),
                                  std::string("x"), id + "0", " " + id, "0" + id, id.substr(0, id.size() - 1)}) {
    EXPECT_EQ(Remove(text), "There is no such download.") << text;
  }
  EXPECT_TRUE(Rec(1).InUse);
}

TEST_F(Scripts, SeeHowLongAnActiveDownloadHasBeenSilent) {
  Start();
  FakeTransfer& transfer = Transferring(Record("http://h/a.zip"));
  transfer.silentFor = 12'999;
  Record("http://h/b.zip", [](auto& r) { r.Paused = true; });
  EXPECT_EQ(app->List().at(0).silentSeconds, 12U);
  EXPECT_EQ(app->List().at(1).silentSeconds, std::nullopt);
}

}  // namespace
}  // namespace pellora
