// Stop: the end of the program.
#pragma once

#include <functional>

namespace pellora {

class Program;

// Pauses every running transfer, calls `unloadWindows` unless it is empty, and writes the list. It never waits, so
// nothing runs in between; open questions stay unanswered.
void PauseAndSave(Program& program, const std::function<void()>& unloadWindows);
// Ends the process.
void End(Program& program);

}  // namespace pellora
