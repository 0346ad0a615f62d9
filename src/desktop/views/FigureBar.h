// FigureBar: a progress bar with a figure. It draws itself, since the style's own drawing of stripes and gradients
// costs a hundred windows that change ten times a second much of a core. Its figure is seen on both of its parts, from
// left to right and from right to left. Without an end, a block moves through it.
#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QProgressBar>

class QPainter;
class QPixmap;
class QStyleOptionProgressBar;

namespace pellora {

class FigureBar : public QProgressBar {
  Q_OBJECT

 public:
  explicit FigureBar(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  bool IsBusy() const { return maximum() <= minimum(); }
  QRect Room() const { return rect().adjusted(1, 1, -1, -1); }
  QRect Filled() const;
  QRect MovingBlock() const;
  QPixmap Groove(const QStyleOptionProgressBar& option) const;
  void DrawFigure(QPainter& painter, const QRect& filled) const;

  QBasicTimer step_;      // runs while a block moves
  QElapsedTimer moving_;  // says where the block is
};

}  // namespace pellora
