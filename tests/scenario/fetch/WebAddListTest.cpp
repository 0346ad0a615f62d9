// The window for many addresses: what it knows of them before, and what it adds.
#include <chrono>
#include <functional>

#include "WebApp.h"
#include "capture/DownloadBasket.h"
#include "core/FileNames.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "mainwin/AddList.h"

namespace pellora {
namespace {

enum Cell : std::size_t { kSize, kUrl, kNote };

class Dragged final : public DataObject {
 public:
  Dragged(int format, std::string text) : format_(format), text_(std::move(text)) {}
  bool GetFormat(int format) const override { return format == format_; }
  std::string GetData(int) const override { return text_; }

 private:
  int format_;
  std::string text_;
};

class WebAddList : public testing::Test {
 protected:
  struct Run : WebApp {
    Run() : origin(sim.network(), "o.example", 443) {
      for (const char* path : {"/a.bin", "/b.bin", "/c.bin", "/d/a.bin"}) {
        origin.File(path, SimContent::Generated(100'000, 7));
      }
      Start();
    }
    AddList& List() { return *window().addList; }
    const ListRow& Row(std::size_t at) { return List().ListView1.Rows().at(at); }
    std::string Note(std::size_t at) { return Row(at).subItems.at(kNote); }
    std::string Said(WebText text) { return TextOf(program(), text); }
    bool Drop(const std::string& text, int format = kTextFormat) {
      bool taken = false;
      taken = window().TakeDrop(Dragged(format, text));
      sim.RunReady();
      return taken;
    }
    void Download() {
      sim.Do([&] { List().Command1.Click(); });
      sim.RunFor(100);
    }
    SimHttpServer origin;
  };
};

TEST_F(WebAddList, SeveralDroppedAddressesAreShownWithNamesAndSizes) {
  Run run;
  EXPECT_TRUE(run.Drop("https://o.example/a.bin\n# no\nhttps://joe:pw@o.example/b.bin\n"));
  ASSERT_TRUE(run.List().Visible());
  EXPECT_EQ(run.program().DownloadCount, 0);
  run.sim.RunFor(5000);
  ASSERT_EQ(run.List().ListView1.Rows().size(), 2U);
  EXPECT_EQ(run.Row(0).text, "a.bin");
  EXPECT_EQ(run.Row(0).checked, true);
  EXPECT_EQ(run.Row(0).subItems.at(kSize), FormatSize(100'000, run.program().LangStrings, "."));
  EXPECT_EQ(run.Row(1).subItems.at(kUrl), "https://joe@o.example/b.bin");
  EXPECT_EQ(run.List().Label1.Caption(),
            FillText(run.Said(WebText::CheckedInAll), {"2", FormatSize(200'000, run.program().LangStrings, ".")}));
  EXPECT_EQ(run.origin.Requests().size(), 2U);
  for (const HttpRequest& request : run.origin.Requests()) EXPECT_EQ(request.Header("Range"), "bytes=0-0");
}

TEST_F(WebAddList, DownloadsWhatIsCheckedWithoutWindows) {
  Run run;
  run.Drop("https://o.example/a.bin\nhttps://o.example/b.bin\nhttps://o.example/c.bin");
  run.sim.RunFor(5000);
  run.sim.Do([&] { run.List().ListView1.CheckByUser(1, false); });
  run.Download();
  EXPECT_FALSE(run.List().Visible());
  ASSERT_EQ(run.program().DownloadCount, 2);
  EXPECT_EQ(run.Record(2).URL, "https://o.example/c.bin");
  ASSERT_TRUE(run.RunUntilFinished(1));
  ASSERT_TRUE(run.RunUntilFinished(2));
  run.sim.RunFor(2000);
  for (const int index : {1, 2}) EXPECT_FALSE(run.WindowOf(index)->Visible()) << index;
}

TEST_F(WebAddList, ShowsDoublesMissingAndRefusedOnesBefore) {
  Run run;
  run.Add("https://o.example/a.bin");
  ASSERT_TRUE(run.RunUntilFinished());
  run.Drop(
      "https://o.example/a.bin\nhttps://o.example/b.bin\nhttps://o.example/b.bin\nhttps://o.example/none\n"
      "https://:80\ngopher://h/x\nhttps://nohost.example/x\n");
  run.sim.RunFor(10'000);
  ASSERT_EQ(run.List().ListView1.Rows().size(), 7U);
  EXPECT_EQ(run.Note(0), run.Said(WebText::ListedTwice));
  EXPECT_EQ(run.Note(1), "");
  EXPECT_EQ(run.Note(2), run.Said(WebText::ListedTwice));
  EXPECT_EQ(run.Note(3), run.Said(WebText::NotFound));
  EXPECT_EQ(run.Row(3).checked, false);
  EXPECT_EQ(run.Note(4), run.Said(WebText::BadAddress));
  EXPECT_EQ(run.Note(5), run.program().Text(400));
  EXPECT_EQ(run.Note(6), FillText(run.Said(WebText::NoHost), {"nohost.example"}));
  for (const std::size_t at : {0, 2, 4, 5}) EXPECT_FALSE(run.Row(at).checked) << at;
  run.Download();
  ASSERT_EQ(run.program().DownloadCount, 2);
  EXPECT_EQ(run.Record(2).URL, "https://o.example/b.bin");
}

TEST_F(WebAddList, ShowsTheFreeNamesBeforeAndUsesThemAfter) {
  Run run;
  run.sim.disk().Put(JoinFolder(run.Folder(), "a.bin"), SimContent("here"));
  run.Drop("https://o.example/a.bin\nhttps://o.example/d/a.bin");
  run.sim.RunFor(5000);
  EXPECT_EQ(run.Note(0), FillText(run.Said(WebText::NameTaken), {"a.bin", "a (2).bin"}));
  EXPECT_EQ(run.Note(1), FillText(run.Said(WebText::NameTaken), {"a.bin", "a (3).bin"}));
  run.Download();
  ASSERT_TRUE(run.RunUntilFinished(1));
  ASSERT_TRUE(run.RunUntilFinished(2));
  EXPECT_EQ(run.Record(1).SavePath, JoinFolder(run.Folder(), "a (2).bin"));
  EXPECT_EQ(run.Record(2).SavePath, JoinFolder(run.Folder(), "a (3).bin"));
}

// The classic engine would write over the file, and both downloads into one.
TEST_F(WebAddList, ClassicDownloadsGetFreeNamesToo) {
  Run run;
  run.sim.disk().Put(JoinFolder(run.Folder(), "a.bin"), SimContent("here"));
  run.Drop("http://o.example/a.bin\nhttp://o.example/d/a.bin\nhttp://o.example/c.bin");
  run.sim.RunFor(5000);
  EXPECT_EQ(run.Note(0), FillText(run.Said(WebText::NameTaken), {"a.bin", "a (2).bin"}));
  EXPECT_EQ(run.Note(1), FillText(run.Said(WebText::NameTaken), {"a.bin", "a (3).bin"}));
  EXPECT_EQ(run.Note(2), "");
  run.Download();
  EXPECT_EQ(run.Record(1).SavePath, JoinFolder(run.Folder(), "a (2).bin"));
  EXPECT_EQ(run.Record(2).SavePath, JoinFolder(run.Folder(), "a (3).bin"));
  EXPECT_FALSE(run.Record(3).HasSavePath);
}

TEST_F(WebAddList, ShowsTooLittleRoomBefore) {
  Run run;
  run.sim.disk().SetCapacity(run.sim.disk().Used() + 150'000);
  run.Drop("https://o.example/a.bin\nhttps://o.example/b.bin");
  run.sim.RunFor(5000);
  EXPECT_EQ(run.List().Label2.Caption(), FillText(run.Said(WebText::NoRoom), {"200 kB", "150 kB"}));
  run.sim.Do([&] { run.List().ListView1.CheckByUser(0, false); });
  EXPECT_EQ(run.List().Label2.Caption(), "");
}

// Each disk is compared with what goes to it.
TEST_F(WebAddList, MeasuresTheFolderOfEachAdd) {
  Run run;
  for (const char* const folder : {"/media", "/media/stick"}) run.sim.platform().files.CreateFolder(folder);
  run.sim.downloadFiles().PutOnAnotherDisk("/media");
  run.sim.downloadFiles().SetRoom(150'000);
  run.sim.downloadFiles().SetRoomOfOtherDisk(150'000);
  const auto add = [](const std::string& url, const std::string& folder) {
    ListedAdd listed;
    listed.request.url = url;
    listed.request.folder = folder;
    return listed;
  };
  run.sim.Do([&] {
    run.List().Offer({add("https://o.example/a.bin", ""), add("https://o.example/b.bin", "/media/stick")}, false);
  });
  run.sim.RunFor(5000);
  EXPECT_EQ(run.List().Label2.Caption(), "") << "each has its own room";
  run.sim.Do([&] { run.List().Offer({add("https://o.example/c.bin", "/media/stick/new")}, false); });
  run.sim.RunFor(5000);
  EXPECT_EQ(run.List().Label2.Caption(), FillText(run.Said(WebText::NoRoomIn), {"/media/stick", "200 kB", "150 kB"}));
  run.sim.Do([&] { run.List().ListView1.CheckByUser(2, false); });
  EXPECT_EQ(run.List().Label2.Caption(), "");
}

TEST_F(WebAddList, AsksFourServersAtATimeAndNoneOnceItIsClosed) {
  Run run;
  run.origin.Always({.thinkTime = 100'000'000});
  std::string text;
  for (int i = 0; i < 20; ++i) text += "https://o.example/" + std::to_string(i) + "\n";
  run.Drop(text);
  run.sim.RunFor(5000);
  EXPECT_EQ(run.origin.Requests().size(), 4U);
  run.sim.RunFor(30'000);  // a silent server gives its turn to the next address
  EXPECT_EQ(run.origin.Requests().size(), 8U);
  run.sim.Do([&] { run.List().ViewClosed(); });
  run.sim.RunFor(120'000);
  EXPECT_EQ(run.origin.Requests().size(), 8U);
  EXPECT_EQ(run.origin.Open(), 0);
}

TEST_F(WebAddList, FollowsRedirectsAndTakesTheServersName) {
  Run run;
  run.origin.Redirect("/x", "https://o.example/c.bin");
  run.origin.Traits("/c.bin").disposition = "attachment; filename=\"real.iso\"";
  run.Drop("https://o.example/x\nhttps://o.example/a.bin");
  run.sim.RunFor(5000);
  EXPECT_EQ(run.Row(0).text, "real.iso");
  EXPECT_NE(run.Row(0).subItems.at(kSize), "");
}

TEST_F(WebAddList, OneDroppedAddressStartsAtOnce) {
  Run run;
  EXPECT_TRUE(run.Drop("https://o.example/a.bin\r\n", kLinksFormat));
  EXPECT_FALSE(run.List().Loaded());
  EXPECT_TRUE(run.RunUntilFinished());
  EXPECT_TRUE(run.Drop("file:///etc/passwd\r\nhttps://o.example/b.bin\r\n", kLinksFormat));
  EXPECT_FALSE(run.List().Loaded());
  EXPECT_TRUE(run.RunUntilFinished(2));
  EXPECT_FALSE(run.Drop("some words"));
  EXPECT_FALSE(run.Drop("gopher://h/a\ngopher://h/b"));
}

TEST_F(WebAddList, ReadsDroppedTextFiles) {
  Run run;
  run.sim.disk().Put("/home/u/my list.txt",
                     SimContent("https://o.example/a.bin\r\n  out=x\r\nhttps://o.example/b.bin"));
  EXPECT_TRUE(run.Drop("file:///home/u/my%20list.txt\r\nfile:///home/u/picture.png\r\n", kLinksFormat));
  run.sim.RunFor(5000);
  ASSERT_EQ(run.List().ListView1.Rows().size(), 2U);
  EXPECT_EQ(run.Row(1).subItems.at(kUrl), "https://o.example/b.bin");
  EXPECT_TRUE(run.Drop("file:/home/u/my%20list.txt\r\n", kLinksFormat));
  run.sim.RunFor(5000);
  EXPECT_EQ(run.List().ListView1.Rows().size(), 4U);
  EXPECT_FALSE(run.Drop("file:///home/u/picture.png\r\n", kLinksFormat));
  EXPECT_FALSE(run.Drop("file:/home/u/picture.png\r\n", kLinksFormat));
  EXPECT_TRUE(run.Drop("file:///home/u/missing.txt\r\n", kLinksFormat));
  run.sim.RunFor(1000);
  EXPECT_EQ(run.List().ListView1.Rows().size(), 4U);
}

TEST_F(WebAddList, SaysThatADroppedTextHasNotArrived) {
  Run run;
  EXPECT_FALSE(run.Drop("some words"));
  EXPECT_EQ(run.window().StatusBar1.Panels().front().find("not arrived"), std::string::npos);
  EXPECT_FALSE(run.Drop(""));
  EXPECT_NE(run.window().StatusBar1.Panels().front().find("not arrived"), std::string::npos);
}

TEST_F(WebAddList, BasketOffersSeveralAndStartsNone) {
  Run run;
  int effect = kDropNone;
  run.sim.Do([&] {
    effect = run.app.basket().OLEDragDrop(
        Dragged(kLinksFormat, "https://o.example/a.bin\r\nhttps://o.example/b.bin\r\n"), kDropNone);
  });
  EXPECT_EQ(effect, kDropCopy);
  run.sim.RunFor(5000);
  const std::size_t asked = run.origin.Requests().size();
  run.Download();
  run.sim.RunFor(10'000);
  EXPECT_EQ(run.program().DownloadCount, 2);
  EXPECT_EQ(run.StateWord(1), "waiting");
  EXPECT_EQ(run.origin.Requests().size(), asked);
}

TEST_F(WebAddList, SeveralPastedIntoTheDialogOpenTheList) {
  Run run;
  run.sim.Do([&] { run.window().RunAction(MainWindow::kAdd); });
  run.sim.Do([&] { run.window().form1->Text1.SetByUser("https://o.example/a.bin\nhttps://o.example/b.bin\n"); });
  run.sim.RunReady();
  EXPECT_FALSE(run.window().form1->Visible());
  ASSERT_TRUE(run.List().Visible());
  EXPECT_EQ(run.List().ListView1.Rows().size(), 2U);
}

class WebAddListFold : public WebAddList {
 protected:
  // Unfolds the dialog, types, and pastes the addresses.
  static void Paste(Run& run, const std::function<void(Form1&)>& type, const std::string& addresses) {
    run.sim.platform().files.CreateFolder("/home/u/other");
    run.sim.Do([&] { run.window().RunAction(MainWindow::kAdd); });
    Form1& form = *run.window().form1;
    run.sim.Do([&] {
      form.Check1.SetByUser(true);
      type(form);
    });
    run.sim.Do([&] { form.Text1.SetByUser(addresses); });
    run.sim.RunFor(200);
  }
  static constexpr const char* kOfOneServer = "https://o.example/a.bin\nhttps://o.example/b.bin\n";
};

TEST_F(WebAddListFold, AppliesToAllPastedAddresses) {
  Run run;
  Paste(
      run,
      [](Form1& form) {
        form.Text2.SetByUser("/home/u/other");
        form.Text4.SetByUser("joe");
        form.Text5.SetByUser("s3cret");
        form.Text7.SetByUser("https://page.example/list");
        form.Text8.SetByUser("sid=1");
        form.Text9.SetByUser("400");
      },
      kOfOneServer);
  ASSERT_TRUE(run.List().Visible());
  EXPECT_EQ(run.List().Label2.Caption(), "");
  run.Download();
  ASSERT_TRUE(run.RunUntilFinished(1));
  ASSERT_TRUE(run.RunUntilFinished(2));
  EXPECT_TRUE(run.sim.disk().Has("/home/u/other/a.bin"));
  EXPECT_TRUE(run.sim.disk().Has("/home/u/other/b.bin"));
  for (const int index : {1, 2}) EXPECT_EQ(run.program().speed->LimitOf(index), 400 * 1024);
  for (const HttpRequest& request : run.origin.Requests()) {
    EXPECT_TRUE(request.Header("Authorization")) << request.bytes;
    EXPECT_EQ(request.Header("Cookie"), "sid=1");
    EXPECT_EQ(request.Header("Referer"), "https://page.example/");
  }
}

TEST_F(WebAddListFold, SaysWhatIsForOneFileOrOneServerAlone) {
  Run run;
  SimHttpServer other(run.sim.network(), "p.example", 443);
  other.File("/c.bin", SimContent::Generated(100'000, 7));
  Paste(
      run,
      [](Form1& form) {
        form.Text3.SetByUser("mine.iso");
        form.Text4.SetByUser("joe");
        form.Text5.SetByUser("s3cret");
        form.Text6.SetByUser(std::string(32, 'a'));
      },
      "https://o.example/a.bin\nhttps://p.example/c.bin\n");
  EXPECT_EQ(run.List().Label2.Caption(),
            run.Said(WebText::NotForSeveral) + " " + run.Said(WebText::NotForSeveralServers));
  run.Download();
  ASSERT_TRUE(run.RunUntilFinished(1));
  ASSERT_TRUE(run.RunUntilFinished(2));
  EXPECT_TRUE(run.sim.disk().Has(run.Folder() + "/a.bin"));
  for (const SimHttpServer* const server : {&run.origin, &other}) {
    for (const HttpRequest& request : server->Requests()) EXPECT_FALSE(request.Header("Authorization"));
  }
}

TEST_F(WebAddListFold, WhatTheClassicEngineWouldIgnoreRefusesItsRows) {
  Run run;
  Paste(
      run, [](Form1& form) { form.Text7.SetByUser("https://page.example/list"); },
      "https://o.example/a.bin\nhttp://o.example/b.bin\n");
  EXPECT_EQ(run.Note(0), "");
  EXPECT_EQ(run.Note(1), run.Said(WebText::OnlyWebEngine));
}

TEST_F(WebAddListFold, LinesThatNoEngineTakesAreRefusedWithAWord) {
  Run run;
  run.program().settings.WebEngine = kWebEngineOff;
  Paste(
      run, [](Form1&) {}, "https://o.example/a.bin\nhttps://o.example/b.bin\n");
  ASSERT_EQ(run.sim.dialogs().OpenCount(), 1U);
  EXPECT_EQ(run.sim.dialogs().Next().text, run.program().Text(400));
}

TEST_F(WebAddListFold, BadFieldIsReportedAndTheDialogStays) {
  Run run;
  Paste(
      run, [](Form1& form) { form.Text9.SetByUser("fast"); }, kOfOneServer);
  EXPECT_TRUE(run.window().form1->Visible());
  EXPECT_FALSE(run.List().Visible());
  run.Answer(kAnswerOk);
  run.sim.Do([&] { run.window().form1->Text9.SetByUser("400"); });
  run.sim.Do([&] { run.window().form1->Command2.Click(); });
  run.sim.RunFor(200);
  ASSERT_TRUE(run.List().Visible());
  run.Download();
  run.sim.RunFor(2000);
  EXPECT_EQ(run.program().DownloadCount, 2);
  EXPECT_TRUE(run.origin.Requests().empty() || run.StateWord() != "finished") << "it was added for later";
}

TEST_F(WebAddList, AllAndNoneCheckWhatCanBeAdded) {
  Run run;
  run.Drop("https://o.example/a.bin\nhttps://o.example/a.bin\nhttps://o.example/b.bin");
  run.sim.RunFor(5000);
  run.sim.Do([&] { run.List().Command4.Click(); });
  EXPECT_EQ(run.Row(0).checked, false);
  EXPECT_FALSE(run.List().Command1.Enabled());
  run.sim.Do([&] { run.List().Command3.Click(); });
  EXPECT_EQ(run.Row(2).checked, true);
  EXPECT_FALSE(run.Row(1).checked);
  EXPECT_TRUE(run.List().Command1.Enabled());
}

TEST_F(WebAddList, ThousandsAreReadAndAddedPieceByPiece) {
  Run run;
  run.program().settings.MaxSimulDownlads = 0;
  run.origin.Always({.thinkTime = 100'000'000});
  std::string text;
  for (std::size_t i = 0; i < 1000; ++i) text += "https://o.example/f" + std::to_string(i) + "\n";
  run.Drop(text);
  run.sim.RunFor(100);
  EXPECT_EQ(run.List().ListView1.Rows().size(), 1000U);
  EXPECT_EQ(run.Row(999).checked, true);
  run.Download();
  run.sim.RunFor(2000);
  EXPECT_EQ(run.program().DownloadCount, 1000);
  EXPECT_FALSE(run.List().Loaded());
}

TEST_F(WebAddList, ClosedInTheMiddleItAddsNoMore) {
  Run run;
  run.program().settings.MaxSimulDownlads = 0;
  std::string text;
  for (int i = 0; i < 200; ++i) text += "https://o.example/f" + std::to_string(i) + "\n";
  run.Drop(text);
  run.sim.RunFor(100);
  run.sim.Do([&] {
    run.List().Command1.Click();
    run.List().ViewClosed();
  });
  run.sim.RunFor(2000);
  EXPECT_LT(run.program().DownloadCount, 200);
  EXPECT_FALSE(run.List().Loaded());
}

TEST_F(WebAddList, ManyOfOneNameGetTheirNamesWithoutAFreeze) {
  Run run;
  std::string urls;
  for (int i = 0; i < 10'000; ++i) urls += "https://o.example/" + std::to_string(i) + "/setup.exe\n";
  const auto began = std::chrono::steady_clock::now();
  run.Drop(urls);
  run.sim.RunFor(1);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
  EXPECT_EQ(run.Note(9'999), FillText(run.Said(WebText::NameTaken), {"setup.exe", "setup (10000).exe"}));
  EXPECT_LT(took.count(), 20.0);
}

}  // namespace
}  // namespace pellora
