#include "fetch/SelectionCodec.h"

#include <algorithm>
#include <array>
#include <limits>

#include "core/Percent.h"
#include "fetch/FieldLines.h"

namespace pellora {

using namespace fields;

namespace {

using Text = std::string_view;
using E = SelectedEntry;

template <class Whole>
struct Field {
  Text name;
  std::string (*put)(const Whole&);
  bool (*take)(Whole&, Text);
};

std::string Flag(bool flag) { return flag ? "1" : ""; }
std::string Known(std::int64_t number) { return number >= 0 ? std::to_string(number) : ""; }

template <class Number>
std::string UnlessZero(Number number) {
  return number == 0 ? std::string() : std::to_string(number);
}

// The whole, and the number of its entries.
struct Head {
  Selection selection;
  std::size_t entries = 0;
};

constexpr std::array kHeadFields = {
    Field<Head>{"archive", [](const Head& h) { return Encoded(h.selection.archive); },
                [](Head& h, Text t) { return TakeText(h.selection.archive, t); }},
    Field<Head>{"folder", [](const Head& h) { return Encoded(h.selection.folder); },
                [](Head& h, Text t) { return TakePath(h.selection.folder, t); }},
    Field<Head>{"existing", [](const Head& h) { return std::to_string(static_cast<int>(h.selection.existing)); },
                [](Head& h, Text t) {
                  unsigned number = 0;
                  const bool taken = Take(number, t) && number <= static_cast<unsigned>(Existing::Keep);
                  if (taken) h.selection.existing = static_cast<Existing>(number);
                  return taken;
                }},
    Field<Head>{"total", [](const Head& h) { return Known(h.selection.facts.total); },
                [](Head& h, Text t) { return Take(h.selection.facts.total, t); }},
    Field<Head>{"etag", [](const Head& h) { return Encoded(h.selection.facts.validator.etag); },
                [](Head& h, Text t) { return TakeText(h.selection.facts.validator.etag, t); }},
    Field<Head>{"weak", [](const Head& h) { return Flag(h.selection.facts.validator.weak); },
                [](Head& h, Text t) { return TakeFlag(h.selection.facts.validator.weak, t); }},
    Field<Head>{"modified", [](const Head& h) { return Encoded(h.selection.facts.validator.lastModified); },
                [](Head& h, Text t) { return TakeText(h.selection.facts.validator.lastModified, t); }},
    Field<Head>{"settled", [](const Head& h) { return Flag(h.selection.facts.validator.settled); },
                [](Head& h, Text t) { return TakeFlag(h.selection.facts.validator.settled, t); }},
    Field<Head>{"mtime", [](const Head& h) { return Known(h.selection.facts.modified); },
                [](Head& h, Text t) { return Take(h.selection.facts.modified, t); }},
    Field<Head>{"entries", [](const Head& h) { return std::to_string(h.entries); },
                [](Head& h, Text t) { return Take(h.entries, t); }},
};

bool IsSafePart(Text part) { return !part.empty() && part != "." && part != ".." && part.find('\0') == Text::npos; }

std::string PathText(const std::vector<std::string>& path) {
  std::string text;
  for (const std::string& part : path) text.append(text.empty() ? "" : "/").append(part);
  return Encoded(text);
}

bool TakeParts(std::vector<std::string>& path, Text text) {
  const std::string whole = PercentDecoded(text);
  std::size_t at = 0;
  while (true) {
    const std::size_t end = std::min(whole.find('/', at), whole.size());
    path.emplace_back(whole, at, end - at);
    if (!IsSafePart(path.back())) return false;
    if (end == whole.size()) return true;
    at = end + 1;
  }
}

bool TakeRange(Range& range, Text text) {
  const std::vector<Text> parts = PartsOf(text);
  return parts.size() == 2 && Take(range.begin, parts[0]) && Take(range.end, parts[1]);
}

// Seconds before 1970 have a sign, which numbers of these lines have not.
std::string TimeText(const std::optional<std::int64_t>& time) {
  if (!time) return {};
  return *time < 0 ? "before:" + std::to_string(-(*time + 1)) : std::to_string(*time);
}

bool TakeTime(std::optional<std::int64_t>& time, Text text) {
  constexpr Text kBefore = "before:";
  const bool before = text.starts_with(kBefore);
  if (before) text.remove_prefix(kBefore.size());
  std::int64_t number = 0;
  if (!Take(number, text)) return false;
  time = before ? -number - 1 : number;
  return true;
}

constexpr std::array kEntryFields = {
    Field<E>{"path", [](const E& e) { return PathText(e.path); }, [](E& e, Text t) { return TakeParts(e.path, t); }},
    Field<E>{"raw", [](const E& e) { return Encoded(e.rawName); }, [](E& e, Text t) { return TakeText(e.rawName, t); }},
    Field<E>{"at", [](const E& e) { return std::to_string(e.range.begin) + ":" + std::to_string(e.range.end); },
             [](E& e, Text t) { return TakeRange(e.range, t); }},
    Field<E>{"reach", [](const E& e) { return std::to_string(e.reach); },
             [](E& e, Text t) { return Take(e.reach, t); }},
    Field<E>{"method", [](const E& e) { return UnlessZero(e.packed.method); },
             [](E& e, Text t) { return Take(e.packed.method, t); }},
    Field<E>{"flags", [](const E& e) { return UnlessZero(e.packed.flags); },
             [](E& e, Text t) { return Take(e.packed.flags, t); }},
    Field<E>{"time", [](const E& e) { return UnlessZero(e.packed.dosTime); },
             [](E& e, Text t) { return Take(e.packed.dosTime, t); }},
    Field<E>{"date", [](const E& e) { return UnlessZero(e.packed.dosDate); },
             [](E& e, Text t) { return Take(e.packed.dosDate, t); }},
    Field<E>{"crc", [](const E& e) { return Hex(e.packed.crc, 8); },
             [](E& e, Text t) { return Take(e.packed.crc, t, 16); }},
    Field<E>{"packed", [](const E& e) { return UnlessZero(e.packed.packed); },
             [](E& e, Text t) { return Take(e.packed.packed, t); }},
    Field<E>{"size", [](const E& e) { return UnlessZero(e.packed.size); },
             [](E& e, Text t) { return Take(e.packed.size, t); }},
    Field<E>{"aes", [](const E& e) { return Encoded(e.packed.aes); },
             [](E& e, Text t) { return TakeText(e.packed.aes, t); }},
    Field<E>{"modified", [](const E& e) { return TimeText(e.modified); },
             [](E& e, Text t) { return TakeTime(e.modified, t); }},
    Field<E>{"mode", [](const E& e) { return UnlessZero(e.mode); }, [](E& e, Text t) { return Take(e.mode, t); }},
    Field<E>{"isfolder", [](const E& e) { return Flag(e.isFolder); },
             [](E& e, Text t) { return TakeFlag(e.isFolder, t); }},
};

template <class Whole, std::size_t count>
std::string LineOf(const std::array<Field<Whole>, count>& known, const Whole& whole) {
  std::string text;
  for (const Field<Whole>& field : known) AppendField(text, field.name, field.put(whole));
  return Line(text);
}

template <class Whole, std::size_t count>
bool TakeLine(const std::array<Field<Whole>, count>& known, Whole& whole, Text line) {
  std::optional<Text> text = FieldsOf(line);
  if (!text) return false;
  while (!text->empty()) {
    const auto field = NextField(*text);
    if (!field) return false;
    const auto* const at =
        std::find_if(known.begin(), known.end(), [&](const Field<Whole>& one) { return one.name == field->first; });
    if (at == known.end() || !at->take(whole, field->second)) return false;
  }
  return true;
}

// `from`: where the entry before it ends.
bool IsSound(const SelectedEntry& entry, std::int64_t from, std::int64_t total) {
  const Range& range = entry.range;
  const bool needsNone = entry.isFolder ? range.begin == range.end : range == Range{};
  const bool hasBytes = needsNone || range.begin < range.end;
  return !entry.path.empty() && hasBytes && range.begin >= from && range.end <= entry.reach && entry.reach <= total;
}

std::optional<Text> NextLine(Text& text) {
  const std::size_t end = text.find('\n');
  if (end == Text::npos) return {};
  const Text line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

}  // namespace

std::string SelectionText(const Selection& selection) {
  Head head;
  head.selection.archive = selection.archive;
  head.selection.folder = selection.folder;
  head.selection.existing = selection.existing;
  head.selection.facts = selection.facts;
  head.entries = selection.entries.size();
  std::string text = LineOf(kHeadFields, head);
  for (const SelectedEntry& entry : selection.entries) text += LineOf(kEntryFields, entry);
  return text;
}

std::optional<Selection> ReadSelection(std::string_view text) {
  Head head;
  const std::optional<Text> first = NextLine(text);
  if (!first || !TakeLine(kHeadFields, head, *first)) return {};
  std::optional<Selection> result = std::move(head.selection);
  Selection& read = *result;
  if (read.folder.empty() || read.facts.total < 0 || head.entries == 0) return {};
  std::int64_t from = 0;
  while (const std::optional<Text> line = NextLine(text)) {
    SelectedEntry& entry = read.entries.emplace_back();
    if (!TakeLine(kEntryFields, entry, *line) || !IsSound(entry, from, read.facts.total)) return {};
    from = entry.range.end;
  }
  if (!text.empty() || read.entries.size() != head.entries) return {};
  return result;
}

}  // namespace pellora
