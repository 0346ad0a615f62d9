#include <algorithm>
#include <set>
#include <string>

#include "Oracle.h"
#include "Targets.h"
#include "core/HarmlessName.h"

namespace pellora {

namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '&' || c == '<' || c == '>' || c == '"') {
      escaped.append("&#").append(std::to_string(static_cast<int>(c))) += ';';
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Hash(const Checksum& checksum) {
  return "<hash type=\"" + std::string(NameOf(checksum.kind)) + "\">" + checksum.hex + "</hash>";
}

// The document that lists just these files.
std::string Written(const std::vector<MetalinkFile>& files) {
  std::string text = "<metalink xmlns=\"urn:ietf:params:xml:ns:metalink\">";
  for (const MetalinkFile& file : files) {
    text += "<file name=\"" + Escaped(file.name) + "\">";
    if (file.size >= 0) text += "<size>" + std::to_string(file.size) + "</size>";
    for (const Checksum& checksum : file.checksums) text += Hash(checksum);
    if (file.pieces) {
      text += "<pieces type=\"" + std::string(NameOf(file.pieces->kind)) + "\" length=\"" +
              std::to_string(file.pieces->length) + "\">";
      for (const std::string& hex : file.pieces->hex) text += "<hash>" + hex + "</hash>";
      text += "</pieces>";
    }
    for (const Mirror& mirror : file.mirrors) {
      text += "<url priority=\"" + std::to_string(mirror.priority) + "\" location=\"" + mirror.location + "\">" +
              Escaped(mirror.url) + "</url>";
    }
    text += "</file>";
  }
  return text + "</metalink>";
}

void DemandMirrors(const std::vector<Mirror>& mirrors) {
  Demand(!mirrors.empty() && mirrors.size() <= kMostMirrors, "a file has mirrors, and not too many");
  std::set<std::string> addresses;
  int last = 1;
  for (const Mirror& mirror : mirrors) {
    const std::optional<WebAddress> address = ParseWebAddress(mirror.url);
    Demand(address && address->password.empty(), "a mirror is an address without a password");
    Demand(addresses.insert(address->user + "@" + WireUrl(*address)).second, "no mirror is listed twice");
    Demand(mirror.priority >= last && mirror.priority <= kLastPriority, "mirrors are in the order of their priority");
    last = mirror.priority;
  }
}

void DemandFile(const MetalinkFile& file) {
  Demand(!file.name.empty() && HarmlessName(file.name) == file.name, "a name is harmless");
  Demand(file.name.find_first_of("/\\") == std::string::npos, "a name has no folders");
  Demand(file.size >= -1, "a size is known or not");
  Demand(!file.pieces || AreOfFile(*file.pieces, file.size), "pieces cover the file");
  for (std::size_t i = 0; i < file.checksums.size(); ++i) {
    Demand(ParseChecksum(ChecksumText(file.checksums[i])) == file.checksums[i], "a checksum has its kind's length");
    Demand(i == 0 || file.checksums[i].kind < file.checksums[i - 1].kind, "the strongest checksum is the first");
  }
  DemandMirrors(file.mirrors);
}

bool Same(const MetalinkFile& a, const MetalinkFile& b) {
  return a.name == b.name && a.size == b.size && a.checksums == b.checksums && a.pieces == b.pieces &&
         a.mirrors == b.mirrors;
}

}  // namespace

void FuzzMetalink(std::string_view bytes, const MetalinkReader& read) {
  const AllocationMeter meter;
  const std::optional<std::vector<MetalinkFile>> files = read(bytes);
  Demand(meter.Bytes() <= 2048 * bytes.size() + 262144, "a document takes memory in proportion to its length");
  if (!files) return;
  for (const MetalinkFile& file : *files) DemandFile(file);
  const std::optional<std::vector<MetalinkFile>> again = read(Written(*files));
  Demand(again && std::equal(files->begin(), files->end(), again->begin(), again->end(), Same),
         "files written down are read as they were");
  const std::size_t type = bytes.find("<!DOCTYPE");
  const bool isOne = type != std::string_view::npos && bytes.find("<!") == type && bytes.find("<?", 1) > type;
  Demand(!isOne, "no document type is taken");
}

}  // namespace pellora
