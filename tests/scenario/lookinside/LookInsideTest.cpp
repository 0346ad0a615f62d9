// The window for looking inside: its list, what is asked before unpacking, and what is downloaded then.
#include "LookingInside.h"

namespace pellora {
namespace {

TEST_F(LookingInside, ListsFilesWithTheirFigures) {
  Look();
  EXPECT_EQ(Rows(), (std::vector<std::string>{"a.pdf", "b.pdf", "big.bin", "c.txt", "Cover.PDF", "top.txt"}));
  EXPECT_EQ(Cell("b.pdf", 1), "5000");
  EXPECT_EQ(Cell("b.pdf", 2), "5000");
  EXPECT_EQ(Cell("b.pdf", 4), "docs/deep");
  EXPECT_EQ(Cell("big.bin", 4), "");
  EXPECT_EQ(Cell("a.pdf", 5), "");
  EXPECT_EQ(Viewer()->Label2.Caption(), kUrl);
  EXPECT_TRUE(State().starts_with(Size(425'970) + " used by 6 file(s)")) << State();
}

TEST_F(LookingInside, FilterKeepsWhatFits) {
  Look();
  Type(Viewer()->Text1, "*.pdf");
  EXPECT_EQ(Rows(), (std::vector<std::string>{"a.pdf", "b.pdf", "Cover.PDF"}));
  EXPECT_TRUE(State().starts_with(Size(105'070) + " used by 3 file(s)")) << State();
  Type(Viewer()->Text1, "OP.t");
  EXPECT_EQ(Rows(), std::vector<std::string>{"top.txt"});
  Type(Viewer()->Text1, "");
  EXPECT_EQ(Rows().size(), 6U);
}

TEST_F(LookingInside, FoldersAreEnteredAndLeft) {
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  EXPECT_EQ(Rows(), (std::vector<std::string>{"+docs", "big.bin", "Cover.PDF", "top.txt"}));
  Select({"+docs"});
  sim.Do([&] { Viewer()->ListView1.DoubleClick(); });
  EXPECT_EQ(Rows(), (std::vector<std::string>{"+deep", "a.pdf", "c.txt"}));
  Press(Viewer()->Command4);
  EXPECT_EQ(Rows().size(), 4U);
}

TEST_F(LookingInside, SelectedFolderMeansAllInIt) {
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  Select({"+docs", "top.txt"});
  const std::string foot = Viewer()->Label4.Caption();
  EXPECT_TRUE(foot.starts_with("Selected files : 4, to fetch : ")) << foot;
  EXPECT_TRUE(foot.ends_with("unpacked : " + Size(125'900))) << foot;
  Select({});
  EXPECT_EQ(Viewer()->Label4.Caption(), Say(WebText::ChosenFiles, {"0", Size(0), Size(0)}));
}

TEST_F(LookingInside, FootCountsTheBytesToBeFetched) {
  Look();
  Select({"big.bin"});
  // The local header: 30 bytes and the name; the entries after it begin right behind its data.
  EXPECT_EQ(Viewer()->Label4.Caption(), Say(WebText::ChosenFiles, {"1", Size(300'037), Size(300'000)}));
}

TEST_F(LookingInside, ColumnsOfSizesAreInTheOrderOfTheirValues) {
  Look();
  sim.Do([&] { Viewer()->ListView1.OnColumnClick(2); });
  EXPECT_EQ(Rows(), (std::vector<std::string>{"Cover.PDF", "c.txt", "b.pdf", "top.txt", "a.pdf", "big.bin"}));
  sim.Do([&] { Viewer()->ListView1.OnColumnClick(2); });
  EXPECT_EQ(Rows().front(), "big.bin");
}

TEST_F(LookingInside, OneFileIsCountedInTheSingular) {
  Look();
  Select({"a.pdf"});
  Press(Viewer()->Command2);
  ASSERT_TRUE(FolderDialog());
  EXPECT_EQ(FolderDialog()->FileCount.Caption(), "1 file to be extracted");
}

TEST_F(LookingInside, SelectedFilesBecomeOneDownloadThatFetchesNothingElse) {
  Look();
  const std::size_t requests = origin.Requests().size();
  Select({"a.pdf", "b.pdf"});
  Press(Viewer()->Command2);
  ASSERT_TRUE(FolderDialog());
  EXPECT_EQ(FolderDialog()->FileCount.Caption(), Say(WebText::FilesToUnpack, {"2"}));
  EXPECT_TRUE(FolderDialog()->Check2.Value());
  Press(FolderDialog()->Command1);
  EXPECT_FALSE(Question());
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Records(), 1);
  EXPECT_EQ(Record().FileName, "2 files of a.zip");
  EXPECT_TRUE(IsUnpacked("docs/a.pdf", Bytes(100'000, 1)));
  EXPECT_TRUE(IsUnpacked("docs/deep/b.pdf", Bytes(5000, 2)));
  EXPECT_FALSE(sim.disk().Has(Path("top.txt")));
  EXPECT_LT(Web().size, 110'000);
  for (std::size_t i = requests; i < origin.Requests().size(); ++i) {
    EXPECT_EQ(origin.Requests()[i].Header("If-Range"), "\"1\"") << i;
  }
  EXPECT_TRUE(Viewer()) << "more may be taken from it";
}

TEST_F(LookingInside, AllFilesBecomeOneDownload) {
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Records(), 1);
  EXPECT_EQ(Record().FileName, "6 files of a.zip");
  EXPECT_TRUE(IsUnpacked("big.bin", Bytes(300'000, 5)));
  EXPECT_TRUE(IsUnpacked("Cover.PDF", Bytes(70, 6)));
  EXPECT_TRUE(IsUnpacked("docs/c.txt", Bytes(900, 3)));
}

TEST_F(LookingInside, FoldersOfTheArchiveAreLeftOutIfTheDialogSaysSo) {
  Look();
  Select({"b.pdf"});
  Press(Viewer()->Command2);
  ASSERT_TRUE(FolderDialog());
  sim.Do([&] { FolderDialog()->Check2.SetByUser(false); });
  Press(FolderDialog()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("b.pdf", Bytes(5000, 2)));
}

TEST_F(LookingInside, TwoChoicesOfOneArchiveAreTwoDownloads) {
  Look();
  for (const char* name : {"a.pdf", "top.txt"}) {
    Select({name});
    ExtractTo(Viewer()->Command2);
    sim.RunFor(10'000);
  }
  EXPECT_EQ(Records(), 2);
  EXPECT_TRUE(IsUnpacked("docs/a.pdf", Bytes(100'000, 1)));
  EXPECT_TRUE(IsUnpacked("top.txt", Bytes(20'000, 4)));
}

TEST_F(LookingInside, ArchiveIsAddedBesideAChoiceOfItsFiles) {
  Look();
  Select({"a.pdf"});
  ExtractTo(Viewer()->Command2);
  sim.RunFor(10'000);
  sim.Do([&] { app.MenuURL(kUrl, "", ""); });
  sim.RunFor(10'000);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  EXPECT_EQ(Records(), 2);
  EXPECT_TRUE(IsUnpacked("docs/a.pdf", Bytes(100'000, 1)));
}

TEST_F(LookingInside, WholeArchiveIsAddedBesideTheChoiceThatItWasOpenedFrom) {
  Look();
  Select({"a.pdf"});
  ExtractTo(Viewer()->Command2);
  sim.RunFor(10'000);
  sim.Do([&] { Viewer()->ViewClosed(); });
  Look({.url = kUrl, .record = 1, .serial = program().Serial(1)});
  Press(Viewer()->Command3);
  sim.RunFor(10'000);
  EXPECT_EQ(Records(), 2);
  EXPECT_EQ(Record(2).FileName, "a.zip");
}

TEST_F(LookingInside, FoldersAreNotCountedAsFiles) {
  Serve({PackedFolder("docs/"), Packed("docs/a.txt", "aaa"), PackedFolder("docs/none/"), Packed("docs/b.txt", "bbb")});
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Record().FileName, "2 files of a.zip");
}

TEST_F(LookingInside, FileBeforeAllFoldersIsUnpackedToo) {
  Serve({Packed("a.txt", "aaa"), PackedFolder("docs/"), Packed("docs/b.txt", "bbb"), PackedFolder("none/")});
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("a.txt", "aaa"));
  EXPECT_TRUE(IsUnpacked("docs/b.txt", "bbb"));
}

TEST_F(LookingInside, FileInAFolderGoesByItsName) {
  Serve({PackedFolder("docs/"), Packed("docs/a.txt", "aaa")});
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Record().FileName, "a.txt");
}

TEST_F(LookingInside, EmptyFolderIsMadeIfItIsChosenAlone) {
  Serve({PackedFolder("none/"), Packed("a.txt", "aaa")});
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  Select({"+none"});
  ExtractTo(Viewer()->Command2);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_EQ(Record().FileName, "none");
  EXPECT_FALSE(sim.disk().Has(Path("a.txt")));
}

TEST_F(LookingInside, EmptyFolderAloneIsNothingWithoutItsPath) {
  Serve({PackedFolder("none/"), Packed("a.txt", "aaa")});
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  Select({"+none"});
  Press(Viewer()->Command2);
  sim.Do([&] { FolderDialog()->Check2.SetByUser(false); });
  Press(FolderDialog()->Command1);
  EXPECT_EQ(Box(), Say(WebText::NothingChosen));
  Answer(kAnswerOk);
  EXPECT_EQ(Records(), 0);
}

TEST_F(LookingInside, ArchiveOfAWholeFolderHasItsFilesAndAsksNothing) {
  Serve({PackedFolder("./"), PackedFolder("./docs/"), Packed("./docs/a.txt", "aaa"), Packed("./b.txt", "bbb")});
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  EXPECT_EQ(Rows(), (std::vector<std::string>{"+docs", "b.txt"}));
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("docs/a.txt", "aaa"));
  EXPECT_TRUE(IsUnpacked("b.txt", "bbb"));
}

TEST_F(LookingInside, NothingSelectedIsSaid) {
  Look();
  Press(Viewer()->Command2);
  EXPECT_EQ(Box(), Say(WebText::NothingChosen));
  Answer(kAnswerOk);
  EXPECT_FALSE(FolderDialog());
}

TEST_F(LookingInside, CancelledDialogAddsNothing) {
  Look();
  Press(Viewer()->Command1);
  ASSERT_TRUE(FolderDialog());
  Press(FolderDialog()->Command2);
  sim.RunFor(1000);
  EXPECT_EQ(Records(), 0);
  ExtractTo(Viewer()->Command1);
  sim.RunFor(1000);
  EXPECT_EQ(Records(), 1);
}

TEST_F(LookingInside, ClosedWindowTakesItsDialogAlong) {
  Look();
  Press(Viewer()->Command1);
  ASSERT_TRUE(FolderDialog());
  sim.Do([&] { Viewer()->ViewClosed(); });
  sim.RunFor(1000);
  EXPECT_FALSE(Viewer());
  EXPECT_FALSE(FolderDialog());
  EXPECT_EQ(Records(), 0);
}

class LookingInsideHostile : public LookingInside {
 protected:
  void SetUp() override {
    Serve({Packed("a.txt", "aaa"), Packed("../evil.txt", "evil"), Packed("b.txt", "bbb")});
    Look();
  }
};

TEST_F(LookingInsideHostile, EntryThatLeadsOutOfTheFolderIsMarkedAndRefused) {
  EXPECT_EQ(Cell("evil.txt", 5), Say(WebText::EntryUnsafeName));
  Select({"evil.txt"});
  Press(Viewer()->Command2);
  EXPECT_EQ(Box(), Say(WebText::CannotUnpack, {"../evil.txt", Say(WebText::EntryUnsafeName)}));
  Answer(kAnswerOk);
  EXPECT_FALSE(FolderDialog());
}

TEST_F(LookingInsideHostile, FoldersAreThoseThatAreUnpacked) {
  Serve({Packed("../evil.txt", "evil"), Packed("/root/x.txt", "x"), Packed("./docs//a.txt", "aaa"),
         Packed("docs/./b.txt", "bbb")});
  sim.Do([&] { Viewer()->Unload(); });
  Look();
  sim.Do([&] { Viewer()->Option1.SetByUser(true); });
  EXPECT_EQ(Rows(), (std::vector<std::string>{"+docs", "evil.txt", "x.txt"}));
  EXPECT_EQ(Cell("x.txt", 5), Say(WebText::EntryUnsafeName));
  Select({"+docs"});
  ExtractTo(Viewer()->Command2);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("docs/a.txt", "aaa"));
  EXPECT_TRUE(IsUnpacked("docs/b.txt", "bbb"));
}

TEST_F(LookingInsideHostile, OthersAreUnpackedIfTheUserWantsThem) {
  Press(Viewer()->Command1);
  EXPECT_EQ(Box(), Say(WebText::AskUnpackOthers, {"1", "3"}));
  Answer(kAnswerNo);
  EXPECT_FALSE(FolderDialog());
  Press(Viewer()->Command1);
  Answer(kAnswerYes);
  sim.RunFor(100);
  ASSERT_TRUE(FolderDialog());
  EXPECT_EQ(FolderDialog()->FileCount.Caption(), Say(WebText::FilesToUnpack, {"2"}));
  Press(FolderDialog()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("a.txt", "aaa"));
  EXPECT_TRUE(IsUnpacked("b.txt", "bbb"));
}

TEST_F(LookingInsideHostile, NothingThatCanBeUnpackedIsSaid) {
  Serve({Packed("../evil.txt", "evil"), Packed("/evil.txt", "evil"), PackedFolder("/etc/")});
  sim.Do([&] { Viewer()->ViewClosed(); });
  Look();
  Press(Viewer()->Command1);
  EXPECT_EQ(Box(), Say(WebText::NoneUnpacked));
  Answer(kAnswerOk);
  EXPECT_FALSE(FolderDialog());
}

TEST_F(LookingInsideHostile, NameThatNoFileCanHaveIsSaidToBeThat) {
  Serve({Packed("Icon\r", "icon"), Packed("a.txt", "aaa")});
  sim.Do([&] { Viewer()->ViewClosed(); });
  Look();
  EXPECT_EQ(Cell("Icon\r", 5), Say(WebText::EntryBadName));
}

TEST_F(LookingInside, PasswordIsAskedForOnce) {
  Serve({Encrypted("x.txt", "xxx", "pw"), Encrypted("y.txt", "yyy", "pw"), Packed("z.txt", "zzz")});
  Look();
  EXPECT_EQ(Cell("x.txt", 5), Say(WebText::EntryEncrypted));
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(Question());
  EXPECT_TRUE(Question()->Text1.Visible());
  EXPECT_FALSE(Question()->Option1.Visible());
  Press(Question()->Command1);
  ASSERT_TRUE(Question()) << "an empty password is none";
  Type(Question()->Text1, "pw");
  Press(Question()->Command1);
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
  EXPECT_TRUE(IsUnpacked("x.txt", "xxx"));
  EXPECT_TRUE(IsUnpacked("y.txt", "yyy"));
  EXPECT_TRUE(IsUnpacked("z.txt", "zzz"));
}

TEST_F(LookingInside, PasswordIsNotAskedForFilesWithoutOne) {
  Serve({Encrypted("x.txt", "xxx", "pw"), Packed("z.txt", "zzz")});
  Look();
  Select({"z.txt"});
  ExtractTo(Viewer()->Command2);
  EXPECT_FALSE(Question());
  ASSERT_TRUE(RunUntilFinished()) << Web().reason;
}

TEST_F(LookingInside, ExistingFilesAreAskedAboutOnce) {
  struct {
    OptionButton AskUnpack::*option;
    bool replaced, numbered;
  } const cases[] = {
      {&AskUnpack::Option1, false, true}, {&AskUnpack::Option2, true, false}, {&AskUnpack::Option3, false, false}};
  for (const auto& c : cases) {
    LookInsideRun run;
    run.Serve({Packed("a.txt", "aaa"), Packed("b.txt", "bbb")});
    run.sim.disk().Put(run.Path("a.txt"), "old");
    run.sim.disk().Put(run.Path("b.txt"), "old");
    run.Open();
    ASSERT_TRUE(run.RunUntilListed());
    run.Press(run.Viewer()->Command1);
    ASSERT_TRUE(run.FolderDialog());
    run.Press(run.FolderDialog()->Command1);
    ASSERT_TRUE(run.Question());
    EXPECT_FALSE(run.Question()->Text1.Visible());
    run.sim.Do([&] { (run.Question()->*c.option).SetByUser(true); });
    run.Press(run.Question()->Command1);
    EXPECT_FALSE(run.Question());
    ASSERT_TRUE(run.RunUntilFinished()) << run.Web().reason;
    EXPECT_EQ(run.sim.disk().Get(run.Path("a.txt")), c.replaced ? "aaa" : "old");
    EXPECT_EQ(run.sim.disk().Get(run.Path("b.txt")), c.replaced ? "bbb" : "old");
    EXPECT_EQ(run.sim.disk().Has(run.Path("a (2).txt")), c.numbered);
  }
}

TEST_F(LookingInside, CancelledQuestionAddsNothing) {
  sim.disk().Put(Path("top.txt"), "old");
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(Question());
  Press(Question()->Command2);
  sim.RunFor(1000);
  EXPECT_FALSE(Question());
  EXPECT_EQ(Records(), 0);
}

TEST_F(LookingInside, WindowClosedDuringAQuestionAddsNothing) {
  sim.disk().Put(Path("top.txt"), "old");
  Look();
  ExtractTo(Viewer()->Command1);
  ASSERT_TRUE(Question());
  sim.Do([&] { Viewer()->ViewClosed(); });
  sim.RunFor(1000);
  EXPECT_FALSE(Viewer());
  EXPECT_FALSE(Question());
  EXPECT_EQ(Records(), 0);
}

TEST_F(LookingInside, QuitClosesIt) {
  Look();
  Press(Viewer()->Command1);
  sim.Do([&] { app.SaveAndQuit(); });
  sim.RunFor(2000);
  EXPECT_FALSE(Viewer());
  EXPECT_FALSE(FolderDialog());
}

// With the option "AutoPreviewZIP".

}  // namespace
}  // namespace pellora
