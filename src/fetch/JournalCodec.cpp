#include "fetch/JournalCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <map>

#include "core/HarmlessName.h"
#include "core/Percent.h"
#include "core/WebAddress.h"
#include "fetch/FieldLines.h"

namespace pellora {

using namespace fields;

namespace {

constexpr std::string_view kNextId = "next";

// Values

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

// Of a file in a folder that is known.
bool IsPlainName(std::string_view name) {
  return !name.empty() && !name.starts_with('.') && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

// What it names is written to and deleted: nothing but a part file.
bool TakePart(std::string& out, std::string_view text) { return TakePath(out, text) && IsPartName(out); }

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
    Field{"part", [](const E& e) { return Encoded(e.partPath); }, [](E& e, Text t) { return TakePart(e.partPath, t); }},
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
    Field{"undecided", [](const E& e) { return Flag(e.undecided); },
          [](E& e, Text t) { return TakeFlag(e.undecided, t); }},
    Field{"ofmetalink", [](const E& e) { return Flag(e.ofMetalink); },
          [](E& e, Text t) { return TakeFlag(e.ofMetalink, t); }},
    Field{"renamed", [](const E& e) { return Known(e.renamed); }, [](E& e, Text t) { return TakeState(e.renamed, t); }},
    Field{"replaces", [](const E& e) { return Known(e.replaces); },
          [](E& e, Text t) { return TakeState(e.replaces, t); }},
    Field{"oldpart", [](const E& e) { return Encoded(e.oldPartPath); },
          [](E& e, Text t) { return TakePart(e.oldPartPath, t); }},
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
    Field{"piecesfound", [](const E& e) { return Flag(e.piecesWereFound); },
          [](E& e, Text t) {
            e.piecesWereFound = true;
            return t == "1";
          }},
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
    Field{"title", [](const E& e) { return Encoded(e.title); }, [](E& e, Text t) { return TakeText(e.title, t); }},
    Field{"selection", [](const E& e) { return Encoded(e.selection); },
          [](E& e, Text t) { return TakeText(e.selection, t) && IsPlainName(e.selection); }},
    Field{"tofetch", [](const E& e) { return Known(e.toFetch); }, [](E& e, Text t) { return Take(e.toFetch, t); }},
    Field{"unpacked", [](const E& e) { return RangesText(e.unpacked); },
          [](E& e, Text t) { return TakeRanges(e.unpacked, t); }},
    Field{"begun", [](const E& e) { return RangesText(e.begun); }, [](E& e, Text t) { return TakeRanges(e.begun, t); }},
    Field{"place", [](const E& e) { return Known(e.queuePlace.value_or(-1)); },
          [](E& e, Text t) { return Take(e.queuePlace.emplace(), t); }},
};

// Lines

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
    if (!field || field->first != kNextId || !fields::Take(next, field->second)) return false;
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
