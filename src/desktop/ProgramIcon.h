// ProgramIcon: the program's icon, drawn: an arrow down to a line, with a bar for the speed level.
#pragma once

#include <QPixmap>

namespace pellora {

// `level` 0 is the plain icon; 1 to 4 add a growing bar.
QPixmap ProgramIcon(int size, int level);

}  // namespace pellora
