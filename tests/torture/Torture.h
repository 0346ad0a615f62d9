// Torture: every test of an executable again, with its n-th port call failing, once and from then on.
//
// Each test runs twice as it stands: in a child that counts its calls, then in this process. At every chosen
// call this process forks one child for each mode; in it the call fails, and it goes on to the end of the test
// without regard to its expectations, as the story goes another way now. So no run repeats what lies before its
// fault. Children tell what they met in memory that they share with their parent.
//
// A child ends with its test, or with the second machine that goes, where a test runs many one after another;
// its machine stands still once it has made several times the events of the whole plain test.
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
  std::uint64_t points = 0;  // so many calls of each test, spread evenly; 0: all of them
  std::uint64_t slice = 0;   // of those the ones with this remainder
  std::uint64_t slices = 1;  //   by that number
  std::uint64_t at = 0;      // only this call, with the child's own output; 0: not so
  bool once = true;          // which modes
  bool fromThenOn = true;
  std::uint64_t leaks = 0;  // looks for leaks behind the runs whose call this divides; 0: behind none
  double seconds = 0;       // begins no further test after so long; 0: no limit
  int patience = 30;        // seconds of processor time that a run may take
  bool verbose = false;     // one line for each test
  std::string program;      // a folder below tests/ whose code counts as the program's
};

class Torture final : public SimTorturer, public ::testing::EmptyTestEventListener {
 public:
  explicit Torture(const TortureOptions& options);

  // What was met; True if the program did nothing wrong.
  bool Summary();

  bool Fails(const char* call, const std::string& object) override;
  bool Tires(std::uint64_t eventsAtOneTime) override;
  void Examined(const std::vector<std::string>& wrong) override;
  void MachineGone() override;

  void OnTestStart(const ::testing::TestInfo& test) override;
  void OnTestPartResult(const ::testing::TestPartResult& result) override;
  void OnTestEnd(const ::testing::TestInfo& test) override;

 private:
  enum class Role { Idle, Counting, Parent, Once, FromThenOn };

  void ChooseCalls();
  bool Chosen(std::uint64_t number) const;
  // True in the child. The parent comes back when the child is over and its report is read.
  bool Fork(Role role);
  void BeginChild(Role role, int output);
  [[noreturn]] void EndChild(bool looksForLeaks);
  void TakeReport(Role role, int status, int output);
  void Note(const std::string& kind, const std::string& text, const Stack& stack, Role role);

  TortureOptions options_;
  Findings findings_;
  Places places_;
  SharedReport shared_;
  Role role_ = Role::Idle;
  std::string test_;
  std::uint64_t calls_ = 0;   // of the present test, up to now
  std::uint64_t events_ = 0;  // of it, or of the child since its fault
  int gone_ = 0;              // machines that went since the fault
  Report plain_;              // what the counting child told of the present test
  std::set<std::uint64_t> chosen_;
  const char* call_ = "";  // the present one
  std::string object_;

  std::uint64_t tests_ = 0;
  std::uint64_t allCalls_ = 0;
  std::uint64_t runs_ = 0;
  std::uint64_t cut_ = 0;
  std::map<std::string, std::uint64_t> runsOf_;  // by call
  double began_;
};

}  // namespace pellora
