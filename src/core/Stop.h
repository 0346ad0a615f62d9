// Stop: the end of the program.
#pragma once

#include <functional>

namespace pellora {

class Program;

// Pauses every running transfer, calls `unloadWindows` unless it is empty, writes the list and ends the process. It
// never waits, so nothing runs in between; open questions stay unanswered.
void SaveAndQuit(Program& program, const std::function<void()>& unloadWindows);

}  // namespace pellora
