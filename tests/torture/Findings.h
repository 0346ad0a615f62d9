// Findings: the problems found by the torture, separated by cause and grouped by place, so that a thousand runs that
// fail at one line are one finding.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Report.h"

namespace pellora {

enum class Whose { Program, Simulator, Test };

struct Place {
  Whose whose = Whose::Program;
  std::string text;  // "src/core/ListFile.cpp:85 LoadList"; empty if the stack has no line of this project
};

// Finds the innermost line of a stack that belongs to the program or its tests.
class Places {
 public:
  // `program` is one more folder below tests/ whose code counts as the program's; empty for none.
  explicit Places(std::string program) : program_(std::move(program)) {}
  // With `behindSimulator` the simulator's frames are skipped, to find the caller that violated its rules.
  Place Find(const Stack& stack, bool behindSimulator = false);

 private:
  struct Line {
    std::string function;
    std::string file;  // from src/ or tests/ on; empty if neither
    std::string number;
  };
  void Look(const Stack& stack);
  std::string Ours(const std::string& given) const;
  Whose OwnerOf(const std::string& file) const;

  std::string program_;
  std::map<std::uintptr_t, std::vector<Line>> lines_;  // innermost first, with what was inlined there
};

class Findings {
 public:
  void Add(Whose whose, const std::string& kind, const std::string& place, const std::string& first);
  std::uint64_t Runs(Whose whose) const;
  std::size_t Kinds(Whose whose) const;
  std::vector<std::string> Lines(Whose whose) const;

 private:
  struct Entry {
    std::string first;
    std::uint64_t runs = 0;
  };
  std::map<std::pair<Whose, std::string>, Entry> entries_;
};

}  // namespace pellora
