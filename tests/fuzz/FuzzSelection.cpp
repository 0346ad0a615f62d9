#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

void DemandSafePath(const std::vector<std::string>& path) {
  Demand(!path.empty(), "an entry has a path");
  for (const std::string& part : path) {
    Demand(!part.empty() && part != "." && part != "..", "a path leads nowhere but down");
    Demand(part.find('/') == std::string::npos && part.find('\0') == std::string::npos, "its parts are names");
  }
}

void DemandSelection(const Selection& selection) {
  Demand(selection.folder.starts_with('/') && selection.folder.find('\0') == std::string::npos, "a folder is absolute");
  Demand(selection.facts.total >= 0 && !selection.entries.empty(), "there is an archive, and something chosen of it");
  Demand(selection.existing <= Existing::Keep, "what becomes of existing files is known");
  std::int64_t end = 0;
  for (const SelectedEntry& entry : selection.entries) {
    DemandSafePath(entry.path);
    Demand(entry.packed.password.empty(), "no password is kept");
    const bool isEmpty = entry.range.begin == entry.range.end;
    Demand(entry.range.begin >= end && entry.range.end >= entry.range.begin, "entries are apart and in order");
    Demand(!isEmpty || entry.isFolder || entry.range.end == 0, "a file has bytes, or was unpacked before");
    Demand(entry.range.end <= entry.reach && entry.reach <= selection.facts.total, "entries lie in the archive");
    end = entry.range.end;
  }
}

}  // namespace

void FuzzSelection(std::string_view bytes, const SelectionReader& read) {
  Choices choices(bytes);
  const bool summed = choices.Byte() % 2 == 1;
  const std::string text = summed ? WithLineSums(std::string(choices.Rest())) : std::string(choices.Rest());
  const AllocationMeter meter;
  const std::optional<Selection> selection = read(text);
  Demand(meter.Bytes() <= 256 * text.size() + 16384, "a selection takes memory in proportion to its length");
  if (!selection) return;
  DemandSelection(*selection);
  const std::string written = SelectionText(*selection);
  Demand(read(written) == selection, "what was written is read as it was");
  Demand(SelectionText(*read(written)) == written, "and written again as it was");
  Demand(!read(written + "x") && !read(written.substr(0, written.size() - 1)), "it is whole");
}

}  // namespace pellora
