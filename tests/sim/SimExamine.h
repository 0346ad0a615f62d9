// SimExamine: what must hold of a program whatever its machine did to it, looked at from outside.
#pragma once

#include <string>
#include <vector>

namespace pellora {

class Program;
class SimPlatform;

// One text for each thing that does not hold, "kind: more of it"; empty if all does.
//   plan       RangeEnd + ReceivedTotal - RangeStart + 1 is no longer the range's size
//   count      a segment counts below zero
//   part       a segment counts bytes that its part file does not have
//   flags      a record transfers and is paused, or transfers and is finished
//   length     a finished record's file has another length than the record says
//   bytes      it differs from what the server holds under the record's path
//   list       the list file does not load whole; list plan: it loads, with a lost plan
//   outside    the program made a file in a folder that nobody gave it
std::vector<std::string> WhatIsWrong(Program& program, SimPlatform& sim);

}  // namespace pellora
