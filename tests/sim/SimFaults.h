// SimFaults: numbers the port calls that may fail, and lets chosen ones fail.
//
// A call that a port's header lets fail asks here once, before it does anything, and fails in the way of its
// header when told so: it throws Failure, returns nothing, or reports an error event later. A call that cannot
// fail does not ask. One torturer at most watches a process, since one test may run several machines one after
// another; with none, nothing is counted and nothing fails.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

class SimTorturer {
 public:
  // Counts one call, "disk write" on "/a"; True: it is to fail.
  virtual bool Fails(const char* call, const std::string& object) = 0;
  // One more event of some machine, and how many there were without time moving. True: the run has lasted long
  // enough, and its machine stands still from now on.
  virtual bool Tires(std::uint64_t eventsAtOneTime) = 0;
  // The program of a machine is about to be dropped, with what is wrong about it: "kind: more of it".
  virtual void Examined(const std::vector<std::string>& wrong) = 0;
  // A machine is gone, the program over it long before.
  virtual void MachineGone() = 0;

  static SimTorturer* present;  // null: none

 protected:
  ~SimTorturer() = default;
};

inline bool SimFails(const char* call, const std::string& object = {}) {
  return SimTorturer::present != nullptr && SimTorturer::present->Fails(call, object);
}

}  // namespace pellora
