// ProgramIcon: the program's icon, an arrow pointing down to a line. Reading it needs no display.
#pragma once

#include <QByteArray>

namespace pellora {

// A PNG file; `size` is 48, 64 or 128 pixels.
QByteArray ProgramIconFile(int size);

}  // namespace pellora
