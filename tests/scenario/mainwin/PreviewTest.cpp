#include "MainWindowFixture.h"
#include "async/TaskLoop.h"

namespace pellora {
namespace {

constexpr const char* kNotAvailable = "Preview not available.";
constexpr const char* kPreparing = "Preparing preview...";

class Preview : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    Do([&] { window().Command4.Click(); });
  }
  // Releases the left button on a record's row.
  void Click(std::int16_t index) {
    Do([&] {
      Select(window().ListView2, index);
      window().ListView2.Click();
    });
  }
  void ClickAndWait(std::int16_t index) {
    Click(index);
    sim.RunFor(2000);
  }
  std::string State() { return window().Label5.Caption; }
  // Calls to the graphs, except attachments.
  std::vector<std::string> Calls() {
    std::vector<std::string> calls = sim.media().Calls();
    std::erase_if(calls, [](const std::string& call) { return call.find("owner") != std::string::npos; });
    return calls;
  }
  bool HasPicture() { return window().Picture3.Frame() != nullptr; }
};

TEST_F(Preview, StartsEmptyWithItsDesignedTexts) {
  EXPECT_EQ(State(), kNotAvailable);
  EXPECT_EQ(window().Command2.Caption(), ">");
  EXPECT_EQ(window().Command3.Caption(), "|||||");
  EXPECT_EQ(window().Label6.Caption(), "Vol :");
  EXPECT_EQ(window().Slider1.Value(), 100);
  EXPECT_FALSE(window().Image2.Visible());
  EXPECT_EQ(sim.media().Graphs(), 0);
  EXPECT_FALSE(HasPicture());
}

TEST_F(Preview, CuesTheFirstFrameOfAVideoHalfASecondAfterTheClick) {
  const std::int16_t index = Finished("a.avi");
  Click(index);
  EXPECT_EQ(State(), kPreparing);
  sim.RunFor(500);
  EXPECT_EQ(sim.media().Graphs(), 0);  // no media work before the wait is over
  sim.RunFor(5);
  EXPECT_EQ(Calls(), std::vector<std::string>{"1 render /d/a.avi"});
  EXPECT_EQ(State(), kPreparing);
  sim.RunFor(500);
  EXPECT_EQ(Calls(), (std::vector<std::string>{"1 render /d/a.avi", "1 volume 0", "1 run", "1 stop when ready"}));
  EXPECT_TRUE(HasPicture());
  EXPECT_EQ(State(), kNotAvailable);  // the picture covers it
}

TEST_F(Preview, LetsTransfersAndTimersRunDuringTheWait) {
  const std::int16_t index = Finished("a.avi");
  Record("http://h/queued", [](auto& r) { r.Queued = 1; });
  Click(index);
  sim.RunFor(501);
  EXPECT_EQ(Rec(2).Queued, 0);
}

TEST_F(Preview, DoubleClickOpensTheFileWithoutAPreview) {
  const std::int16_t index = Finished("a.avi");
  Click(index);
  sim.RunFor(200);
  Do([&] { window().ListView2.DoubleClick(); });
  sim.RunFor(3000);
  EXPECT_EQ(sim.shell().opened.size(), 1U);
  EXPECT_EQ(sim.media().Graphs(), 0);
  EXPECT_EQ(State(), kNotAvailable);
  ClickAndWait(index);
  EXPECT_TRUE(HasPicture());
}

TEST_F(Preview, ReportsADeletedFileAsNotFound) {
  const std::int16_t index = Finished("a.avi", false);
  ClickAndWait(index);
  EXPECT_EQ(State(), "File Not Found.");
  EXPECT_TRUE(Calls().empty());
  EXPECT_EQ(window().Info(0).Caption(), "a.avi");
  sim.RunFor(60'000);
  EXPECT_EQ(State(), "File Not Found.");
}

TEST_F(Preview, DeletedFileReplacesThePreviousPreview) {
  const std::int16_t shown = Finished("a.avi");
  const std::int16_t missing = Finished("b.avi", false);
  ClickAndWait(shown);
  ASSERT_TRUE(HasPicture());
  Click(missing);
  EXPECT_FALSE(HasPicture());
  Click(shown);
  sim.RunFor(600);  // while it is being rendered
  Click(missing);
  sim.RunFor(3000);
  EXPECT_EQ(State(), "File Not Found.");
  EXPECT_FALSE(HasPicture());
}

TEST_F(Preview, RendersNothingForAZipFile) {
  const std::int16_t index = Finished("a.ZIP");
  ClickAndWait(index);
  EXPECT_TRUE(Calls().empty());
  EXPECT_EQ(sim.media().Living(), 1);  // the empty graph
  EXPECT_EQ(State(), kNotAvailable);
  EXPECT_FALSE(HasPicture());
}

TEST_F(Preview, RefusedTypeReleasesThePreviousPreview) {
  ClickAndWait(Finished("a.avi"));
  ASSERT_TRUE(HasPicture());
  ClickAndWait(Finished("b.zip"));
  EXPECT_FALSE(HasPicture());
  Do([&] { window().Command2.Click(); });
  EXPECT_EQ(Calls().back(), "1 stop when ready");
}

TEST_F(Preview, LoadsUnderTheInformationPane) {
  const std::int16_t index = Finished("a.avi");
  Do([&] { window().TabStrip1.SelectByUser(1); });
  EXPECT_TRUE(window().Details.Visible());
  EXPECT_TRUE(window().Picture1.Visible());
  ClickAndWait(index);
  EXPECT_TRUE(HasPicture());
  Do([&] { window().TabStrip1.SelectByUser(0); });
  EXPECT_FALSE(window().Details.Visible());
  EXPECT_TRUE(window().Picture1.Visible());
}

TEST_F(Preview, SliderAt37SetsMinus1260AndStartsThePlayback) {
  ClickAndWait(Finished("a.mp3"));
  const std::size_t before = Calls().size();
  Do([&] { window().Slider1.SetByUser(37); });
  const std::vector<std::string> calls = Calls();
  EXPECT_EQ(std::vector<std::string>(calls.begin() + static_cast<std::ptrdiff_t>(before), calls.end()),
            (std::vector<std::string>{"1 volume -1260", "1 run"}));
}

TEST_F(Preview, SliderRangesFromFullVolumeToMinusTwentyDecibels) {
  ClickAndWait(Finished("a.mp3"));
  Do([&] { window().Slider1.SetByUser(100); });
  EXPECT_TRUE(sim.media().Called("1 volume 0"));
  Do([&] { window().Slider1.SetByUser(0); });
  EXPECT_TRUE(sim.media().Called("1 volume -2000"));
}

TEST_F(Preview, NewFilePlaysAtTheSlidersVolume) {
  ClickAndWait(Finished("a.mp3"));
  Do([&] { window().Slider1.SetByUser(37); });
  ClickAndWait(Finished("b.mp3"));
  EXPECT_TRUE(sim.media().Called("2 volume -1260"));
}

TEST_F(Preview, SupersededFilePlaysAtTheSlidersVolume) {
  Do([&] { window().Slider1.SetByUser(37); });
  sim.media().renderTime = 800;
  Click(Finished("a.mp3"));
  sim.RunFor(600);
  ASSERT_EQ(Calls(), std::vector<std::string>{"1 render /d/a.mp3"});
  const std::int16_t opened = Finished("b.zip");
  Click(opened);
  Do([&] { window().ListView2.DoubleClick(); });
  sim.RunFor(3000);
  EXPECT_EQ(sim.media().Graphs(), 1);
  Do([&] { window().Command2.Click(); });
  EXPECT_EQ(Calls(), (std::vector<std::string>{"1 render /d/a.mp3", "1 volume -1260", "1 run"}));
}

TEST_F(Preview, AudioFileShowsTheSoundImageAndPlays) {
  const std::int16_t index = Finished("a.mp3");
  Click(index);
  EXPECT_FALSE(window().Image2.Visible());
  sim.RunFor(2000);
  EXPECT_TRUE(window().Image2.Visible());
  EXPECT_EQ(window().Image2.Image(), "sound");
  Do([&] { window().Command2.Click(); });
  ASSERT_FALSE(Calls().empty());
  EXPECT_EQ(Calls().back(), "1 run");
  Do([&] { window().Command3.Click(); });
  EXPECT_EQ(Calls().back(), "1 stop");
}

TEST_F(Preview, HidesTheSoundImageAtTheNextClick) {
  ClickAndWait(Finished("a.mp3"));
  const std::int16_t next = Finished("b.avi");
  Click(next);
  EXPECT_FALSE(window().Image2.Visible());
}

TEST_F(Preview, RendersANameWithoutADot) {
  ClickAndWait(Finished("README"));
  ASSERT_FALSE(Calls().empty());
  EXPECT_EQ(Calls().front(), "1 render /d/README");
}

TEST_F(Preview, UsesTheLastDotOfTheWholePath) {
  const std::int16_t index = Finished("README");
  Rec(index).SavePath = "/d.mp3/README";
  sim.disk().MakeFolder("/d.mp3");
  sim.disk().Put("/d.mp3/README", SimContent(std::string("x")));
  ClickAndWait(index);
  EXPECT_TRUE(Calls().empty());
}

struct TypeCase {
  const char* extension;
  bool rendered;
  bool drawing;
};

class PreviewTypes : public Preview, public ::testing::WithParamInterface<TypeCase> {};

TEST_P(PreviewTypes, AreRecognizedByExtensionInAnyCase) {
  const TypeCase& type = GetParam();
  std::string mixed = type.extension;
  for (std::size_t i = 0; i < mixed.size(); i += 2) {
    if (mixed[i] >= 'A' && mixed[i] <= 'Z') mixed[i] = static_cast<char>(mixed[i] - 'A' + 'a');
  }
  for (const std::string& extension : {std::string(type.extension), mixed}) {
    const std::size_t before = Calls().size();
    ClickAndWait(Finished("a." + extension));
    EXPECT_EQ(Calls().size() > before, type.rendered) << extension;
    EXPECT_EQ(window().Image2.Visible(), type.drawing) << extension;
    EXPECT_EQ(State(), kNotAvailable);
    if (mixed == type.extension) return;
    Do([&] { window().ListView2.PressDelete(); });
  }
}

INSTANTIATE_TEST_SUITE_P(
    Extensions, PreviewTypes,
    ::testing::Values(TypeCase{"AVI", true, false}, TypeCase{"MPG", true, false}, TypeCase{"JPG", true, false},
                      TypeCase{"BMP", true, false}, TypeCase{"MP3", true, true}, TypeCase{"WAV", true, true},
                      TypeCase{"OGG", true, true}, TypeCase{"WMV", true, false}, TypeCase{"WMA", true, true},
                      TypeCase{"PNG", true, false}, TypeCase{"TGA", true, false}, TypeCase{"MP2", true, false},
                      TypeCase{"MP1", true, false}, TypeCase{"MID", true, false}, TypeCase{"RMI", true, false},
                      TypeCase{"JPEG", false, false}, TypeCase{"MPEG", false, false}, TypeCase{"MP4", false, false},
                      TypeCase{"GIF", false, false}, TypeCase{"XMP3", false, true}, TypeCase{"", false, false}));

TEST_F(Preview, UnrenderableFileLeavesThePaneBlankWithItsText) {
  sim.media().broken.insert("/d/a.avi");
  ClickAndWait(Finished("a.avi"));
  EXPECT_EQ(Calls(), std::vector<std::string>{"1 render /d/a.avi"});
  EXPECT_EQ(State(), kNotAvailable);
  EXPECT_FALSE(HasPicture());
  Do([&] { window().Command2.Click(); });
  Do([&] { window().Command3.Click(); });
  Do([&] { window().Slider1.SetByUser(10); });
  EXPECT_EQ(Calls().size(), 1U);
}

TEST_F(Preview, PlayStopAndVolumeAreHarmlessBeforeAnyPreview) {
  Do([&] { window().Command2.Click(); });
  Do([&] { window().Command3.Click(); });
  Do([&] { window().Slider1.SetByUser(10); });
  Do([&] { window().TabStrip1.SelectByUser(1); });
  EXPECT_EQ(sim.media().Graphs(), 0);
  EXPECT_EQ(window().Slider1.Value(), 10);
}

TEST_F(Preview, LoadsOnlyTheLastOfSeveralClicks) {
  const std::int16_t a = Finished("a.avi");
  const std::int16_t b = Finished("b.avi");
  Click(a);
  sim.RunFor(300);
  Click(b);
  sim.RunFor(300);
  EXPECT_EQ(sim.media().Graphs(), 0);  // counted from the last click
  sim.RunFor(2000);
  ASSERT_FALSE(Calls().empty());
  EXPECT_EQ(Calls().front(), "1 render /d/b.avi");
  EXPECT_EQ(sim.media().Graphs(), 1);
  EXPECT_EQ(window().Info(0).Caption(), "b.avi");
}

TEST_F(Preview, ClickDuringARenderingSupersedesIt) {
  const std::int16_t a = Finished("a.avi");
  const std::int16_t b = Finished("b.avi");
  sim.media().renderTime = 800;
  Click(a);
  sim.RunFor(600);
  ASSERT_EQ(sim.media().Graphs(), 1);
  Click(b);
  sim.RunFor(5000);
  EXPECT_EQ(Calls(), (std::vector<std::string>{"1 render /d/a.avi", "2 render /d/b.avi", "2 volume 0", "2 run",
                                               "2 stop when ready"}));
  EXPECT_EQ(sim.media().Living(), 1);
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(Preview, EndlessRenderingBlocksNothing) {
  sim.media().silent.insert("/d/a.avi");
  const std::int16_t a = Finished("a.avi");
  ClickAndWait(a);
  EXPECT_EQ(State(), kPreparing);
  ClickAndWait(Finished("b.avi"));
  EXPECT_EQ(State(), kNotAvailable);
  EXPECT_TRUE(HasPicture());
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(Preview, ShowsTheChosenFileThoughItsRecordIsReplacedDuringTheWait) {
  const std::int16_t index = Finished("a.avi");
  Click(index);
  sim.RunFor(100);
  Do([&] { window().ListView2.PressDelete(); });
  Add("http://h/other.avi");
  ASSERT_EQ(Rec(index).URL, "http://h/other.avi");
  sim.RunFor(2000);
  ASSERT_FALSE(Calls().empty());
  EXPECT_EQ(Calls().front(), "1 render /d/a.avi");
  EXPECT_EQ(window().Info(0).Caption(), "a.avi");
}

TEST_F(Preview, ResetDuringTheWaitIsHarmless) {
  const std::int16_t index = Finished("a.avi");
  Click(index);
  sim.RunFor(100);
  Do([&] { window().RunAction(MainWindow::kResetList); });
  ASSERT_EQ(program().DownloadCount, 0);
  sim.RunFor(2000);
  EXPECT_EQ(window().Info(0).Caption(), "a.avi");
}

TEST_F(Preview, QuittingDuringTheWaitLoadsNothing) {
  const std::int16_t index = Finished("a.avi");
  Click(index);
  Do([&] { app->SaveAndQuit(); });
  sim.RunFor(2000);
  EXPECT_EQ(sim.media().Graphs(), 0);
}

TEST_F(Preview, FoldedPaneLoadsNothing) {
  const std::int16_t index = Finished("a.avi");
  Do([&] { window().Command4.Click(); });
  ASSERT_FALSE(window().Picture1.Visible());
  ClickAndWait(index);
  EXPECT_EQ(sim.media().Graphs(), 0);
  EXPECT_EQ(window().Info(0).Caption(), "");
}

TEST_F(Preview, RightClickLoadsNothing) {
  const std::int16_t index = Finished("a.avi");
  Do([&] {
    Select(window().ListView2, index);
    window().ListView2.RightClick();
  });
  sim.RunFor(2000);
  EXPECT_EQ(sim.media().Graphs(), 0);
}

TEST_F(Preview, FillsTheInformationPaneAfterTheWait) {
  const std::int16_t index = Finished("a.bin");
  Click(index);
  EXPECT_EQ(window().Info(0).Caption(), "");
  sim.RunFor(600);
  EXPECT_EQ(window().Info(0).Caption(), "a.bin");
  EXPECT_EQ(window().Info(1).Caption(), "4 kb");
  EXPECT_EQ(window().Info(2).Caption(), "http://h/a.bin");
  EXPECT_EQ(window().Info(3).Caption(), "/d/a.bin");
  EXPECT_NE(window().Info(4).Caption(), "");
  EXPECT_EQ(window().Info(5).Caption(), "2 kb/s");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(window().InfoCaption(i).Caption(), Text(200 + i));
  EXPECT_EQ(window().InfoCaption(4).Caption(), Text(203));
}

TEST_F(Preview, InformationPaneFoldsWithTheSidePane) {
  Do([&] { window().TabStrip1.SelectByUser(1); });
  Do([&] { window().Command4.Click(); });
  EXPECT_FALSE(window().Details.Visible());
  Do([&] { window().Command4.Click(); });
  EXPECT_TRUE(window().Details.Visible());
}

TEST_F(Preview, SecondTabStopsThePlayback) {
  ClickAndWait(Finished("a.mp3"));
  Do([&] { window().Command2.Click(); });
  Do([&] { window().TabStrip1.SelectByUser(1); });
  ASSERT_FALSE(Calls().empty());
  EXPECT_EQ(Calls().back(), "1 stop");
  const std::size_t calls = Calls().size();
  Do([&] { window().TabStrip1.SelectByUser(0); });
  EXPECT_EQ(Calls().size(), calls);
}

TEST_F(Preview, EachTickReattachesTheSurfaceWithoutChange) {
  ClickAndWait(Finished("a.avi"));
  const int attachments = sim.media().Attachments();
  const auto changes = sim.windows().Record(window()).changesOf.at("Picture3");
  sim.RunFor(10'000);
  EXPECT_EQ(sim.media().Attachments(), attachments + 20);
  EXPECT_EQ(sim.windows().Record(window()).changesOf.at("Picture3"), changes);
}

TEST_F(Preview, ThousandClicksLeaveOneGraph) {
  const std::int16_t a = Finished("a.avi");
  const std::int16_t b = Finished("b.avi");
  sim.media().broken = {"/d/a.avi", "/d/b.avi"};
  for (int i = 0; i < 1000; ++i) {
    Click(i % 2 == 0 ? a : b);
    sim.RunFor(static_cast<std::uint64_t>(i) % 3 * 400);
    EXPECT_LE(sim.media().Living(), 1);
  }
  sim.RunFor(2000);
  EXPECT_EQ(sim.media().Living(), 1);
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(Preview, HintsFollowTheMouse) {
  window().Command2.MouseMoved();
  EXPECT_EQ(Panel(1), "Play the selected file.");
  window().Command3.MouseMoved();
  EXPECT_EQ(Panel(1), "Stop the playback of the media file");
  window().Picture3.MouseMoved();
  EXPECT_EQ(Panel(1), "Preview window, click on a media file to preview it.");
  window().Slider1.MouseMoved();
  EXPECT_EQ(Panel(1), "Change the volume of the playback.");
}

}  // namespace
}  // namespace pellora
