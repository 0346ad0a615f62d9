// From where the window for looking inside opens: the option, the popup, the add dialog; and the lists of scripts.
#include <algorithm>

#include "LookingInside.h"
#include "core/EngineChoice.h"
#include "core/SpeedLimits.h"
#include "mainwin/Form1.h"

namespace pellora {
namespace {

class PreviewOfWebArchives : public LookingInside {
 protected:
  void SetUp() override {
    LookingInside::SetUp();
    program().settings.AutoPreviewZIP = true;
  }
};

TEST_F(PreviewOfWebArchives, OpensAndTheDownloadWaits) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilListed()) << State();
  sim.RunFor(60'000);
  EXPECT_EQ(StateWord(), "paused");
  EXPECT_FALSE(Record().Finished);
}

TEST_F(PreviewOfWebArchives, ChosenFilesTakeThePlaceOfTheWaitingDownload) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilListed()) << State();
  Select({"top.txt"});
  ExtractTo(Viewer()->Command2);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Path("top.txt")); }, 60'000));
  sim.RunFor(10'000);
  EXPECT_EQ(Records(), 1);
  EXPECT_FALSE(sim.disk().Has(Path("a.zip")));
  EXPECT_TRUE(IsUnpacked("top.txt", Bytes(20'000, 4)));
}

TEST_F(PreviewOfWebArchives, ChosenFilesTakeOverTheLimitOfTheWaitingDownload) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilListed()) << State();
  sim.Do([&] { program().speed->SetLimitOf(1, 5000); });
  Select({"big.bin"});
  ExtractTo(Viewer()->Command2);
  sim.RunFor(2000);
  ASSERT_EQ(Records(), 1);
  EXPECT_EQ(Record().FileName, "big.bin");
  EXPECT_EQ(program().speed->LimitOf(1), 5000);
  EXPECT_FALSE(Record().Finished);
}

TEST_F(PreviewOfWebArchives, WholeArchiveIsTheWaitingDownload) {
  Add(kUrl);
  ASSERT_TRUE(RunUntilListed()) << State();
  Press(Viewer()->Command3);
  EXPECT_FALSE(Viewer());
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Records(), 1);
  EXPECT_FALSE(Viewer()) << "it has been shown";
  TestArchive archive{.entries = Sample()};
  EXPECT_TRUE(sim.disk().Holds(Path("a.zip"), archive.Bytes()));
}

TEST_F(PreviewOfWebArchives, DoesNotOpenForQuietDownloadsAndOtherFiles) {
  origin.File("/b.bin", SimContent(Bytes(1000, 1)));
  Add("https://o.example/b.bin");
  AddRequest quiet{.url = kUrl};
  quiet.web.quiet = true;
  sim.Do([&] { AddWithoutAsking(program(), quiet); });
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_FALSE(Viewer());
}

TEST_F(PreviewOfWebArchives, IsOffByTheOption) {
  program().settings.AutoPreviewZIP = false;
  Add(kUrl);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_FALSE(Viewer());
}

// Where it is asked for.
TEST_F(LookingInside, PopupOffersItForArchivesOfTheWebEngine) {
  program().settings.MaxSimulDownlads = 0;  // they are queued
  struct {
    const char* url;
    bool offered;
  } const cases[] = {{"https://o.example/book.EPUB?x=1", true},
                     {"https://o.example/a.zip", true},
                     {"https://o.example/a.iso", false},
                     {"http://o.example/a.zip", false}};
  for (const auto& c : cases) {
    Add(c.url);
    sim.RunFor(2000);
    const int index = program().DownloadCount;
    ASSERT_EQ(Record(index).URL, c.url);
    sim.Do([&] {
      auto& list = window().ListView1;
      for (std::size_t at = 0; at < list.Rows().size(); ++at) {
        if (list.Rows()[at].record == index) list.SelectByUser({at});
      }
      list.RightClick();
    });
    EXPECT_EQ(window().lookinside.Visible(), c.offered) << c.url;
  }
}

TEST_F(LookingInside, PopupOpensItForAWaitingDownload) {
  program().settings.MaxSimulDownlads = 0;
  Add(kUrl);
  sim.RunFor(2000);
  sim.Do([&] {
    window().ListView1.SelectByUser({0});
    window().ListView1.RightClick();
  });
  sim.Do([&] { window().lookinside.Click(); });
  ASSERT_TRUE(RunUntilListed()) << State();
  Select({"top.txt"});
  ExtractTo(Viewer()->Command2);
  sim.RunFor(2000);
  EXPECT_EQ(Records(), 2) << "the queued one was wanted as a whole";
}

TEST_F(LookingInside, AddDialogOffersIt) {
  sim.Do([&] { window().RunAction(MainWindow::kAdd); });
  sim.RunFor(100);
  Form1& form = *window().form1;
  Type(form.Text1, kUrl);
  Press(form.Command5);
  ASSERT_TRUE(RunUntilListed()) << State();
  EXPECT_EQ(Records(), 0);
  Press(Viewer()->Command3);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
}

TEST_F(LookingInside, WholeArchiveGetsTheNameOfTheAddDialog) {
  sim.Do([&] { window().RunAction(MainWindow::kAdd); });
  sim.RunFor(100);
  Form1& form = *window().form1;
  sim.Do([&] { form.Check1.SetByUser(true); });
  Type(form.Text1, kUrl);
  Type(form.Text3, "my own name.zip");
  Press(form.Command5);
  ASSERT_TRUE(RunUntilListed()) << State();
  Press(Viewer()->Command3);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(Record().SavePath.ends_with("/my own name.zip")) << Record().SavePath;
}

// In one answer to a script, which the bus must take.
TEST_F(LookingInside, ListsForScriptsAreLimited) {
  const auto listed = [&] {
    ListedArchive answer;
    bool done = false;
    sim.Do([&] {
      app.ListArchive({.url = kUrl}, [&](ListedArchive archive) {
        answer = std::move(archive);
        done = true;
      });
    });
    EXPECT_TRUE(sim.RunUntil([&] { return done; }, 60'000));
    return answer;
  };
  const auto serve = [&](std::size_t count, const std::string& padding) {
    TestArchive archive;
    for (std::size_t i = 0; i < count; ++i) archive.entries.push_back(Stored(std::to_string(i) + padding, ""));
    archive.zip64 = archive.fullFields = true;
    Serve(archive.Bytes());
  };
  serve(300'001, "");
  EXPECT_EQ(listed().reason, "The archive has 300001 entries: that is too much for a list.");
  serve(400, std::string(65'000, 'n'));
  EXPECT_EQ(listed().reason, "The archive has names of more than 24 MiB: that is too much for a list.");
  serve(380, std::string(65'000, 'n'));
  EXPECT_EQ(listed().entries.size(), 380U);
}

TEST_F(LookingInside, AddDialogRefusesItForTheClassicEngine) {
  sim.Do([&] { window().RunAction(MainWindow::kAdd); });
  sim.RunFor(100);
  Type(window().form1->Text1, "http://o.example/a.zip");
  Press(window().form1->Command5);
  EXPECT_EQ(Box(), Say(WebText::OnlyWebEngine));
  Answer(kAnswerOk);
  EXPECT_TRUE(window().form1->Visible());
  EXPECT_FALSE(Viewer());
}

}  // namespace
}  // namespace pellora
