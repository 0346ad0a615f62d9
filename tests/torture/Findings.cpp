#include "Findings.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

namespace pellora {

namespace {

constexpr std::string_view kOwnFolder = "tests/torture";
constexpr std::string_view kThrows = "src/ports/Failure.";  // a part of every attempt, and never its cause

std::string Hex(std::uintptr_t number) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%lx", static_cast<unsigned long>(number));
  return text.data();
}

// "a(b, c) [clone .cold]" becomes "a".
std::string Short(const std::string& function) { return function.substr(0, function.find('(')); }

}  // namespace

// The part from the last "src/<layer>/" or "tests/" on; the build gives the layers.
std::string Places::Ours(const std::string& given) const {
  const std::string path = std::filesystem::path(given).lexically_normal();  // "tests/sim/../peer/X.h"
  constexpr std::array kOurs{PELLORA_FOLDERS, "tests/"};
  for (const char* const folder : kOurs) {
    const std::size_t at = path.rfind(std::string("/") + folder);
    if (at != std::string::npos) return path.substr(at + 1);
  }
  return {};
}

Whose Places::OwnerOf(const std::string& file) const {
  if (!program_.empty() && file.starts_with(program_)) return Whose::Program;
  if (file.starts_with("tests/sim/") && !file.ends_with("Test.cpp")) return Whose::Simulator;
  return file.starts_with("tests/") ? Whose::Test : Whose::Program;
}

void Places::Look(const Stack& stack) {
  std::string command = "addr2line -a -i -f -C -e /proc/" + std::to_string(getpid()) + "/exe";
  bool missing = false;
  for (const std::uintptr_t at : stack) {
    if (at == 0 || lines_.contains(at)) continue;
    lines_[at];
    command += " " + Hex(at);
    missing = true;
  }
  if (!missing) return;
  FILE* const pipe = popen(command.c_str(), "r");
  if (!pipe) return;
  std::array<char, 8192> buffer{};
  std::uintptr_t at = 0;
  std::string function;
  while (std::fgets(buffer.data(), buffer.size(), pipe)) {
    std::string text(buffer.data());
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.starts_with("0x")) {
      at = std::stoull(text, nullptr, 16);
      function.clear();
    } else if (function.empty()) {
      function = text;
    } else {
      const std::size_t colon = text.rfind(':');
      const std::size_t blank = text.find(' ', colon);
      lines_[at].push_back({Short(function), Ours(text.substr(0, colon)), text.substr(colon + 1, blank - colon - 1)});
      function.clear();
    }
  }
  pclose(pipe);
}

// A test that uses a control or window that is gone is one frame further out than the line that detects it.
Place Places::Find(const Stack& stack, bool behindSimulator) {
  Look(stack);
  Place place;
  bool model = false;
  for (const std::uintptr_t at : stack) {
    if (at == 0) continue;
    for (const Line& line : lines_[at]) {
      // The torture's own frames are between the fault and its cause.
      if (line.file.empty() || (line.file.starts_with(kOwnFolder) && line.file.rfind('/') == kOwnFolder.size()))
        continue;
      if (line.file.starts_with(kThrows)) continue;
      const Whose whose = OwnerOf(line.file);
      if (model && whose != Whose::Test) return place;
      if (behindSimulator && whose == Whose::Simulator) continue;
      place = {whose, line.file + ":" + line.number + " " + line.function};
      model = line.file.starts_with("src/ui/Controls.") || line.file.starts_with("src/ui/Property.");
      if (!model) return place;
    }
  }
  return place;
}

void Findings::Add(Whose whose, const std::string& kind, const std::string& place, const std::string& first) {
  Entry& entry = entries_[{whose, kind + (place.empty() ? "" : " at " + place)}];
  if (entry.runs++ == 0) entry.first = first;
}

std::uint64_t Findings::Runs(Whose whose) const {
  std::uint64_t runs = 0;
  for (const auto& [key, entry] : entries_) runs += key.first == whose ? entry.runs : 0;
  return runs;
}

std::size_t Findings::Kinds(Whose whose) const {
  return static_cast<std::size_t>(
      std::count_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first.first == whose; }));
}

std::vector<std::string> Findings::Lines(Whose whose) const {
  std::vector<std::string> lines;
  for (const auto& [key, entry] : entries_) {
    if (key.first != whose) continue;
    lines.push_back(key.second + "\n    " + std::to_string(entry.runs) + " runs; first: " + entry.first);
  }
  return lines;
}

}  // namespace pellora
