#include "core/Metalink.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <set>
#include <utility>

#include "core/Ascii.h"
#include "core/HarmlessName.h"
#include "core/Percent.h"
#include "core/TextPieces.h"
#include "core/WebAddress.h"
#include "core/Xml.h"

namespace pellora {

namespace {

constexpr std::string_view kNamespace = "urn:ietf:params:xml:ns:metalink ";

// Digits and nothing else.
std::optional<std::int64_t> NumberIn(std::string_view text) {
  std::int64_t number = 0;
  const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
  if (!digits || std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) return {};
  return number;
}

std::string_view ValueOf(const std::vector<XmlAttribute>& attributes, std::string_view name) {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const XmlAttribute& attribute) { return attribute.name == name; });
  return found == attributes.end() ? std::string_view() : Trimmed(found->value, kBlanksAndEnds);
}

std::string LocationOf(std::string_view text) {
  const auto isLetter = [](char c) { return ToLower(c) >= 'a' && ToLower(c) <= 'z'; };
  return text.size() == 2 && isLetter(text[0]) && isLetter(text[1]) ? ToLower(text) : std::string();
}

// The document's elements from the root: which of them are read depends on where they are.
enum class Place : std::uint8_t { Outside, Root, File, Size, Hash, Pieces, PieceHash, Url, Ignored };

struct Step {
  Place from;
  std::string_view name;
  Place to;
};
constexpr std::array kSteps = {
    Step{Place::Outside, "metalink", Place::Root}, Step{Place::Root, "file", Place::File},
    Step{Place::File, "size", Place::Size},        Step{Place::File, "hash", Place::Hash},
    Step{Place::File, "pieces", Place::Pieces},    Step{Place::Pieces, "hash", Place::PieceHash},
    Step{Place::File, "url", Place::Url}};

Place PlaceOf(Place from, std::string_view name) {
  if (!name.starts_with(kNamespace)) return Place::Ignored;
  name.remove_prefix(kNamespace.size());
  const auto* const step =
      std::find_if(kSteps.begin(), kSteps.end(), [&](const Step& row) { return row.from == from && row.name == name; });
  return step == kSteps.end() ? Place::Ignored : step->to;
}

// "md5", "sha-1", ...; nothing for other kinds. The kind is known by its number of digits alone.
std::optional<Checksum> HashOf(std::string_view type, std::string_view digits) {
  if (type.empty() || Trimmed(digits, kBlanksAndEnds).find_first_of(":=") != std::string_view::npos) return {};
  return ParseChecksum(std::string(type) + ":" + std::string(digits));
}

struct PieceList {
  std::string type;
  PieceHashes pieces;
  bool sound = true;  // all of one known kind
};

// A file while its element is open.
struct Draft {
  std::string name;
  std::optional<std::int64_t> size;
  std::map<ChecksumKind, Checksum> checksums;
  std::map<ChecksumKind, PieceHashes> pieces;
  std::vector<Mirror> mirrors;
  std::set<std::string> addresses;
};

class Reader final : private XmlEvents {
 public:
  std::optional<std::vector<MetalinkFile>> Read(std::string_view bytes) {
    if (bytes.size() > kLongestMetalink || !ReadXml(bytes, *this) || !isMetalink_) return {};
    return std::move(files_);
  }

 private:
  void Begins(std::string_view name, const std::vector<XmlAttribute>& attributes) override {
    places_.push_back(PlaceOf(places_.empty() ? Place::Outside : places_.back(), name));
    switch (places_.back()) {
      case Place::Root:
        isMetalink_ = true;
        break;
      case Place::File:
        file_ = {};
        file_.name = HarmlessName(WithoutFolders(ValueOf(attributes, "name")));
        break;
      case Place::Hash:
        type_ = ValueOf(attributes, "type");
        break;
      case Place::Pieces:
        pieces_ = {};
        pieces_.type = ValueOf(attributes, "type");
        pieces_.pieces.length = NumberIn(ValueOf(attributes, "length")).value_or(0);
        break;
      case Place::Url: {
        const std::int64_t priority = NumberIn(ValueOf(attributes, "priority")).value_or(0);
        mirror_ = {};
        if (priority >= 1 && priority < kLastPriority) mirror_.priority = static_cast<int>(priority);
        mirror_.location = LocationOf(ValueOf(attributes, "location"));
        break;
      }
      default:
        break;
    }
  }

  void Ends(std::string_view, const std::string& text) override {
    switch (std::exchange(places_.back(), Place::Ignored)) {
      case Place::Size:
        if (!file_.size) file_.size = NumberIn(Trimmed(text, kBlanksAndEnds));
        break;
      case Place::Hash:
        if (const std::optional<Checksum> hash = HashOf(type_, text)) file_.checksums.try_emplace(hash->kind, *hash);
        break;
      case Place::PieceHash:
        TakePiece(text);
        break;
      case Place::Pieces:
        if (pieces_.sound) file_.pieces.try_emplace(pieces_.pieces.kind, std::move(pieces_.pieces));
        break;
      case Place::Url:
        TakeMirror(Trimmed(text, kBlanksAndEnds));
        break;
      case Place::File:
        TakeFile();
        break;
      default:
        break;
    }
    places_.pop_back();
  }

  void TakePiece(std::string_view text) {
    std::optional<Checksum> hash = HashOf(pieces_.type, text);
    PieceHashes& pieces = pieces_.pieces;
    pieces_.sound &= hash && (pieces.hex.empty() || hash->kind == pieces.kind);
    if (!pieces_.sound) return;
    pieces.kind = hash->kind;
    pieces.hex.push_back(std::move(hash->hex));
  }

  void TakeMirror(std::string_view text) {
    const std::optional<WebAddress> address = ParseWebAddress(text);
    if (!address || text.size() > kLongestMirror ||
        !file_.addresses.insert(address->user + "@" + WireUrl(*address)).second)
      return;
    mirror_.url = WithoutPassword(text);
    file_.mirrors.push_back(std::move(mirror_));
  }

  void TakeFile() {
    if (file_.mirrors.empty() || files_.size() == kMostMetalinkFiles) return;
    MetalinkFile& file = files_.emplace_back();
    file.size = file_.size.value_or(-1);
    for (auto row = file_.checksums.rbegin(); row != file_.checksums.rend(); ++row) {
      file.checksums.push_back(std::move(row->second));
    }
    for (auto row = file_.pieces.rbegin(); row != file_.pieces.rend() && !file.pieces; ++row) {
      if (AreOfFile(row->second, file.size)) file.pieces = std::move(row->second);
    }
    file.mirrors = std::move(file_.mirrors);
    std::stable_sort(file.mirrors.begin(), file.mirrors.end(),
                     [](const Mirror& a, const Mirror& b) { return a.priority < b.priority; });
    if (file.mirrors.size() > kMostMirrors) file.mirrors.resize(kMostMirrors);
    file.name = file_.name.empty() ? NameFrom(file.mirrors.front()) : std::move(file_.name);
    if (file.name.empty()) files_.pop_back();
  }

  static std::string NameFrom(const Mirror& mirror) {
    const std::optional<WebAddress> address = ParseWebAddress(mirror.url);
    return address ? HarmlessName(PercentDecoded(LastPathPart(*address))) : std::string();
  }

  std::vector<Place> places_;  // of the open elements
  bool isMetalink_ = false;
  std::vector<MetalinkFile> files_;
  Draft file_;
  std::string type_;
  PieceList pieces_;
  Mirror mirror_;
};

}  // namespace

std::optional<std::vector<MetalinkFile>> ReadMetalink(std::string_view bytes) { return Reader().Read(bytes); }

bool LooksLikeMetalink(std::string_view bytes) {
  constexpr std::size_t kRootIsWithin = 4096;  // bytes
  bytes = Trimmed(WithoutByteOrderMark(bytes).substr(0, kRootIsWithin), kBlanksAndEnds);
  return bytes.starts_with('<') && bytes.find("<metalink") != std::string_view::npos;
}

bool NamesMetalink(std::string_view url) {
  const std::optional<WebAddress> address = ParseWebAddress(url);
  return address && EndsWithNoCase(PercentDecoded(LastPathPart(*address)), ".meta4");
}

MetalinkAdd AddOf(const MetalinkFile& file, bool safe) {
  MetalinkAdd made{file.mirrors.front().url, file.name, {}};
  if (!file.checksums.empty()) made.add.checksum = file.checksums.front();
  made.add.size = file.size;
  made.add.pieces = file.pieces;
  made.add.mirrors.assign(file.mirrors.begin() + 1, file.mirrors.end());
  made.add.hashesAreSafe = safe;
  return made;
}

}  // namespace pellora
