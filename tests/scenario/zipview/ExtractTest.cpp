#include "ZipFixture.h"
#include "zipview/Extract.h"

namespace pellora {
namespace {

class ExtractDialog : public ZipFixture {
 protected:
  ExtractDialog() : dialog(std::make_shared<Extract>(program, &folders)) {
    program.settings.DownloadFolder = "/home/u/";
    sim.Do([&] { dialog->Show(); });
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const ListRow& row : dialog->Dir1.Rows()) names.push_back(row.text);
    return names;
  }
  void Enter(std::size_t row) {
    sim.Do([&] { dialog->Dir1.SelectByUser({row}); });
    sim.Do([&] { dialog->Dir1.DoubleClick(); });
  }
  void Drive(int index) {
    sim.Do([&] { dialog->Drive1.ChooseByUser(index); });
  }

  std::shared_ptr<Extract> dialog;
};

TEST_F(ExtractDialog, StartsInTheDownloadsFolder) {
  EXPECT_TRUE(dialog->Visible());
  EXPECT_EQ(dialog->Path(), "/home/u");
  EXPECT_EQ(dialog->Drive1.Text(), "/");
  EXPECT_EQ(dialog->Dir1.Columns().at(0).caption, "/home/u");
  EXPECT_EQ(Names(), (std::vector<std::string>{".."}));
}

TEST_F(ExtractDialog, ShowsItsDesignedTexts) {
  EXPECT_EQ(dialog->FileCount.Caption(), "0 files to be extracted");
  EXPECT_EQ(dialog->FileCount.Name, "Extract");
  EXPECT_EQ(dialog->Combo1.Text(), "Combo1");
  EXPECT_TRUE(dialog->Combo1.Items().empty());
  EXPECT_EQ(dialog->Label1.Caption(), "Extraction directory :");
  EXPECT_EQ(dialog->Check3.Caption(), "Delete the zip file after extraction");
}

TEST_F(ExtractDialog, NavigatesFolders) {
  Enter(0);
  EXPECT_EQ(dialog->Path(), "/home");
  Enter(0);
  EXPECT_EQ(dialog->Path(), "/");
  EXPECT_EQ(Names(), (std::vector<std::string>{"home", "media"}));
  Enter(0);
  EXPECT_EQ(dialog->Path(), "/home");
  EXPECT_EQ(Names(), (std::vector<std::string>{"..", "u"}));
}

TEST_F(ExtractDialog, ReportsADriveWithoutAMediumAndKeepsTheFolder) {
  Drive(1);
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  EXPECT_EQ(sim.dialogs().Next().text, "Peripherical not available");
  EXPECT_EQ(sim.dialogs().Next().style, kOkOnly);
  EXPECT_EQ(dialog->Path(), "/home/u");
  Drive(1);
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);  // it is open already
  Answer(kAnswerOk);
  Drive(0);
  EXPECT_EQ(dialog->Path(), "/");
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
}

TEST_F(ExtractDialog, ReportsAMissingFolder) {
  Enter(0);
  Enter(0);
  Enter(1);
  EXPECT_EQ(dialog->Path(), "/");
  ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
  EXPECT_EQ(sim.dialogs().Next().text, "Peripherical not available");
}

TEST_F(ExtractDialog, ExtractHidesItWithoutFetchingOrWriting) {
  const std::uint64_t calls = sim.disk().Calls();
  sim.Do([&] { dialog->Command1.Click(); });
  EXPECT_FALSE(dialog->Visible());
  EXPECT_TRUE(dialog->DialogClosed);
  EXPECT_EQ(dialog->DialogResult, 1);
  EXPECT_EQ(dialog->TargetFolder, "/home/u");
  sim.RunFor(60'000);
  EXPECT_EQ(sim.disk().Calls(), calls);
  EXPECT_TRUE(sim.network().Log().empty());
}

TEST_F(ExtractDialog, CancelAndFrameCloseItWithoutAResult) {
  sim.Do([&] { dialog->Command2.Click(); });
  EXPECT_FALSE(dialog->Visible());
  EXPECT_TRUE(dialog->DialogClosed);
  EXPECT_EQ(dialog->DialogResult, 0);

  const auto other = std::make_shared<Extract>(program, &folders);
  sim.Do([&] { other->Show(); });
  sim.Do([&] { other->ViewClosed(); });
  EXPECT_FALSE(other->Visible());
  EXPECT_TRUE(other->DialogClosed);
  EXPECT_EQ(other->DialogResult, 0);
  EXPECT_EQ(other->TargetFolder, "");
}

TEST_F(ExtractDialog, StartsOnTheFirstReadableDriveWithoutADownloadsFolder) {
  program.settings.DownloadFolder = "/gone/";
  folders.drives = {"/media/disk", "/home"};
  const auto other = std::make_shared<Extract>(program, &folders);
  sim.Do([&] { other->Show(); });
  EXPECT_EQ(other->Path(), "/home");
  EXPECT_EQ(other->Drive1.Index(), 1);
}

TEST_F(ExtractDialog, OffersNothingWithoutFolders) {
  const auto other = std::make_shared<Extract>(program, nullptr);
  sim.Do([&] { other->Show(); });
  EXPECT_EQ(other->Path(), "");
  sim.Do([&] { other->Command1.Click(); });
  EXPECT_EQ(other->DialogResult, 1);
}

}  // namespace
}  // namespace pellora
