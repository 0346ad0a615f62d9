#include "desktop/views/FigureBar.h"

#include <QPainter>
#include <QPixmap>
#include <QPixmapCache>
#include <QStyle>
#include <QStyleOptionProgressBar>
#include <QTimerEvent>
#include <utility>

namespace pellora {

namespace {

constexpr int kStepTime = 100;      // ms
constexpr qint64 kCrossing = 1500;  // ms from one end to the other

}  // namespace

FigureBar::FigureBar(QWidget* parent) : QProgressBar(parent) { moving_.start(); }

void FigureBar::paintEvent(QPaintEvent*) {
  QStyleOptionProgressBar option;
  initStyleOption(&option);
  const QRect filled = IsBusy() ? MovingBlock() : Filled();
  QPainter painter(this);
  painter.drawPixmap(0, 0, Groove(option));
  painter.fillRect(filled, palette().highlight());
  if (isTextVisible()) DrawFigure(painter, filled);
  if (IsBusy() && !step_.isActive()) step_.start(kStepTime, this);
}

// The next painting starts it again.
void FigureBar::timerEvent(QTimerEvent* event) {
  if (event->timerId() != step_.timerId()) return QProgressBar::timerEvent(event);
  if (!IsBusy() || !isVisible() || window()->isMinimized()) return step_.stop();
  update();
}

QRect FigureBar::Filled() const {
  const QRect room = Room();
  const auto width = static_cast<int>(qint64{room.width()} * (value() - minimum()) / (maximum() - minimum()));
  return QStyle::visualRect(layoutDirection(), room, QRect(room.left(), room.top(), width, room.height()));
}

QRect FigureBar::MovingBlock() const {
  const QRect room = Room();
  const int width = room.width() / 5;
  const qint64 at = moving_.elapsed() % (2 * kCrossing);
  const qint64 way = at < kCrossing ? at : 2 * kCrossing - at;
  return {room.left() + static_cast<int>((room.width() - width) * way / kCrossing), room.top(), width, room.height()};
}

// All grooves of a size look the same.
QPixmap FigureBar::Groove(const QStyleOptionProgressBar& option) const {
  const double scale = devicePixelRatioF();
  const QString key = QStringLiteral("FigureBar %1x%2 %3 %4 %5")
                          .arg(width())
                          .arg(height())
                          .arg(scale)
                          .arg(palette().cacheKey())
                          .arg(isEnabled());
  QPixmap groove;
  if (QPixmapCache::find(key, &groove)) return groove;
  groove = QPixmap((QSizeF(size()) * scale).toSize());
  groove.setDevicePixelRatio(scale);
  groove.fill(Qt::transparent);
  QPainter painter(&groove);
  style()->drawControl(QStyle::CE_ProgressBarGroove, &option, &painter, this);
  painter.end();
  QPixmapCache::insert(key, groove);
  return groove;
}

void FigureBar::DrawFigure(QPainter& painter, const QRect& filled) const {
  const QRegion rest = QRegion(Room()) - filled;
  for (const auto& [part, role] :
       {std::pair(rest, QPalette::Text), std::pair(QRegion(filled), QPalette::HighlightedText)}) {
    if (part.isEmpty()) continue;
    painter.setClipRegion(part);
    style()->drawItemText(&painter, Room(), Qt::AlignCenter, palette(), isEnabled(), text(), role);
  }
}

}  // namespace pellora
