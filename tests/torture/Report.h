// Report: what a child of the torture reports to its parent, in shared memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

// Return addresses, innermost first, as offsets into the executable; 0 inside a library.
using Stack = std::vector<std::uintptr_t>;

struct Report {
  static constexpr int kMaxFrames = 48;
  static constexpr int kSamples = 9;
  static constexpr std::size_t kMaxText = 16384;

  std::uint64_t calls = 0;
  std::uint64_t events = 0;
  std::uint64_t mostAtOneTime = 0;  // events without time moving
  bool cut = false;                 // its machine was stopped
  bool leaks = false;
  bool runaway = false;
  char thrown[128] = "";          // type of an exception that reached the test
  void* frames[kMaxFrames] = {};  // of the exception or the crash
  int frameCount = 0;
  // Where a run was that has exceeded its processor time, at some moments from then on.
  struct Sample {
    void* frames[kMaxFrames];
    int frameCount;
  };
  Sample slow[kSamples] = {};
  int slowCount = 0;
  char wrong[kMaxText] = "";  // the violations found at the program's end, one a line

  std::vector<std::string> Wrong() const;
  void AddWrong(const std::string& line);
};

// One Report in shared memory.
class SharedReport {
 public:
  SharedReport();
  ~SharedReport();
  SharedReport(const SharedReport&) = delete;
  SharedReport& operator=(const SharedReport&) = delete;
  Report* operator->() { return report_; }
  Report& operator*() { return *report_; }

 private:
  Report* report_;
};

// The last exception thrown anywhere in this process but Failure and the simulator's kill.
struct LastThrow {
  const char* type = "";  // of the very last one, mangled
  void* frames[Report::kMaxFrames] = {};
  int frameCount = 0;
};
extern LastThrow lastThrow;
extern bool watchThrows;

Stack OffsetsOf(void* const* frames, int count);

// Reads a sanitizer's report: its first line, and its first stack into `stack`. Empty if there is none.
std::string ReadSanitizer(const std::string& output, Stack& stack);

}  // namespace pellora
