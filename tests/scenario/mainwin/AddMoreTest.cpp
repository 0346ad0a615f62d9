// The add dialog's fold "More".
#include "WebFixture.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "lang/Format.h"

namespace pellora {
namespace {

class AddMore : public WebFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    program().webAdded = [this](std::int16_t, const WebAdd& add) { added = add; };
    Do([&] { window().RunAction(MainWindow::kAdd); });
  }
  Form1& form() { return *window().form1; }
  void Unfold(const std::string& url = "https://h.example/a.zip") {
    Do([&] {
      form().Text1.SetByUser(url);
      form().Check1.SetByUser(true);
    });
  }
  void Type(TextBox& box, const std::string& text) {
    Do([&] { box.SetByUser(text); });
  }
  // A folder is examined in the background.
  void Press(CommandButton& button) {
    Do([&] { button.Click(); });
    sim.RunFor(100);
  }
  std::string Said(WebText text) { return TextOf(program(), text); }
  // The download is refused with this message, and the dialog stays as it is.
  void ExpectFault(const std::string& text) {
    Press(form().Command1);
    EXPECT_EQ(Box(), text);
    EXPECT_TRUE(form().Visible());
    if (!Box().empty()) Answer(kAnswerOk);
    EXPECT_EQ(program().DownloadCount, 0);
  }

  WebAdd added;
};

TEST_F(AddMore, IsFoldedAtFirstAndUnfoldsByItsCheck) {
  EXPECT_EQ(form().Height(), Form1::kFoldedHeight);
  Unfold();
  EXPECT_EQ(form().Height(), Form1::kUnfoldedHeight);
  Do([&] { form().Check1.SetByUser(false); });
  EXPECT_EQ(form().Height(), Form1::kFoldedHeight);
}

TEST_F(AddMore, AsksForEverythingThatWasTyped) {
  sim.platform().files.CreateFolder("/home/u/other");
  Unfold();
  Type(form().Text2, "/home/u/other/");
  Type(form().Text3, "b.zip");
  Type(form().Text4, "bob");
  Type(form().Text5, "s3cret");
  Type(form().Text6, " " + std::string(64, 'A') + " ");
  Type(form().Text7, "https://h.example/page");
  Type(form().Text8, "a=b; c=d");
  Type(form().Text9, "100");
  Press(form().Command1);
  ASSERT_EQ(program().DownloadCount, 1) << Box();
  EXPECT_EQ(Rec(1).SavePath, "/home/u/other/b.zip");
  EXPECT_TRUE(Rec(1).HasSavePath);
  EXPECT_EQ(Rec(1).UserName, "bob");
  EXPECT_EQ(Rec(1).Password, "s3cret");
  ASSERT_TRUE(added.checksum);
  EXPECT_EQ(ChecksumText(*added.checksum), "sha-256:" + std::string(64, 'a'));
  EXPECT_EQ(added.handOver.referrer, "https://h.example/page");
  EXPECT_EQ(added.handOver.cookies, "a=b; c=d");
  EXPECT_EQ(added.speedLimit, 102400);
  EXPECT_FALSE(added.startAt);
  EXPECT_FALSE(added.quiet);
}

TEST_F(AddMore, FoldedAgainItAsksForNothing) {
  Unfold();
  Type(form().Text3, "b.zip");
  Type(form().Text6, "nonsense");
  Do([&] { form().Check1.SetByUser(false); });
  Press(form().Command1);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_FALSE(Rec(1).HasSavePath);
}

TEST_F(AddMore, ForgetsWhatWasTypedWithTheDialog) {
  Unfold();
  Type(form().Text5, "s3cret");
  Press(form().Command1);
  EXPECT_EQ(form().Text5.Text(), "");
  Do([&] { window().RunAction(MainWindow::kAdd); });
  EXPECT_FALSE(form().Check1.Value());
  EXPECT_EQ(form().Height(), Form1::kFoldedHeight);
}

TEST_F(AddMore, BeginsAtTheTypedMomentOnly) {
  Unfold();
  EXPECT_FALSE(form().Text10.Enabled());
  Do([&] { form().Check2.SetByUser(true); });
  EXPECT_TRUE(form().Text10.Enabled());
  EXPECT_EQ(form().Text10.Text(), "2025-12-09 11:00");  // it is 9:36
  Press(form().Command1);
  ASSERT_EQ(program().DownloadCount, 1) << Box();
  EXPECT_EQ(Rec(1).Queued, 1);
  EXPECT_TRUE(engines.empty());
  sim.RunFor(83 * 60'000);
  EXPECT_TRUE(engines.empty());
  sim.RunFor(2 * 60'000);
  EXPECT_EQ(engines.size(), 1U);
}

TEST_F(AddMore, TimeAloneIsTheNextSuchMoment) {
  Unfold();
  Do([&] { form().Check2.SetByUser(true); });
  Type(form().Text10, "09:00");
  Press(form().Command2);
  ASSERT_TRUE(added.startAt) << Box();
  EXPECT_DOUBLE_EQ(*added.startAt, 46001 + 9.0 / 24);
}

TEST_F(AddMore, BadFieldsAreReportedAndTheDialogStays) {
  Unfold();
  struct Bad {
    TextBox* box;
    const char* text;
    std::string fault;
  };
  for (const Bad& bad :
       {Bad{&form().Text6, "123", Said(WebText::BadChecksum)}, Bad{&form().Text9, "-5", Said(WebText::BadSpeedLimit)},
        Bad{&form().Text9, "1.5", Said(WebText::BadSpeedLimit)},
        Bad{&form().Text9, "99999999999999999999", Said(WebText::BadSpeedLimit)},
        Bad{&form().Text9, "10000001", Said(WebText::BadSpeedLimit)},
        Bad{&form().Text7, "page", Said(WebText::BadPage)}, Bad{&form().Text8, "a\rb=c", Said(WebText::BadPage)},
        Bad{&form().Text8, "abc", Said(WebText::BadPage)},
        Bad{&form().Text3, "a/b", FillText(Said(WebText::BadFileName), {"a/b"})},
        Bad{&form().Text2, "relative", FillText(Said(WebText::BadFolder), {"relative"})},
        Bad{&form().Text2, "/nowhere", FillText(Said(WebText::BadFolder), {"/nowhere"})}}) {
    SCOPED_TRACE(bad.text);
    Type(*bad.box, bad.text);
    ExpectFault(bad.fault);
    EXPECT_EQ(bad.box->Text(), bad.text);
    Type(*bad.box, "");
  }
  Do([&] { form().Check2.SetByUser(true); });
  for (const char* moment : {"tomorrow", "", "2020-01-01 10:00"}) {
    Type(form().Text10, moment);
    ExpectFault(Said(WebText::BadBeginAt));
  }
}

TEST_F(AddMore, ClassicEngineTakesThePlaceAndRefusesTheRest) {
  Unfold("http://h.example/a.zip");
  Type(form().Text6, std::string(32, 'a'));
  ExpectFault(Said(WebText::OnlyWebEngine));
  Type(form().Text6, "");
  sim.disk().Put("/home/u/there.zip", SimContent("x"));
  Type(form().Text2, "/home/u");
  Type(form().Text3, "there.zip");  // it would be written over
  ExpectFault(FillText(Said(WebText::BadFileName), {"there.zip"}));
  Type(form().Text3, "new.zip");
  Type(form().Text4, "joe");
  ExpectFault(Said(WebText::OnlyWebEngine));
  Type(form().Text4, "");
  Type(form().Text9, "100");
  Press(form().Command2);
  ASSERT_EQ(program().DownloadCount, 1) << Box();
  EXPECT_EQ(Rec(1).SavePath, "/home/u/new.zip");
  EXPECT_EQ(program().speed->LimitOf(1), 100 * 1024);
}

TEST_F(AddMore, ClassicEngineTakesALoginForFtp) {
  Unfold("ftp://h.example/a.zip");
  Type(form().Text4, "joe");
  Type(form().Text5, "pw");
  Press(form().Command2);
  ASSERT_EQ(program().DownloadCount, 1) << Box();
  EXPECT_EQ(Rec(1).UserName, "joe");
  EXPECT_EQ(Rec(1).Password, "pw");
}

TEST_F(AddMore, SaysThatTheClassicEngineWillWriteOverAFile) {
  sim.disk().Put(program().settings.DownloadFolder + "a.zip", SimContent("x"));
  Unfold("http://h.example/a.zip");
  EXPECT_EQ(form().Label9.Caption(), FillText(Said(WebText::WillBeOverwritten), {"a.zip"}));
  Type(form().Text2, "/home/u");
  EXPECT_EQ(form().Label9.Caption(), "");
}

TEST_F(AddMore, ClosedWhileAMessageIsOpenItAddsNothing) {
  Unfold();
  Type(form().Text6, "123");
  Press(form().Command1);
  ASSERT_NE(Box(), "");
  Do([&] { form().ViewClosed(); });
  Answer(kAnswerOk);
  EXPECT_FALSE(form().Visible());
  EXPECT_EQ(program().DownloadCount, 0);
  Do([&] { window().RunAction(MainWindow::kAdd); });
  EXPECT_TRUE(form().Visible());
}

TEST_F(AddMore, SaysThatTheAddressIsListed) {
  Record("https://h.example/listed.zip", [](auto& r) { r.Port = 0; });
  Unfold("https://joe:pw@h.example/other.zip");
  EXPECT_EQ(form().Label9.Caption(), "");
  Type(form().Text1, "https://h.example/listed.zip");
  EXPECT_EQ(form().Label9.Caption(), Said(WebText::ListedTwice));
}

TEST_F(AddMore, ShowsTheRoomOfTheFolder) {
  sim.platform().downloadFiles = &sim.downloadFiles();
  for (const char* const folder : {"/media", "/media/stick"}) sim.platform().files.CreateFolder(folder);
  sim.downloadFiles().PutOnAnotherDisk("/media");
  sim.downloadFiles().SetRoom(5'000'000'000);
  sim.downloadFiles().SetRoomOfOtherDisk(1'000'000);
  const auto free = [this](std::int64_t bytes) {
    return FillText(Said(WebText::RoomFree), {FormatSize(bytes, program().LangStrings, ".")});
  };
  EXPECT_EQ(form().Label10.Caption(), "");
  Unfold();
  sim.RunFor(100);
  EXPECT_EQ(form().Label10.Caption(), free(5'000'000'000));
  Type(form().Text2, "/media/stick/not yet");
  sim.RunFor(100);
  EXPECT_EQ(form().Label10.Caption(), free(1'000'000));
  Type(form().Text2, "relative");
  sim.RunFor(100);
  EXPECT_EQ(form().Label10.Caption(), "");
  Type(form().Text2, "");
  Type(form().Text2, "/media/stick");  // while the other is being measured
  sim.RunFor(100);
  EXPECT_EQ(form().Label10.Caption(), free(1'000'000));
  Do([&] { form().Check1.SetByUser(false); });
  EXPECT_EQ(form().Label10.Caption(), "");
}

TEST_F(AddMore, BrowsesForAFolder) {
  Unfold();
  Press(form().Command4);
  sim.dialogs().AnswerNextFolder("/home/u");
  sim.RunReady();
  EXPECT_EQ(form().Text2.Text(), "/home/u");
}

}  // namespace
}  // namespace pellora
