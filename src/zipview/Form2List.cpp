// The viewer's listing: what its options, buttons and rows do, all computed from Entries.
#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "lang/Format.h"
#include "ports/Locale.h"
#include "zipview/Form2.h"
#include "zipview/ZipListing.h"

namespace pellora {

namespace {

// Pixels of the window's width beside the list.
constexpr int kListMargin = 10;
constexpr int kAroundList = 70;

}  // namespace

// Switches to the report display whichever option is set; the options keep their values.
void Form2::ShowList() {
  ListView1.SetSorted(false);
  ListView1.View = kReportDisplay;
  ListView1.Select({});
  ZipListing listing = Option2.Value ? ListByFile(Entries, pictures_) : ListByFolder(Entries, pictures_, CurrentFolder);
  ListView1.SetRows(std::move(listing.rows));
  const std::string point = program_.platform.locale.DecimalSeparator();
  Label1.Caption = FormatSize(listing.normalTotal, program_.LangStrings, point) + " used by " +
                   std::to_string(listing.files) + " file(s)  (" +
                   FormatSize(listing.packedTotal, program_.LangStrings, point) + " packed.)";
  ListView1.SetSorted(true);
}

void Form2::EnterSelected() {
  if (ListView1.Selection().empty()) return;
  const std::string& key = ListView1.Rows()[ListView1.Selection().front()].key;
  std::size_t number = 0;
  std::from_chars(key.data() + 1, key.data() + key.size(), number);
  if (number >= Entries.size() || !Entries[number].IsDirectory) return;
  CurrentFolder = Entries[number].Name;
  CurrentFolder.pop_back();
  ShowList();
}

void Form2::GoToParent() {
  const std::size_t slash = CurrentFolder.rfind('/');
  CurrentFolder.resize(slash == std::string::npos ? 0 : slash);
  ShowList();
}

void Form2::SortByColumn(int column) {
  const bool flips = column == ListView1.SortKey();
  ListView1.SortBy(column, flips != ListView1.SortsDescending());
}

void Form2::ChooseView(bool byFile) {
  Option1.Value = !byFile;
  Option2.Value = byFile;
  ShowList();
}

void Form2::ChooseDisplay(const OptionButton& chosen, int display) {
  for (OptionButton* const option : {&Option3, &Option4, &Option5, &Option6}) option->Value = option == &chosen;
  ListView1.View = display;
}

void Form2::OnResize() {
  ListView1.Width = std::max(0, InnerWidth() - kListMargin);
  ListView1.Height = std::max(0, InnerHeight() - kAroundList);
}

}  // namespace pellora
