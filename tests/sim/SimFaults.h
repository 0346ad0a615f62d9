// SimFaults: numbers the port calls that may fail, and lets chosen ones fail.
//
// A call that may fail according to its port's header calls SimFails once, before it does anything. If that returns
// true, it fails as the header says: it throws Failure, returns nothing, or reports an error event later. Calls that
// cannot fail do not call it. A process has at most one torturer, since a test may run several machines one after
// another; without one, nothing is counted and nothing fails.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

class SimTorturer {
 public:
  // Counts one call, e.g. "disk write" on "/a". True: it must fail.
  virtual bool Fails(const char* call, const std::string& object) = 0;
  // Counts an event of a machine, with the number of events since time last moved. True: the run is too long, and its
  // machine must stop.
  virtual bool ShouldStop(std::uint64_t eventsAtOneTime) = 0;
  // Called before a machine's program is dropped, with the violations found: "kind: details".
  virtual void Examined(const std::vector<std::string>& wrong) = 0;
  // A machine is destroyed, long after its program.
  virtual void OnMachineDestroyed() = 0;

  static SimTorturer* present;  // null: none

 protected:
  ~SimTorturer() = default;
};

inline bool SimFails(const char* call, const std::string& object = {}) {
  return SimTorturer::present != nullptr && SimTorturer::present->Fails(call, object);
}

}  // namespace pellora
