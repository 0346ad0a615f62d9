// SimExamine: invariants of the program that hold whatever its machine did, checked from outside.
#pragma once

#include <string>
#include <vector>

namespace pellora {

class Program;
class SimPlatform;

// One text for each violation, "kind: details"; empty if there is none.
//   plan       RangeEnd + ReceivedTotal - RangeStart + 1 no longer equals the range's size
//   count      a segment's count is negative
//   part       a segment counts bytes that its part file does not have
//   flags      a record is both active and paused, or active and finished
//   length     the length of a finished record's file differs from the record
//   bytes      its content differs from what the server has under the record's path
//   web        a record of the web engine is stopped without a reason, or neither at work, at rest, stopped nor
//   finished;
//              or it was taken off the list by a failure
//   list       the list file does not load completely; list plan: it loads, but a plan is lost
//   outside    the program created a file in a folder that it was not given
std::vector<std::string> FindViolations(Program& program, SimPlatform& sim);

}  // namespace pellora
