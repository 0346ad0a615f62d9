#include "desktop/views/Widgets.h"

#include <QEvent>
#include <QFontMetrics>
#include <QHelpEvent>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QStyle>
#include <QStyleOption>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"

namespace pellora {

namespace {

constexpr double kCorner = 4.0;

bool IsDark(const QPalette& palette) {
  return palette.color(QPalette::Base).lightness() < palette.color(QPalette::Text).lightness();
}

}  // namespace

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) { setTextFormat(Qt::PlainText); }

QSize ElidedLabel::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 8, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRect area = contentsRect();
  const QString cut = fontMetrics().elidedText(text(), mode_, area.width());
  style()->drawItemText(&painter, area, static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment())),
                        palette(), isEnabled(), cut, foregroundRole());
}

bool ElidedLabel::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const auto* help = static_cast<QHelpEvent*>(event);
    const bool cut = fontMetrics().horizontalAdvance(text()) > contentsRect().width();
    QToolTip::showText(help->globalPos(), cut ? PlainTip(text()) : QString(), this);
    return true;
  }
  return QLabel::event(event);
}

WrappedLabel::WrappedLabel(QWidget* parent) : QLabel(parent) { setTextFormat(Qt::PlainText); }

int WrappedLabel::heightForWidth(int width) const {
  const QRect room(0, 0, width, QWIDGETSIZE_MAX);
  return std::max(fontMetrics().height(), fontMetrics().boundingRect(room, Qt::TextWrapAnywhere, text()).height());
}

QSize WrappedLabel::sizeHint() const {
  const int width = std::max(minimumWidth(), fontMetrics().averageCharWidth() * 60);
  return {width, heightForWidth(width)};
}

void WrappedLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const auto side = static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignTop));
  style()->drawItemText(&painter, contentsRect(), side | Qt::TextWrapAnywhere, palette(), isEnabled(), text(),
                        foregroundRole());
}

IconLabel::IconLabel(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed); }

void IconLabel::setDrawing(const QString& name) {
  drawing_ = name;
  SetIcon(RowIcon(name.toStdString()));
}

void IconLabel::SetIcon(const QIcon& icon) {
  icon_ = icon;
  update();
}

void IconLabel::setExtent(int extent) {
  extent_ = extent;
  updateGeometry();
}

void IconLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  icon_.paint(&painter, rect(), Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);
}

BarFrame::BarFrame(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed); }

QSize BarFrame::sizeHint() const { return {fontMetrics().averageCharWidth() * 30, fontMetrics().height()}; }

QSize BarFrame::minimumSizeHint() const { return {fontMetrics().averageCharWidth() * 12, sizeHint().height()}; }

void BarFrame::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor text = palette().color(QPalette::WindowText);
  QColor groove = text;
  groove.setAlphaF(0.08F);
  QColor edge = text;
  edge.setAlphaF(0.25F);
  painter.setPen(QPen(edge, 1));
  painter.setBrush(groove);
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCorner, kCorner);
}

SegmentBar::SegmentBar(QWidget* parent) : QWidget(parent), colour_(Qt::gray) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void SegmentBar::SetLength(double twips) {
  const double shown = std::isfinite(twips) ? std::clamp(twips, 0.0, fullLength_) : 0.0;
  if (shown == length_) return;
  length_ = shown;
  setAccessibleDescription(QString::number(std::floor(Share() * 100)) + QStringLiteral("%"));
  update();
}

void SegmentBar::SetColour(const QColor& colour) {
  if (colour == colour_) return;
  colour_ = colour;
  update();
}

double SegmentBar::Share() const { return fullLength_ > 0 ? std::min(1.0, length_ / fullLength_) : 0.0; }

void SegmentBar::paintEvent(QPaintEvent*) {
  const double width = this->width() * Share();
  if (width < 0.5) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF whole = rect();
  // Clips to the rounded bar, so that a short one keeps the frame's corner.
  QPainterPath outline;
  outline.addRoundedRect(whole, kCorner - 1, kCorner - 1);
  painter.setClipPath(outline);
  const QColor colour = Softened(colour_, palette());
  QLinearGradient gradient(whole.topLeft(), whole.bottomLeft());
  gradient.setColorAt(0, colour.lighter(112));
  gradient.setColorAt(1, colour);
  const double start = layoutDirection() == Qt::RightToLeft ? whole.right() - width : whole.left();
  painter.fillRect(QRectF(start, whole.top(), width, whole.height()), gradient);
}

HairLine::HairLine(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed); }

void HairLine::paintEvent(QPaintEvent*) {
  QColor colour = palette().color(QPalette::WindowText);
  colour.setAlphaF(0.18F);
  QPainter(this).fillRect(0, height() / 2, width(), 1, colour);
}

QColor Softened(const QColor& colour, const QPalette& palette) {
  if (colour.hslSaturation() == 0) return colour;
  const bool dark = IsDark(palette);
  return QColor::fromHsl(colour.hslHue(), std::min(colour.hslSaturation(), 150), dark ? 116 : 108);
}

}  // namespace pellora
