// ProgramIcon: the program's icon, drawn: an arrow pointing down to a line.
#pragma once

#include <QPixmap>

namespace pellora {

QPixmap ProgramIcon(int size);

}  // namespace pellora
