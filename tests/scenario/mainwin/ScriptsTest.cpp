// Calls of scripts: adding without a question, pausing and removing by id.
#include <set>
#include <utility>

#include "MainWindowFixture.h"

namespace pellora {
namespace {

class Scripts : public MainWindowFixture {
 protected:
  void SetUp() override { sim.settings().values[{"Pellora", "CheckClipboard"}] = "False"; }

  AddAnswer AddAs(const ScriptedAdd& wanted) {
    Do([&] { app->Add(wanted, [this](const AddAnswer& answer) { answers.push_back(answer); }); });
    return answers.empty() ? AddAnswer() : answers.back();
  }
  void AddFromScript(const std::string& url) { (void)AddAs({.url = url}); }
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

TEST_F(Scripts, FindTheirIdsInTheNextRun) {
  Start();
  AddFromScript("http://h/a.zip");
  AddFromScript("http://h/b.zip");
  ASSERT_NE(answers.at(0).id, answers.at(1).id);
  Do([&] { app->SaveAndQuit(); });
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  next.Start();
  const std::vector<DownloadInfo> list = next.app.List();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].id, answers[0].id);
  EXPECT_EQ(list[1].id, answers[1].id);
  std::string reason = "not removed";
  next.sim.Do([&] { reason = next.app.Remove(answers[0].id); });
  EXPECT_EQ(reason, "");
  ASSERT_EQ(next.app.List().size(), 1U);
  EXPECT_EQ(next.app.List()[0].url, "http://h/b.zip");
}

TEST_F(Scripts, GetNewIdsForAUrlThatIsAddedAndRemovedWithinOneMoment) {
  Start();
  std::set<std::string> ids;
  for (int i = 0; i < 50; ++i) {
    AddFromScript("http://h/a.zip");
    EXPECT_TRUE(ids.insert(answers.back().id).second) << answers.back().id;
    EXPECT_EQ(Remove(answers.back().id), "");
  }
  EXPECT_EQ(ids.size(), 50U);
}

TEST_F(Scripts, KeepTheIdOfADownloadWhoseRedirectChangesItsAddress) {
  Start();
  AddFromScript("http://h/a.zip");
  Rec(1).URL = "http://elsewhere/b.zip";
  EXPECT_EQ(IdOf(1), answers.at(0).id);
}

TEST_F(Scripts, BeginAListedDownloadAnewIfTheySaySo) {
  Start();
  const std::int16_t index = Finished("a.zip");
  const std::string former = IdOf(index);
  EXPECT_EQ(AddAs({.url = "http://h/a.zip", .duplicate = true}).reason, "");
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_FALSE(Rec(index).Finished);
  ASSERT_NE(InSlot(index), nullptr);
  EXPECT_NE(answers.back().id, former);
  EXPECT_EQ(Remove(former), "There is no such download.");
  EXPECT_TRUE(window().ListView2.Rows().empty());
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Scripts, AddForLaterWithoutStartingOrQueueing) {
  sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "1";
  Start();
  Transferring(Record("http://h/a"));
  EXPECT_EQ(AddAs({.url = "http://h/b", .later = true}).reason, "");
  EXPECT_EQ(Rec(2).Queued, 0);
  EXPECT_EQ(InSlot(2), nullptr);
  EXPECT_EQ(app->List().at(1).state, "waiting");
}

TEST_F(Scripts, SayWhereTheFileGoes) {
  sim.disk().Put("/there/x", "x");
  sim.disk().CreateFolder("/there");
  Start();
  EXPECT_EQ(AddAs({.url = "http://h/a.zip", .folder = "/there", .name = "b.zip"}).reason, "");
  EXPECT_TRUE(Rec(1).HasSavePath);
  EXPECT_EQ(Rec(1).SavePath, "/there/b.zip");
  EXPECT_EQ(AddAs({.url = "http://h/c.zip", .folder = "/there"}).reason, "");
  EXPECT_EQ(Rec(2).SavePath, "/there/c.zip");
  for (const auto& [folder, name] : {std::pair{"there", "b"},
                                     {"/nowhere", "b"},
                                     {"/there/x", "b"},
                                     {"/there", "b/c"},
                                     {"/there", ".."},
                                     {"/there", "x"}}) {
    EXPECT_NE(AddAs({.url = "http://h/d.zip", .folder = folder, .name = name}).reason, "") << folder << " " << name;
  }
  EXPECT_EQ(program().DownloadCount, 2);
}

TEST_F(Scripts, LogInToFtpServers) {
  Start();
  EXPECT_EQ(AddAs({.url = "ftp://h/a.zip", .user = "joe", .password = "secret"}).reason, "");
  EXPECT_EQ(Rec(1).UserName, "joe");
  EXPECT_EQ(Rec(1).Password, "secret");
}

// The classic engine would ignore them, and the file be another one than the script expects.
TEST_F(Scripts, AreRefusedWhatTheClassicEngineDoesNotKnow) {
  Start();
  const std::string url = "http://h/a.zip";
  for (const ScriptedAdd& wanted :
       {ScriptedAdd{.url = url, .user = "joe", .password = "x"},
        ScriptedAdd{.url = url, .checksum = std::string(32, 'a')}, ScriptedAdd{.url = url, .referrer = "http://h/page"},
        ScriptedAdd{.url = url, .cookies = "a=b"}, ScriptedAdd{.url = url, .at = "9000-01-01 00:00"}}) {
    EXPECT_NE(AddAs(wanted).reason.find("The engine that fetches this address knows no "), std::string::npos);
  }
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(Scripts, AreRefusedMalformedOptions) {
  Start();
  const std::string url = "http://h/a.zip";
  for (const ScriptedAdd& wanted :
       {ScriptedAdd{.url = url, .checksum = "abc"}, ScriptedAdd{.url = url, .at = "soon"},
        ScriptedAdd{.url = url, .at = "2000-01-01 00:00"}, ScriptedAdd{.url = url, .at = "12:00"},
        ScriptedAdd{.url = url, .limit = -1}, ScriptedAdd{.url = url, .limit = 1LL << 40},
        ScriptedAdd{.url = url, .cookies = "a=b\r\nX: y"}, ScriptedAdd{.url = url, .referrer = "page"},
        ScriptedAdd{.url = url, .at = "9000-01-01 00:00", .later = true},
        ScriptedAdd{.url = url, .password = "secret"}}) {
    EXPECT_EQ(AddAs(wanted).id, "");
    EXPECT_NE(answers.back().reason, "");
  }
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_F(Scripts, LimitAllDownloadsAndEachOne) {
  Start();
  EXPECT_EQ(AddAs({.url = "http://h/a.zip", .limit = 7}).reason, "");
  EXPECT_EQ(app->List().at(0).limit, 7);
  std::string reason;
  Do([&] { reason = app->SetLimit(IdOf(1), 0); });
  EXPECT_EQ(reason, "");
  EXPECT_EQ(app->List().at(0).limit, 0);
  Do([&] { reason = app->SetLimit("", 100); });
  EXPECT_EQ(reason, "");
  EXPECT_EQ(app->Limit(), 100);
  Do([&] { reason = app->SetLimit("", -1); });
  EXPECT_NE(reason, "");
  Do([&] { reason = app->SetLimit("dx", 1); });
  EXPECT_EQ(reason, "There is no such download.");
  EXPECT_EQ(app->Limit(), 100);
}

TEST_F(Scripts, ResumeOneDownload) {
  Start();
  Record("http://h/a.zip", [](auto& r) { r.Paused = true; });
  Record("http://h/b.zip", [](auto& r) { r.Paused = true; });
  Finished("c.zip");
  const auto resume = [&](int index) {
    std::string reason;
    Do([&] { reason = app->Resume(IdOf(index)); });
    return reason;
  };
  EXPECT_EQ(resume(2), "");
  EXPECT_EQ(InSlot(1), nullptr);
  ASSERT_NE(InSlot(2), nullptr);
  Rec(2).Active = true;
  EXPECT_EQ(resume(2), "It is running already.");
  EXPECT_EQ(resume(3), "It is finished.");
}

TEST_F(Scripts, PauseAllThatRun) {
  Start();
  Transferring(Record("http://h/a.zip"));
  Transferring(Record("http://h/b.zip"));
  std::string reason = "none";
  Do([&] { reason = app->PauseAll(); });
  EXPECT_EQ(reason, "");
  EXPECT_TRUE(Rec(1).Paused);
  EXPECT_TRUE(Rec(2).Paused);
}

TEST_F(Scripts, ShowTheWindowOfADownload) {
  Start();
  FakeTransfer& transfer = Transferring(Record("http://h/a.zip"));
  Record("http://h/b.zip");
  EXPECT_EQ(app->ShowWindow(IdOf(1)), "");
  EXPECT_TRUE(transfer.shown);
  EXPECT_EQ(app->ShowWindow(IdOf(2)), "It has no window before it is started.");
  Do([&] { window().Hide(); });
  EXPECT_EQ(app->ShowWindow(""), "");
  EXPECT_TRUE(window().Visible());
}

class Headless : public Scripts {
 protected:
  void StartHeadless() {
    app->SetHeadless();
    Start();
  }
};

TEST_F(Headless, ShowNoWindowAndSaySo) {
  StartHeadless();
  AddFromScript("http://h/a.zip");
  ASSERT_NE(InSlot(1), nullptr);
  EXPECT_FALSE(window().Visible());
  EXPECT_FALSE(InSlot(1)->shown);
  Do([&] { app->ShowMainWindow(); });
  EXPECT_FALSE(window().Visible());
  EXPECT_EQ(app->ShowWindow(""), "Pellora runs without windows.");
  EXPECT_EQ(app->ShowWindow(IdOf(1)), "Pellora runs without windows.");
}

TEST_F(Headless, NeitherWatchTheClipboardNorAskForAPath) {
  sim.settings().values[{"Pellora", "CheckClipboard"}] = "True";
  sim.settings().values[{"Pellora", "SaveAs"}] = "True";
  StartHeadless();
  sim.clipboard().text = "http://h/copied.zip";
  sim.RunFor(2000);
  EXPECT_FALSE(window().wantDown->Visible());
  Add("http://h/a.zip");
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  // A limit saves all settings: those that do not count here must stay as they are.
  std::string reason = "none";
  Do([&] { reason = app->SetLimit("", 10); });
  EXPECT_EQ(reason, "");
  EXPECT_EQ((sim.settings().values[{"Pellora", "SaveAs"}]), "True");
}

// It, and no other, once in the first three seconds without windows.
template <class Run>
void ExpectTheFirstToStart(Run& run) {
  int started = 0;
  run.app.program().newTransferWindow = [&](std::int16_t index) {
    EXPECT_EQ(index, 1);
    ++started;
    return std::make_shared<FakeTransfer>(run.app.program());
  };
  run.app.SetHeadless();
  run.Start(3000);
  EXPECT_EQ(started, 1);
}

TEST_F(Headless, GoOnAtTheNextStartWithWhatRan) {
  StartHeadless();
  AddFromScript("http://h/running.zip");
  Record("http://h/paused.zip", [](auto& r) { r.Paused = true; });
  Rec(1).Active = true;
  Do([&] { app->SaveAndQuit(); });
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  ExpectTheFirstToStart(next);
  EXPECT_EQ(next.app.List().at(1).state, "paused");
}

TEST_F(Headless, GoOnWithWhatRanWhenItWasKilled) {
  Start();  // with windows
  Transferring(Record("http://h/a.zip"));
  Record("http://h/b.zip", [](auto& r) { r.Paused = true; });
  sim.RunFor(5100);
  OtherRun next(SimOptions{.disk = sim.disk().TakeState()});
  ExpectTheFirstToStart(next);
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
