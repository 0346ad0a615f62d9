#include "fetch/JournalCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <map>

#include "core/Percent.h"
#include "core/WebAddress.h"
#include "fetch/Crc32.h"

namespace pellora {

namespace {

constexpr std::size_t kCrcDigits = 8;
constexpr std::string_view kNextId = "next";

// Values

std::string Hex(std::uint64_t value, std::size_t digits) {
  std::string text(digits, '0');
  for (std::size_t i = digits; i-- > 0; value >>= 4U) text[i] = "0123456789abcdef"[value & 15U];
  return text;
}

std::string Encoded(std::string_view value) {
  std::string text;
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte == 0x7F || c == '%') {
      AppendPercent(text, c);
    } else {
      text += c;
    }
  }
  return text;
}

template <class Number>
bool Take(Number& number, std::string_view text, int base = 10) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size() && !text.starts_with('-');
}

bool TakeBits(std::uint64_t& bits, std::string_view text) { return text.size() == 16 && Take(bits, text, 16); }

bool TakeFlag(bool& flag, std::string_view text) {
  flag = true;
  return text == "1";
}

bool TakeText(std::string& out, std::string_view text) {
  out = PercentDecoded(text);
  return true;
}

// Of this computer, and with no NUL in it, which would end it earlier.
bool TakePath(std::string& out, std::string_view text) {
  out = PercentDecoded(text);
  return out.starts_with('/') && out.find('\0') == std::string::npos;
}

std::vector<std::string_view> PartsOf(std::string_view text) {
  std::vector<std::string_view> parts;
  while (true) {
    parts.push_back(text.substr(0, text.find(':')));
    if (parts.back().size() == text.size()) return parts;
    text.remove_prefix(parts.back().size() + 1);
  }
}

std::string IdentityText(const FileIdentity& identity) {
  return std::to_string(identity.device) + ":" + std::to_string(identity.inode);
}

bool TakeIdentity(FileIdentity& identity, std::string_view text) {
  const std::vector<std::string_view> parts = PartsOf(text);
  return parts.size() == 2 && Take(identity.device, parts[0]) && Take(identity.inode, parts[1]);
}

// A time before 1970 is held at 0: it only tells files apart.
std::string StateText(const FileState& state) {
  return IdentityText(state.identity) + ":" + std::to_string(state.length) + ":" +
         std::to_string(std::max<std::int64_t>(state.modified, 0));
}

bool TakeState(std::optional<FileState>& state, std::string_view text) {
  FileState& taken = state.emplace();
  const std::vector<std::string_view> parts = PartsOf(text);
  return parts.size() == 4 && Take(taken.identity.device, parts[0]) && Take(taken.identity.inode, parts[1]) &&
         Take(taken.length, parts[2]) && Take(taken.modified, parts[3]);
}

std::string RangesText(const IntervalSet& held) {
  std::string text;
  for (const Range& range : held.Ranges()) {
    if (!text.empty()) text += ',';
    text.append(std::to_string(range.begin)).append("-").append(std::to_string(range.end));
  }
  return text;
}

// In rising order and apart, as they are written, so that reading takes linear time.
bool TakeRanges(IntervalSet& held, std::string_view text) {
  std::vector<Range> ranges;
  while (true) {
    const std::string_view item = text.substr(0, text.find(','));
    const std::size_t dash = item.find('-');
    Range range;
    if (dash == std::string_view::npos || !Take(range.begin, item.substr(0, dash)) ||
        !Take(range.end, item.substr(dash + 1)))
      return false;
    if (range.end <= range.begin || (!ranges.empty() && range.begin <= ranges.back().end)) return false;
    ranges.push_back(range);
    if (item.size() == text.size()) break;
    text.remove_prefix(item.size() + 1);
  }
  held = IntervalSet(ranges);
  return true;
}

// A line for each mirror: "PRIORITY LOCATION ADDRESS FAULT", "-" for no location.
std::string MirrorsText(const std::vector<Mirror>& mirrors) {
  std::string text;
  for (const Mirror& mirror : mirrors) {
    text.append(std::to_string(mirror.priority)).append(" ").append(mirror.location.empty() ? "-" : mirror.location);
    text.append(" ").append(Encoded(WithoutPassword(mirror.url))).append(" ").append(Encoded(mirror.fault)) += '\n';
  }
  return text;
}

std::string_view NextWord(std::string_view& line) {
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(word.size() + 1, line.size()));
  return word;
}

bool TakeMirrors(std::vector<Mirror>& mirrors, const std::string& text) {
  std::string_view lines = text;
  while (!lines.empty() && mirrors.size() < kMostMirrors) {
    std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    Mirror& mirror = mirrors.emplace_back();
    if (!Take(mirror.priority, NextWord(line))) return false;
    mirror.location = NextWord(line);
    if (mirror.location == "-") mirror.location.clear();
    mirror.url = WithoutPassword(PercentDecoded(NextWord(line)));
    mirror.fault = PercentDecoded(NextWord(line));
  }
  return lines.empty();
}

constexpr std::array<std::string_view, 8> kStates = {"paused",   "waiting",  "active", "stopped",
                                                     "renaming", "finished", "gone",   "listed"};

bool TakeState(JournalState& state, std::string_view text) {
  const auto* const found = std::find(kStates.begin(), kStates.end(), text);
  state = found == kStates.end() ? JournalState::Paused : static_cast<JournalState>(found - kStates.begin());
  return true;
}

// Fields: an empty text of Put means that the line has none.

struct Field {
  std::string_view name;
  std::string (*put)(const JournalEntry&);
  bool (*take)(JournalEntry&, std::string_view);
};
using E = JournalEntry;
using Text = std::string_view;

std::string When(bool condition, std::string text) {
  if (!condition) text.clear();
  return text;
}
std::string Flag(bool flag) { return When(flag, "1"); }
std::string Known(std::int64_t number) { return When(number >= 0, std::to_string(number)); }
std::string Known(const std::optional<FileState>& state) {
  return When(state.has_value(), StateText(state.value_or(FileState())));
}

constexpr std::array kFields = {
    Field{"url", [](const E& e) { return Encoded(WithoutPassword(e.key.url)); },
          [](E& e, Text t) {
            e.key.url = WithoutPassword(PercentDecoded(t));
            return true;
          }},
    Field{"added", [](const E& e) { return Hex(e.key.addedBits, 16); },
          [](E& e, Text t) { return TakeBits(e.key.addedBits, t); }},
    Field{"id", [](const E& e) { return std::to_string(e.id); }, [](E& e, Text t) { return Take(e.id, t); }},
    Field{"state", [](const E& e) { return std::string(kStates.at(static_cast<std::size_t>(e.state))); },
          [](E& e, Text t) { return TakeState(e.state, t); }},
    Field{"reason", [](const E& e) { return Encoded(e.reason); }, [](E& e, Text t) { return TakeText(e.reason, t); }},
    Field{"path", [](const E& e) { return Encoded(e.path); }, [](E& e, Text t) { return TakePath(e.path, t); }},
    Field{"folder", [](const E& e) { return Encoded(e.folder); }, [](E& e, Text t) { return TakePath(e.folder, t); }},
    Field{"part", [](const E& e) { return Encoded(e.partPath); }, [](E& e, Text t) { return TakePath(e.partPath, t); }},
    Field{"partid", [](const E& e) { return When(!e.partPath.empty(), IdentityText(e.part)); },
          [](E& e, Text t) { return TakeIdentity(e.part, t); }},
    Field{"total", [](const E& e) { return Known(e.facts.total); },
          [](E& e, Text t) { return Take(e.facts.total, t); }},
    Field{"etag", [](const E& e) { return Encoded(e.facts.validator.etag); },
          [](E& e, Text t) { return TakeText(e.facts.validator.etag, t); }},
    Field{"weak", [](const E& e) { return Flag(e.facts.validator.weak); },
          [](E& e, Text t) { return TakeFlag(e.facts.validator.weak, t); }},
    Field{"modified", [](const E& e) { return Encoded(e.facts.validator.lastModified); },
          [](E& e, Text t) { return TakeText(e.facts.validator.lastModified, t); }},
    Field{"settled", [](const E& e) { return Flag(e.facts.validator.settled); },
          [](E& e, Text t) { return TakeFlag(e.facts.validator.settled, t); }},
    Field{"mtime", [](const E& e) { return Known(e.facts.modified); },
          [](E& e, Text t) { return Take(e.facts.modified, t); }},
    Field{"held", [](const E& e) { return RangesText(e.held); }, [](E& e, Text t) { return TakeRanges(e.held, t); }},
    Field{"cookies", [](const E& e) { return Flag(e.hadCookies); },
          [](E& e, Text t) { return TakeFlag(e.hadCookies, t); }},
    Field{"quiet", [](const E& e) { return Flag(e.quiet); }, [](E& e, Text t) { return TakeFlag(e.quiet, t); }},
    Field{"renamed", [](const E& e) { return Known(e.renamed); }, [](E& e, Text t) { return TakeState(e.renamed, t); }},
    Field{"replaces", [](const E& e) { return Known(e.replaces); },
          [](E& e, Text t) { return TakeState(e.replaces, t); }},
    Field{"oldpart", [](const E& e) { return Encoded(e.oldPartPath); },
          [](E& e, Text t) { return TakePath(e.oldPartPath, t); }},
    Field{"oldpartid", [](const E& e) { return When(!e.oldPartPath.empty(), IdentityText(e.oldPart)); },
          [](E& e, Text t) { return TakeIdentity(e.oldPart, t); }},
    // Earlier versions wrote the address itself.
    Field{"referrer", [](const E& e) { return Flag(e.hadPage); }, [](E& e, Text t) { return e.hadPage = !t.empty(); }},
    Field{"unsafe", [](const E& e) { return Flag(!e.hashesAreSafe); },
          [](E& e, Text t) {
            e.hashesAreSafe = false;
            return t == "1";
          }},
    Field{"size", [](const E& e) { return Known(e.size); }, [](E& e, Text t) { return Take(e.size, t); }},
    Field{"mirrors", [](const E& e) { return Encoded(MirrorsText(e.mirrors)); },
          [](E& e, Text t) { return TakeMirrors(e.mirrors, PercentDecoded(t)); }},
    Field{"from", [](const E& e) { return When(e.factsFrom > 0, std::to_string(e.factsFrom)); },
          [](E& e, Text t) { return Take(e.factsFrom, t); }},
    Field{"checksum", [](const E& e) { return e.checksum ? ChecksumText(*e.checksum) : std::string(); },
          [](E& e, Text t) { return (e.checksum = ParseChecksum(t)).has_value(); }},
    Field{"pieces", [](const E& e) { return e.pieces ? PiecesText(*e.pieces) : std::string(); },
          [](E& e, Text t) { return (e.pieces = ParsePieces(t)).has_value(); }},
    Field{"found", [](const E& e) { return e.foundChecksum ? ChecksumText(*e.foundChecksum) : std::string(); },
          [](E& e, Text t) { return (e.foundChecksum = ParseChecksum(t)).has_value(); }},
    Field{"limit", [](const E& e) { return When(e.speedLimit > 0, std::to_string(e.speedLimit)); },
          [](E& e, Text t) { return Take(e.speedLimit, t); }},
    Field{"startat",
          [](const E& e) {
            return When(e.startAt.has_value(), Hex(std::bit_cast<std::uint64_t>(e.startAt.value_or(0)), 16));
          },
          [](E& e, Text t) {
            std::uint64_t bits = 0;
            const bool taken = TakeBits(bits, t);
            e.startAt = std::bit_cast<double>(bits);
            return taken;
          }},
    Field{"place", [](const E& e) { return Known(e.queuePlace.value_or(-1)); },
          [](E& e, Text t) { return Take(e.queuePlace.emplace(), t); }},
};

// Lines

std::string Line(const std::string& fields) { return Hex(Crc32(fields), kCrcDigits) + fields + "\n"; }

void AppendField(std::string& fields, std::string_view name, const std::string& value) {
  if (!value.empty()) fields.append(" ").append(name).append("=").append(value);
}

// The fields of a line without line feed; nothing if its sum is wrong.
std::optional<std::string_view> FieldsOf(std::string_view line) {
  if (line.size() < kCrcDigits) return {};
  std::uint32_t crc = 0;
  const std::string_view fields = line.substr(kCrcDigits);
  if (!Take(crc, line.substr(0, kCrcDigits), 16) || crc != Crc32(fields)) return {};
  return fields;
}

// Cuts " name=value" off the front.
std::optional<std::pair<std::string_view, std::string_view>> NextField(std::string_view& fields) {
  if (!fields.starts_with(' ')) return {};
  fields.remove_prefix(1);
  const std::string_view field = fields.substr(0, fields.find(' '));
  fields.remove_prefix(field.size());
  const std::size_t equals = field.find('=');
  if (equals == std::string_view::npos || equals == 0) return {};
  return std::pair(field.substr(0, equals), field.substr(equals + 1));
}

bool TakeField(JournalEntry& entry, std::string_view name, std::string_view value) {
  const auto* const known =
      std::find_if(kFields.begin(), kFields.end(), [&](const Field& field) { return field.name == name; });
  if (known != kFields.end()) return known->take(entry, value);
  entry.others.emplace_back(name, value);
  return true;
}

// What no writer of this format writes.
bool IsSenseless(const JournalEntry& entry) {
  const std::vector<Range>& held = entry.held.Ranges();
  const bool beyond = !held.empty() && entry.facts.total >= 0 && held.back().end > entry.facts.total;
  return entry.key.url.empty() || beyond ||
         (entry.state == JournalState::Renaming && (!entry.renamed || entry.path.empty()));
}

std::optional<JournalEntry> EntryOf(std::string_view fields) {
  JournalEntry entry;
  while (!fields.empty()) {
    const auto field = NextField(fields);
    if (!field || !TakeField(entry, field->first, field->second)) return {};
  }
  if (IsSenseless(entry)) return {};
  if (entry.partPath.empty()) entry.part = {};
  if (entry.oldPartPath.empty()) entry.oldPart = {};
  return entry;
}

class Reader {
 public:
  void Take(std::string_view line) {
    const std::optional<std::string_view> fields = FieldsOf(line);
    if (!fields || !(TakeNextId(*fields) || TakeEntry(*fields))) ++reading_.badLines;
  }
  JournalReading Done(std::size_t wholeLength) {
    reading_.wholeLength = wholeLength;
    return std::move(reading_);
  }

 private:
  bool TakeNextId(std::string_view fields) {
    const auto field = NextField(fields);
    std::uint64_t next = 0;
    if (!field || field->first != kNextId || !pellora::Take(next, field->second)) return false;
    reading_.nextId = std::max(reading_.nextId, next);
    return true;
  }
  bool TakeEntry(std::string_view fields) {
    std::optional<JournalEntry> entry = EntryOf(fields);
    if (!entry || entry->id == std::numeric_limits<std::uint64_t>::max()) return false;
    reading_.nextId = std::max(reading_.nextId, entry->id + 1);
    const auto [place, fresh] = places_.try_emplace(entry->key, reading_.entries.size());
    if (fresh) {
      reading_.entries.push_back(std::move(*entry));
    } else {
      reading_.entries[place->second] = std::move(*entry);
    }
    return true;
  }

  JournalReading reading_;
  std::map<JournalKey, std::size_t> places_;
};

}  // namespace

JournalKey JournalKeyOf(std::string_view url, double dateAdded) {
  return {WithoutPassword(url), std::bit_cast<std::uint64_t>(dateAdded)};
}

std::string JournalLine(const JournalEntry& entry) {
  std::string fields;
  for (const Field& field : kFields) AppendField(fields, field.name, field.put(entry));
  for (const auto& [name, value] : entry.others) fields.append(" ").append(name).append("=").append(value);
  return Line(fields);
}

std::string NextIdLine(std::uint64_t nextId) {
  std::string fields;
  AppendField(fields, kNextId, std::to_string(nextId));
  return Line(fields);
}

std::string WholeJournal(std::span<const JournalEntry> entries, std::uint64_t nextId) {
  std::string text = NextIdLine(nextId);
  for (const JournalEntry& entry : entries) text += JournalLine(entry);
  return text;
}

JournalReading ReadJournal(std::string_view bytes) {
  Reader reader;
  std::size_t at = 0;
  while (true) {
    const std::size_t end = bytes.find('\n', at);
    if (end == std::string_view::npos) return reader.Done(at);
    reader.Take(bytes.substr(at, end - at));
    at = end + 1;
  }
}

}  // namespace pellora
