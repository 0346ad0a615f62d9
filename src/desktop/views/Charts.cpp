#include "desktop/views/Charts.h"

#include <QBrush>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <algorithm>

#include "desktop/DisplayText.h"
#include "desktop/views/Widgets.h"

namespace pellora {

namespace {

constexpr std::size_t kSteps = 120;  // that fill the graph
constexpr double kCorner = 3;
const QColor kHeldColour(0x00, 0x00, 0xFF);  // of a complete segment
const QColor kNextColour(0x00, 0xC0, 0xC0);  // and of one that receives

QColor Faded(QColor colour, float alpha) {
  colour.setAlphaF(alpha);
  return colour;
}

// The ground of both, and the outline within which they are drawn.
QPainterPath DrawGround(QPainter& painter, const QWidget& widget) {
  const QColor text = widget.palette().color(QPalette::WindowText);
  QPainterPath outline;
  outline.addRoundedRect(QRectF(widget.rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCorner, kCorner);
  painter.setPen(QPen(Faded(text, 0.25F), 1));
  painter.setBrush(GrooveColour(widget.palette()));
  painter.drawPath(outline);
  return outline;
}

// The beginning is on the side where reading begins.
void Mirror(QPainter& painter, const QWidget& widget) {
  if (widget.layoutDirection() != Qt::RightToLeft) return;
  painter.translate(widget.width(), 0);
  painter.scale(-1, 1);
}

}  // namespace

SpeedGraph::SpeedGraph(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed); }

QSize SpeedGraph::sizeHint() const { return {fontMetrics().averageCharWidth() * 30, fontMetrics().height() * 4}; }

void SpeedGraph::Show(const std::vector<float>& speeds, const QString& most) {
  if (speeds == speeds_ && most == most_) return;
  speeds_ = speeds;
  most_ = most;
  update();
}

void SpeedGraph::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QPainterPath outline = DrawGround(painter, *this);
  const double highest = speeds_.empty() ? 0 : static_cast<double>(*std::max_element(speeds_.begin(), speeds_.end()));
  const double top = fontMetrics().height() + 4;
  const double bottom = height() - 2;
  if (highest > 0 && speeds_.size() > 1) {
    painter.save();
    painter.setClipPath(outline);
    Mirror(painter, *this);
    const double step = static_cast<double>(width()) / static_cast<double>(kSteps - 1);
    const double left = width() - step * static_cast<double>(speeds_.size() - 1);
    QPainterPath line;
    for (std::size_t at = 0; at < speeds_.size(); ++at) {
      const double height = (bottom - top) * static_cast<double>(speeds_[at]) / highest;
      const QPointF point(left + step * static_cast<double>(at), bottom - height);
      if (at == 0) {
        line.moveTo(point);
      } else {
        line.lineTo(point);
      }
    }
    QPainterPath area = line;
    area.lineTo(width(), bottom);
    area.lineTo(left, bottom);
    area.closeSubpath();
    const QColor colour = Softened(kHeldColour, palette());
    painter.fillPath(area, Faded(colour, 0.3F));
    painter.strokePath(line, QPen(colour, 2));
    painter.restore();
  }
  painter.setPen(Faded(palette().color(QPalette::WindowText), 0.75F));
  painter.drawText(rect().adjusted(6, 2, -6, -2), Qt::AlignTop | Qt::AlignLeading, Isolated(most_));
}

FileMapBar::FileMapBar(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed); }

QSize FileMapBar::sizeHint() const { return {fontMetrics().averageCharWidth() * 30, fontMetrics().height()}; }

void FileMapBar::Show(const std::vector<MapSpan>& held, const std::vector<MapSpan>& awaited) {
  if (held == held_ && awaited == awaited_) return;
  held_ = held;
  awaited_ = awaited;
  update();
}

void FileMapBar::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setClipPath(DrawGround(painter, *this));
  Mirror(painter, *this);
  const auto fill = [&](const MapSpan& span, const QBrush& brush) {
    const double begin = span.begin * width();
    painter.fillRect(QRectF(begin, 1, std::max(1.0, (span.end - span.begin) * width()), height() - 2), brush);
  };
  const QColor next = Softened(kNextColour, palette());
  for (const MapSpan& span : awaited_) {
    fill(span, Faded(next, 0.25F));
    fill(span, QBrush(next, Qt::BDiagPattern));
  }
  for (const MapSpan& span : held_) fill(span, Softened(kHeldColour, palette()));
  // Where the connections are.
  for (const MapSpan& span : awaited_) fill({span.begin, span.begin + 2.0 / std::max(1, width())}, next);
}

}  // namespace pellora
