// HandOverUpdate: the end of a finished update package. It is unpacked, the updater is started, and the
// program ends.
#pragma once

#include <cstdint>

#include "platform/Task.h"

namespace pellora {

class Program;
class Unzip;

// The package lies in "downloads" of the program's folder, whatever the settings say, under the name that it
// was saved as; it is unpacked into "temp" there. A failed unpacking shows its number, and the updater is started all
// the same. Both pointers outlive the task.
Task<> HandOverUpdate(Program* program, Unzip* unzip, std::int16_t index);

}  // namespace pellora
