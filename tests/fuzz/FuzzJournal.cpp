#include <algorithm>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

void DemandEntry(const JournalEntry& entry, std::uint64_t nextId) {
  Demand(!entry.key.url.empty() && WithoutPassword(entry.key.url) == entry.key.url, "an address has no password");
  Demand(entry.id < nextId, "no id is given again");
  for (const std::string& path : {entry.path, entry.partPath, entry.oldPartPath}) {
    Demand(path.empty() || (path.front() == '/' && path.find('\0') == std::string::npos), "paths are absolute");
  }
  const std::vector<Range>& held = entry.held.Ranges();
  Demand(held.empty() || entry.facts.total < 0 || held.back().end <= entry.facts.total,
         "nothing is held beyond the end");
  std::int64_t last = -1;
  for (const Range& range : held) {
    Demand(range.begin > last && range.begin < range.end, "what is held is in order");
    last = range.end;
  }
}

}  // namespace

void FuzzJournal(std::string_view bytes, const std::function<JournalReading(std::string_view)>& read) {
  Choices choices(bytes);
  const bool summed = choices.Byte() % 2 == 1;
  const std::string text = summed ? WithLineSums(std::string(choices.Rest())) : std::string(choices.Rest());
  const AllocationMeter meter;
  const JournalReading reading = read(text);
  Demand(meter.Bytes() <= 256 * text.size() + 16384, "a journal takes memory in proportion to its length");

  for (const JournalEntry& entry : reading.entries) DemandEntry(entry, reading.nextId);
  for (std::size_t i = 1; i < reading.entries.size(); ++i) {
    Demand(reading.entries[i].key != reading.entries[i - 1].key, "a download has one entry");
  }
  const std::string whole = text.substr(0, reading.wholeLength);
  Demand(text.find('\n', reading.wholeLength) == std::string::npos && (whole.empty() || whole.back() == '\n'),
         "a torn tail is without line feed");

  // What was rewritten is read as it was, and what is torn or senseless changes nothing.
  const JournalReading again = read(WholeJournal(reading.entries, reading.nextId));
  Demand(again.entries == reading.entries && again.nextId == reading.nextId && again.badLines == 0,
         "a journal that was rewritten is read as it was");
  Demand(read("torn\n" + whole + "half a line").entries == reading.entries, "bad lines change nothing");
  JournalEntry added;
  added.key = JournalKeyOf("https://site/added", 1);
  added.id = 1;
  added.held = IntervalSet({{3, 7}});
  const JournalReading more = read(whole + JournalLine(added));
  const auto found = std::find(more.entries.begin(), more.entries.end(), added);
  Demand(found != more.entries.end() && more.badLines == reading.badLines, "a line is read after whatever came before");
}

}  // namespace pellora
