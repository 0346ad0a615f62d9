// The viewer's listing: what its options, buttons and rows do, all computed from Entries.
#include <charconv>
#include <string>
#include <utility>

#include "lang/Format.h"
#include "ports/Locale.h"
#include "zipview/Form2.h"
#include "zipview/ZipListing.h"

namespace pellora {

void Form2::ShowList() {
  ZipListing listing = Option2.Value ? ListByFile(Entries, pictures_) : ListByFolder(Entries, pictures_, CurrentFolder);
  const std::string point = program_.platform.locale.DecimalSeparator();
  Label1.Caption = FormatSize(listing.normalTotal, program_.LangStrings, point) + " used by " +
                   std::to_string(listing.files) + " file(s)  (" +
                   FormatSize(listing.packedTotal, program_.LangStrings, point) + " packed.)";
  Fill(std::move(listing.rows));
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

}  // namespace pellora
