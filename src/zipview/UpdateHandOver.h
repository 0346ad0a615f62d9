// HandOverUpdate: the end of a finished update package. It is unpacked, the updater is started, and the
// program ends.
#pragma once

#include <cstdint>

#include "async/Task.h"

namespace pellora {

class Program;
class Unzip;

// The package is where it was saved, or else "downloads/" and the record's FileName in the program's folder,
// whatever the settings say; it is unpacked into "temp" there. A failed unpacking shows its number, and the
// updater is started all the same. Both pointers outlive the task.
Task<> HandOverUpdate(Program* program, Unzip* unzip, std::int16_t index);

}  // namespace pellora
