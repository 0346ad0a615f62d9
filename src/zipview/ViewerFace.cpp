#include "zipview/ViewerFace.h"

#include <algorithm>
#include <utility>

namespace pellora {

namespace {

// Pixels of the window's width beside the list.
constexpr int kListMargin = 10;
constexpr int kAroundList = 70;

}  // namespace

ViewerFace::ViewerFace(Platform& platform, std::string typeName)
    : Window(platform, std::move(typeName), "OnLine-Zip Viewer & Extractor") {
  Width = 760;
  Height = 520;
  Option2.Value = true;
  Option4.Value = true;
  Command1.ToolTipText = "Use the Pellora classic and extracts all the compressed files into a directory";
  Command2.ToolTipText = "Extract only some files from this ZIP to a directory";
  Command3.ToolTipText = "Use the classic Pellora interface to download the entire Zip";
  ListView1.OnColumnClick = [this](int column) { SortByColumn(column); };
  Option1.OnClick = [this] { ChooseView(false); };
  Option2.OnClick = [this] { ChooseView(true); };
  Option3.OnClick = [this] { ChooseDisplay(Option3, kListDisplay); };
  Option4.OnClick = [this] { ChooseDisplay(Option4, kReportDisplay); };
  Option5.OnClick = [this] { ChooseDisplay(Option5, kIconDisplay); };
  Option6.OnClick = [this] { ChooseDisplay(Option6, kSmallIconDisplay); };
  Command4.OnClick = [this] { GoToParent(); };
}

void ViewerFace::PrepareList() {
  ListView1.SetSorted(false);
  ListView1.View = kReportDisplay;
  ListView1.Select({});
}

void ViewerFace::Fill(std::vector<ListRow> rows) {
  PrepareList();
  ListView1.SetRows(std::move(rows));
  ListView1.SetSorted(true);
}

void ViewerFace::Fill(std::shared_ptr<const RowSource> rows) {
  PrepareList();
  ListView1.SetSource(std::move(rows));
  ListView1.SetSorted(true);
}

void ViewerFace::GoToParent() {
  const std::size_t slash = CurrentFolder.rfind('/');
  CurrentFolder.resize(slash == std::string::npos ? 0 : slash);
  ShowList();
}

void ViewerFace::SortByColumn(int column) {
  const bool flips = column == ListView1.SortKey();
  ListView1.SortBy(column, flips != ListView1.SortsDescending());
}

void ViewerFace::ChooseView(bool byFile) {
  Option1.Value = !byFile;
  Option2.Value = byFile;
  ShowList();
}

void ViewerFace::ChooseDisplay(const OptionButton& chosen, int display) {
  for (OptionButton* const option : {&Option3, &Option4, &Option5, &Option6}) option->Value = option == &chosen;
  ListView1.View = display;
}

void ViewerFace::OnResize() {
  ListView1.Width = std::max(0, InnerWidth() - kListMargin);
  ListView1.Height = std::max(0, InnerHeight() - kAroundList);
}

}  // namespace pellora
