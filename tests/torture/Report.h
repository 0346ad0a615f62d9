// Report: what a child of the torture tells its parent, in memory that both see.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

// Return addresses, innermost first, as offsets into the executable; 0 for what lies in a library.
using Stack = std::vector<std::uintptr_t>;

struct Report {
  static constexpr int kMostFrames = 48;
  static constexpr std::size_t kMostText = 16384;

  std::uint64_t calls = 0;
  std::uint64_t events = 0;
  std::uint64_t mostAtOneTime = 0;  // events without time moving
  bool cut = false;                 // its machine was made to stand still
  bool leaks = false;
  bool runaway = false;
  bool slow = false;               // ended by the clock of its processor time
  char thrown[128] = "";           // type of an exception that reached the test
  void* frames[kMostFrames] = {};  // of it, or of where the clock found the child or a crash was
  int frameCount = 0;
  char wrong[kMostText] = "";  // lines of what was wrong with the program at its end

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
  const char* type = "";  // of the last one of all, mangled
  void* frames[Report::kMostFrames] = {};
  int frameCount = 0;
};
extern LastThrow lastThrow;
extern bool watchThrows;

Stack OffsetsOf(void* const* frames, int count);

// Reads a sanitizer's report: its first line, and its first stack into `stack`. Empty if there is none.
std::string ReadSanitizer(const std::string& output, Stack& stack);

}  // namespace pellora
