#include "desktop/ProgramIcon.h"

#include <QPainter>
#include <QPolygonF>

namespace pellora {

QPixmap ProgramIcon(int size) {
  QPixmap pixmap(size, size);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(size / 16.0, size / 16.0);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(0x1f, 0x5f, 0xbf));
  painter.drawRoundedRect(QRectF(0, 0, 16, 16), 3, 3);
  painter.setBrush(Qt::white);
  painter.drawPolygon(QPolygonF({{6, 2}, {10, 2}, {10, 6.5}, {12.5, 6.5}, {8, 11}, {3.5, 6.5}, {6, 6.5}}));
  painter.drawRect(QRectF(3, 12.5, 10, 1.5));
  return pixmap;
}

}  // namespace pellora
