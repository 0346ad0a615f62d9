#include "MainWindowFixture.h"
#include "app/NewTransferWindow.h"
#include "async/TaskLoop.h"
#include "core/Addresses.h"
#include "lang/Language.h"
#include "transferwin/TransferWindow.h"

namespace pellora {
namespace {

constexpr const char* kQuestionText = "\r\n\r\nWould you want to download this new version ?";

class VersionCheck : public MainWindowFixture {
 protected:
  void SetUp() override {
    server.onData = [this](SimPeer& peer, std::string_view) {
      if (!reply.empty()) peer.Send(reply);
    };
    server.wire.cut = SimCut::Whole;
    sim.network().Serve(kVersionHost, 80, server);
    Start();
  }

  void Body(const std::string& body) { reply = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + body; }
  void Check() {
    Do([&] { window().Label7.DoubleClick(); });
    sim.RunFor(2000);
  }
  void Press(int answer) {
    Answer(answer);
    sim.RunFor(100);
  }
  std::string Caption() { return window().Label7.Caption; }

  SimScript server;
  std::string reply;  // of the server; none if empty
};

TEST_F(VersionCheck, SendsItsRequestAsOneBlock) {
  Check();
  ASSERT_EQ(sim.network().Log().size(), 1U);
  EXPECT_EQ(sim.network().Log()[0].host, "version.pellora.example");
  EXPECT_EQ(sim.network().Log()[0].port, 80);
  EXPECT_EQ(sim.network().Log()[0].received,
            "GET /Pellora/version.txt HTTP/1.1\r\n"
            "Accept: *.*, */*\r\n"
            "Referer: version.pellora.example \r\n"
            "Host: version.pellora.example\r\n"
            "\r\n");
}

TEST_F(VersionCheck, ShowsConnectingUntilTheReply) {
  EXPECT_EQ(Caption(), Text(270));
  EXPECT_EQ(window().Label7.Tag(), "270");
  Check();
  EXPECT_EQ(Caption(), "Connecting...");
  EXPECT_EQ(window().Label7.Tag(), "CONN");
}

TEST_F(VersionCheck, TreatsAnEqualVersionAsNotNewer) {
  Body("5.2\r\nnotes");
  Check();
  EXPECT_EQ(Caption(), "No new version available");
  EXPECT_EQ(Box(), "");
}

TEST_F(VersionCheck, TreatsAnExtraDigitAsNewer) {
  Body("5.21");
  Check();
  EXPECT_EQ(Caption(), "New version available");
  EXPECT_EQ(Box(), std::string(".21") + kQuestionText);
}

TEST_F(VersionCheck, IgnoresAnOlderVersion) {
  Body("4.9\r\nnotes");
  Check();
  EXPECT_EQ(Caption(), "No new version available");
  EXPECT_EQ(Box(), "");
}

TEST_F(VersionCheck, AsksWithTheNotesAndAddsThePackageOnYes) {
  Body("5.3\r\nFaster.\r\nSmaller.");
  Check();
  EXPECT_EQ(Caption(), "New version available");
  EXPECT_EQ(Box(), std::string("Faster.\r\nSmaller.") + kQuestionText);
  EXPECT_EQ(sim.dialogs().Next().title, "Pellora !");
  EXPECT_EQ(sim.dialogs().Next().style, kYesNo | kQuestion);
  Press(kAnswerYes);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://packages.pellora.example/Pellora53.zip");
  EXPECT_EQ(Rec(1).DownloadKind, 1);
  EXPECT_EQ(Rec(1).SavePath, "/prog/downloads/Pellora53.zip");
  EXPECT_TRUE(Rec(1).HasSavePath);
  EXPECT_EQ(InSlot(1)->probes, 1);
}

TEST_F(VersionCheck, TreatsTenAsNewerThanFive) {
  Body("10\r\nnotes");
  Check();
  Press(kAnswerYes);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://packages.pellora.example/Pellora10.zip");
}

TEST_F(VersionCheck, AddsNothingOnNo) {
  Body("5.3\r\nnotes");
  Check();
  Press(kAnswerNo);
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(Caption(), "New version available");
}

TEST_F(VersionCheck, AsksNoPathForThePackage) {
  program().settings.SaveAs = true;
  Body("5.3\r\nnotes");
  Check();
  Press(kAnswerYes);
  EXPECT_TRUE(sim.dialogs().Saves().empty());
  EXPECT_EQ(Rec(1).SavePath, "/prog/downloads/Pellora53.zip");
}

TEST_F(VersionCheck, TreatsGarbageAsNoNewVersion) {
  for (const char* rubbish : {"<html>404 Not Found</html>", "", "\r\n\r\n\r\n", "new version 9", "\0\1\2"}) {
    SCOPED_TRACE(rubbish);
    sim.DropProgram();
    app.reset();
    OtherRun next;
    next.sim.network().Serve(kVersionHost, 80, server);
    next.Start();
    Body(rubbish);
    next.sim.Do([&] { next.app.mainWindow().Label7.DoubleClick(); });
    next.sim.RunFor(2000);
    EXPECT_EQ(next.app.mainWindow().Label7.Caption(), "No new version available");
    EXPECT_EQ(next.sim.dialogs().OpenCount(), 0U);
  }
}

TEST_F(VersionCheck, SecondDoubleClickWhileConnectingDoesNothing) {
  Check();
  Check();
  EXPECT_EQ(sim.network().Log().size(), 1U);
  EXPECT_EQ(Caption(), "Connecting...");
}

TEST_F(VersionCheck, DoubleClickAfterTheResultDoesNothing) {
  Body("5.2");
  Check();
  Check();
  EXPECT_EQ(sim.network().Log().size(), 1U);
  EXPECT_EQ(Caption(), "No new version available");
}

TEST_F(VersionCheck, RefusedConnectionKeepsTheConnectingCaption) {
  server.wire.refuse = true;
  Check();
  sim.RunFor(3'600'000);
  EXPECT_EQ(Caption(), "Connecting...");
  Check();
  EXPECT_EQ(sim.network().Log().size(), 1U);
}

TEST_F(VersionCheck, SilenceKeepsTheConnectingCaptionAndBlocksNothing) {
  server.wire.hangAfterAccept = true;
  Check();
  sim.RunFor(3'600'000);
  EXPECT_EQ(Caption(), "Connecting...");
  Add("http://h/a.zip");
  EXPECT_EQ(program().DownloadCount, 1);
}

TEST_F(VersionCheck, LanguageChangeKeepsTheConnectingGuard) {
  Check();
  sim.Do([&] { LoadLanguage(program(), "english"); });
  EXPECT_EQ(Caption(), "Connecting...");
  EXPECT_EQ(window().Label7.Tag(), "CONN");
  Check();
  EXPECT_EQ(sim.network().Log().size(), 1U);
}

TEST_F(VersionCheck, LanguageSetsTheLabelBeforeTheCheck) {
  window().Label7.Caption = "other";
  sim.Do([&] { LoadLanguage(program(), "english"); });
  EXPECT_EQ(Caption(), Text(270));
}

TEST_F(VersionCheck, JudgesEachBlockOfAReplySeparately) {
  server.onData = [](SimPeer& peer, std::string_view) {
    peer.Send("HTTP/1.1 200 OK\r\n\r\n5.3\r\nFaster");
    peer.After(100, [](SimPeer& again) { again.Send(" and smaller."); });
  };
  Check();
  EXPECT_EQ(Caption(), "No new version available");  // the second block's decision
  EXPECT_EQ(Box(), std::string("Faster") + kQuestionText);
  Press(kAnswerYes);
  EXPECT_EQ(Rec(1).URL, "http://packages.pellora.example/Pellora53.zip");
}

TEST_F(VersionCheck, SecondQuestionWaitsForTheFirstAndNamesItsVersion) {
  server.onData = [](SimPeer& peer, std::string_view) {
    peer.Send("HTTP/1.1 200 OK\r\n\r\n5.3\r\nfirst");
    peer.After(100, [](SimPeer& again) { again.Send("HTTP/1.1 200 OK\r\n\r\n5.4\r\nsecond"); });
  };
  Check();
  EXPECT_EQ(sim.dialogs().MostOpen(), 1U);
  EXPECT_EQ(Box(), std::string("first") + kQuestionText);
  Press(kAnswerNo);
  EXPECT_EQ(Box(), std::string("second") + kQuestionText);
  Press(kAnswerYes);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://packages.pellora.example/Pellora54.zip");
}

TEST_F(VersionCheck, EndlessReplyLeavesTwoQuestions) {
  server.onData = [](SimPeer& peer, std::string_view) {
    for (std::uint32_t i = 0; i < 500; ++i) {
      peer.After(i, [i](SimPeer& again) { again.Send("x\r\n\r\n9\r\nnotes " + std::to_string(i)); });
    }
  };
  Check();
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
  Press(kAnswerNo);
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
  Press(kAnswerNo);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
}

TEST_F(VersionCheck, CutsNotesThatWouldHideTheButtons) {
  Body("9\r\n" + std::string(1999, 'x') + "\xc3\xa4" + std::string(60000, 'y'));
  Check();
  EXPECT_EQ(Box(), std::string(1999, 'x') + "..." + kQuestionText);
}

TEST_F(VersionCheck, CutsNotesWithTooManyLines) {
  std::vector<std::string> replies;
  std::vector<std::string> questions;
  for (const std::string lineEnd : {"\r\n", "\n", "\r"}) {
    std::string notes = "first";
    for (int i = 1; i < 25; ++i) notes += lineEnd + "line";
    replies.push_back("x\r\n\r\n9\r\n" + notes);
    questions.push_back(notes + kQuestionText);
    for (int i = 0; i < 400; ++i) notes += lineEnd;
    replies.push_back("x\r\n\r\n9\r\n" + notes);
    questions.push_back(replies[replies.size() - 2].substr(8) + "..." + kQuestionText);
  }
  server.onData = [&replies](SimPeer& peer, std::string_view) {
    for (std::uint32_t i = 0; i < replies.size(); ++i) {
      peer.After(i * 5000, [&replies, i](SimPeer& again) { again.Send(replies[i]); });
    }
  };
  Check();
  for (const std::string& question : questions) {
    EXPECT_EQ(Box(), question);
    Press(kAnswerNo);
    sim.RunFor(4900);
  }
}

TEST_F(VersionCheck, CountsReceivedBytes) {
  Body("5.2");
  Check();
  EXPECT_EQ(program().SessionTotal(), reply.size());
}

TEST_F(VersionCheck, QuittingDuringTheQuestionAddsNothing) {
  Body("5.3\r\nnotes");
  Check();
  ASSERT_NE(Box(), "");
  Do([&] { app->SaveAndQuit(); });
  EXPECT_TRUE(sim.Ended());
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(VersionCheck, QuittingWhileConnectingIsHarmless) {
  server.wire.hangBeforeAccept = true;
  Check();
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(sim.machine().endCode, 0);
}

TEST_F(VersionCheck, ResetDuringTheQuestionKeepsItsYes) {
  Body("5.3\r\nnotes");
  Record("http://h/old.zip", [](DownloadRecord& r) { r.Finished = true; });
  Check();
  ASSERT_NE(Box(), "");
  Do([&] { window().RunAction(MainWindow::kResetList); });
  ASSERT_EQ(program().DownloadCount, 0);
  Press(kAnswerYes);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://packages.pellora.example/Pellora53.zip");
  EXPECT_EQ(Rec(1).DownloadKind, 1);
}

TEST_F(VersionCheck, CloseWithoutAReplyKeepsTheConnectingCaption) {
  server.onData = [](SimPeer& peer, std::string_view) { peer.Close(); };
  Check();
  EXPECT_EQ(Caption(), "Connecting...");
  Check();
  EXPECT_EQ(sim.network().Log().size(), 1U);
}

TEST_F(VersionCheck, WebPageInPlaceOfThePackageIsNotHandedOver) {
  SimHttpServer packages(sim.network(), "packages.pellora.example");
  packages.Page("/Pellora53.zip", 200, "text/html", "moved");
  int handed = 0;
  program().newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program(), index); };
  program().handOverUpdate = [&](std::int16_t) { ++handed; };
  Body("5.3\r\nnotes");
  Check();
  Press(kAnswerYes);
  sim.RunFor(5000);
  EXPECT_EQ(Box(), Text(536));
  Press(kAnswerNo);
  sim.RunFor(60'000);
  EXPECT_EQ(handed, 0);
  EXPECT_FALSE(Rec(1).InUse);
  EXPECT_FALSE(sim.Ended());
}

TEST_F(VersionCheck, MouseHighlightsTheLabelUntilItMovesAway) {
  for (const bool overGround : {true, false}) {
    window().Label7.MouseMoved();
    EXPECT_EQ(window().Label7.ForeColour(), 0x000080U);
    EXPECT_TRUE(window().Label7.Underline());
    EXPECT_EQ(Panel(1), "Check if a newer version of the program is available on the web.");
    overGround ? window().Picture4.MouseMoved() : window().ViewMouseMoved();
    EXPECT_EQ(window().Label7.ForeColour(), 0x0000FFU);
    EXPECT_FALSE(window().Label7.Underline());
    EXPECT_EQ(Panel(1), "Pellora v5.2");
  }
}

TEST_F(VersionCheck, MouseHighlightsNothingOnceACheckHasStarted) {
  window().Label7.MouseMoved();
  Check();
  EXPECT_TRUE(window().Label7.Underline());
  window().ViewMouseMoved();  // removes it in any state
  EXPECT_FALSE(window().Label7.Underline());
  window().Label7.MouseMoved();
  EXPECT_FALSE(window().Label7.Underline());
  EXPECT_EQ(window().Label7.ForeColour(), 0x0000FFU);
  EXPECT_EQ(Panel(1), "Pellora v5.2");
}

// End to end: a real transfer downloads the package and hands it over.
TEST_F(VersionCheck, PackageIsSavedInTheProgramsFolderAndHandedOver) {
  const std::string package(25000, 'p');
  SimHttpServer packages(sim.network(), "packages.pellora.example");
  packages.File("/Pellora53.zip", SimContent(package), "application/zip");
  std::vector<std::int16_t> handed;
  program().newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program(), index); };
  program().handOverUpdate = [&](std::int16_t index) { handed.push_back(index); };
  program().settings.DownloadFolder = "/home/u/elsewhere/";
  Body("5.3\r\nnotes");
  Check();
  Press(kAnswerYes);
  EXPECT_TRUE(sim.RunUntil([&] { return !handed.empty(); }, 60'000)) << sim.Replay();
  EXPECT_EQ(handed, std::vector<std::int16_t>{1});
  EXPECT_EQ(sim.disk().Get("/prog/downloads/Pellora53.zip"), package);
  EXPECT_TRUE(Rec(1).Finished);
}

TEST_F(VersionCheck, MissingPackageIsNotHandedOver) {
  SimHttpServer packages(sim.network(), "packages.pellora.example");
  packages.Page("/Pellora53.zip", 404, "text/html", "no such package");
  int handed = 0;
  program().newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program(), index); };
  program().handOverUpdate = [&](std::int16_t) { ++handed; };
  Body("5.3\r\nnotes");
  Check();
  Press(kAnswerYes);
  sim.RunFor(60'000);
  EXPECT_EQ(handed, 0);
  EXPECT_FALSE(sim.Ended());
}

TEST_F(VersionCheck, OfAPackagedProgramSaysThatThePackageManagerUpdatesIt) {
  sim.machine().packaged = true;
  Check();
  EXPECT_EQ(Box(), Text(974));
  Press(kAnswerOk);
  EXPECT_TRUE(sim.network().Log().empty());
  EXPECT_EQ(Caption(), Text(270));
}

}  // namespace
}  // namespace pellora
