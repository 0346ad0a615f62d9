#include "desktop/ProgramIcon.h"

#include <QFile>
#include <QString>

// The linker would leave out the pictures; the macro works outside namespaces only.
static void LinkPictures() { Q_INIT_RESOURCE(program); }

namespace pellora {

QByteArray ProgramIconFile(int size) {
  LinkPictures();
  QFile file(QString(":/program/%1.png").arg(size));
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace pellora
