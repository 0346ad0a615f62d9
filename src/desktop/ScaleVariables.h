// DropUselessScales: removes the environment's scales for windows with which nobody could use the program: Qt draws
// windows of no size for a scale of 0, and ends the program where a window would take gigabytes.
#pragma once

namespace pellora {

// Before the application is made, which reads them. Numbers alone: Qt ignores anything else.
void DropUselessScales();

}  // namespace pellora
