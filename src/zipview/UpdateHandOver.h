// HandOverUpdate: unpacks a finished update package, starts the updater and ends the program.
#pragma once

#include <cstdint>

#include "async/Task.h"

namespace pellora {

class Program;
class Unzip;

// The package is where it was saved, or else "downloads/" and the record's FileName in the program's data folder,
// whatever the settings say; it is unpacked into "temp" there. If unpacking fails its number is shown, and the updater
// starts all the same. Both pointers outlive the task.
Task<> HandOverUpdate(Program* program, Unzip* unzip, std::int16_t index);

}  // namespace pellora
