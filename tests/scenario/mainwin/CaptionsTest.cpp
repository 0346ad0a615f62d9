// Text numbers of controls: with the English file each shows its designed caption.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "MainWindowFixture.h"
#include "app/NewTransferWindow.h"
#include "capture/PelloraCatcher.h"
#include "core/Ascii.h"
#include "lang/Language.h"
#include "mainwin/AddList.h"
#include "mainwin/AskLine.h"
#include "mainwin/Form1.h"
#include "mainwin/WantDown.h"
#include "options/Options.h"
#include "transferwin/TransferWindow.h"
#include "ui/Controls.h"

namespace pellora {
namespace {

using Captions = MainWindowFixture;

using Shown = std::vector<std::pair<std::string, std::string>>;  // name and text

template <class Captioned>
void Note(Shown& shown, const Control& control) {
  const auto* const typed = dynamic_cast<const Captioned*>(&control);
  if (typed != nullptr) shown.emplace_back(control.Name, TrimTrailingBlanks(typed->Caption()));
}

void Note(Shown& shown, const Control& control, const std::vector<ControlPart>& parts) {
  for (const ControlPart& part : parts) shown.emplace_back(control.Name, TrimTrailingBlanks(part.caption));
}

// Without trailing blanks, which a file's text cannot have.
Shown ShownBy(const Window& window) {
  Shown shown{{window.TypeName, window.Caption()}};
  for (const Control* const control : window.Controls()) {
    Note<CommandButton>(shown, *control);
    Note<Label>(shown, *control);
    Note<Frame>(shown, *control);
    Note<OptionButton>(shown, *control);
    Note<CheckBox>(shown, *control);
    Note<Menu>(shown, *control);
    if (const auto* bar = dynamic_cast<const Toolbar*>(control)) Note(shown, *control, bar->Buttons());
    if (const auto* strip = dynamic_cast<const TabStrip*>(control)) Note(shown, *control, strip->Tabs());
    if (const auto* list = dynamic_cast<const ListView*>(control)) Note(shown, *control, list->Columns());
  }
  return shown;
}

TEST_F(Captions, MatchTheirDesignInEnglish) {
  LangStringArray texts;
  ReadLanguage(sim.disk().Get("/prog/english.txt"), texts);
  const std::vector<std::shared_ptr<Window>> windows = {
      std::make_shared<MainWindow>(program()), std::make_shared<Form1>(program()),
      std::make_shared<WantDown>(program()),   std::make_shared<AskLine>(program()),
      std::make_shared<AddList>(program()),    NewTransferWindow(program(), 0)};
  // Buttons of the hidden strip designed with other captions than the toolbar's of the same number.
  const std::set<std::string> toolbarWins = {"Command1(4)", "Command1(8)"};
  for (const std::shared_ptr<Window>& window : windows) {
    const Shown designed = ShownBy(*window);
    ApplyLanguage(*window, texts);
    const Shown english = ShownBy(*window);
    ASSERT_EQ(designed.size(), english.size());
    for (std::size_t i = 0; i < designed.size(); ++i) {
      if (window->TypeName == "MainWindow" && toolbarWins.count(designed[i].first) != 0) continue;
      EXPECT_EQ(designed[i], english[i]) << window->TypeName;
    }
  }
}

TEST_F(Captions, StayAsDesignedWithoutALanguageFile) {
  sim.disk().Lose("/prog/english.txt");
  const Shown designed = ShownBy(*std::make_shared<MainWindow>(program()));
  Start();
  EXPECT_EQ(ShownBy(window()), designed);
}

TEST_F(Captions, StayAsDesignedInEveryWindowThatLoadsWithoutALanguageFile) {
  sim.disk().Lose("/prog/english.txt");
  Start();
  const std::vector<std::shared_ptr<Window>> windows = {
      std::make_shared<Form1>(program()),   std::make_shared<WantDown>(program()),
      std::make_shared<AskLine>(program()), std::make_shared<options>(program()),
      std::make_shared<AddList>(program()), std::make_shared<PelloraCatcher>(program(), nullptr),
      NewTransferWindow(program(), 0)};
  for (const std::shared_ptr<Window>& window : windows) {
    const Shown designed = ShownBy(*window);
    Do([&] { window->Load(); });
    EXPECT_EQ(ShownBy(*window), designed) << window->TypeName;
    window->Abandon();
  }
}

TEST_F(Captions, StayAsDesignedOnTheDetailsButtonWithoutALanguageFile) {
  sim.disk().Lose("/prog/english.txt");
  Start();
  const auto transfer = NewTransferWindow(program(), 0);
  for (int click = 0; click < 2; ++click) {
    Do([&] { transfer->Command4.Click(); });
    EXPECT_EQ(transfer->Command4.Caption(), "Hide Details");
  }
}

TEST_F(Captions, FollowALanguageFileReadLater) {
  sim.disk().Lose("/prog/english.txt");
  Start();
  sim.disk().Put("/prog/english.txt", "696=Go\n");
  LoadLanguage(program(), "english");
  Do([&] { window().form1->Load(); });
  EXPECT_EQ(window().form1->Command1.Caption(), "Go");
  EXPECT_EQ(window().form1->Command2.Caption(), "");  // missing in that file
}

}  // namespace
}  // namespace pellora
