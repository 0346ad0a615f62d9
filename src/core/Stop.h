// Stop: the end of the program.
#pragma once

#include <functional>

namespace pellora {

class Program;

// Pauses every running transfer, calls `unloadWindows` unless it is empty, writes the list and ends the process. A
// plain call: nothing can run in between, and nothing that waits is answered by it.
void SaveAndQuit(Program& program, const std::function<void()>& unloadWindows);

}  // namespace pellora
