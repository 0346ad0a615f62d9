// Stop: the end of the program.
#pragma once

#include <memory>
#include <vector>

namespace pellora {

class Program;
class Window;

// Pauses every running transfer, unloads `windows`, writes the list and ends the process. A plain call:
// nothing can run in between, and nothing that waits is answered by it.
void SaveAndQuit(Program& program, const std::vector<std::shared_ptr<Window>>& windows);

}  // namespace pellora
