// Torture: repeats every test of an executable with its n-th port call failing, once and from then on.
//
// Each test first runs twice unchanged: in a child that counts its calls, then in this process. At every chosen call
// this process forks one child for each mode. In the child the call fails, and the test continues to its end with its
// expectations ignored, as things now happen differently. So no run repeats what precedes its fault. Children report to
// their parent in shared memory.
//
// A child ends with its test, or with the second destroyed machine if a test runs many one after another; its machine
// is stopped once it has had several times the events of the whole unchanged test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Findings.h"
#include "Report.h"
#include "SimFaults.h"

namespace pellora {

struct TortureOptions {
  std::uint64_t points = 0;  // that many calls of each test, spread evenly; 0: all
  std::uint64_t slice = 0;   // only calls with this remainder
  std::uint64_t slices = 1;  //   modulo this number
  std::uint64_t at = 0;      // only this call, with the child's output; 0: all calls
  bool once = true;          // which modes
  bool fromThenOn = true;
  std::uint64_t leaks = 0;    // checks for leaks after every leaks-th call; 0: never
  double seconds = 0;         // starts no further test after this time; 0: no limit
  int processorSeconds = 30;  // seconds of processor time that a run may take
  bool verbose = false;       // one line for each test
  std::string program;        // a folder below tests/ whose code counts as the program's
};

class Torture final : public SimTorturer, public ::testing::EmptyTestEventListener {
 public:
  explicit Torture(const TortureOptions& options);

  // Prints the findings. True if the program has none.
  bool Summary();

  bool Fails(const char* call, const std::string& object) override;
  bool ShouldStop(std::uint64_t eventsAtOneTime) override;
  void Examined(const std::vector<std::string>& wrong) override;
  void OnMachineDestroyed() override;

  void OnTestStart(const ::testing::TestInfo& test) override;
  void OnTestPartResult(const ::testing::TestPartResult& result) override;
  void OnTestEnd(const ::testing::TestInfo& test) override;

 private:
  enum class Role { Idle, Counting, Parent, Once, FromThenOn };

  void ChooseCalls();
  bool Chosen(std::uint64_t number) const;
  // True in the child. In the parent it returns when the child has ended and its report is read.
  bool Fork(Role role);
  void BeginChild(Role role, int output);
  [[noreturn]] void EndChild(bool looksForLeaks);
  Stack UsualStack(const Report& report);  // of a run without end
  void TakeReport(Role role, int status, int output);
  void Note(const std::string& kind, const std::string& text, const Stack& stack, Role role);

  TortureOptions options_;
  Findings findings_;
  Places places_;
  SharedReport shared_;
  Role role_ = Role::Idle;
  std::string test_;
  std::uint64_t calls_ = 0;   // of the current test so far
  std::uint64_t events_ = 0;  // of the current test, or of the child since its fault
  int gone_ = 0;              // machines destroyed since the fault
  Report plain_;              // the counting child's report on the current test
  std::set<std::uint64_t> chosen_;
  const char* call_ = "";  // the current one
  std::string object_;

  std::uint64_t tests_ = 0;
  std::uint64_t allCalls_ = 0;
  std::uint64_t runs_ = 0;
  std::uint64_t cut_ = 0;
  std::map<std::string, std::uint64_t> runsOf_;  // by call
  double began_;
};

}  // namespace pellora
