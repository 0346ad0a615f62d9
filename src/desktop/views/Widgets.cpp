#include "desktop/views/Widgets.h"

#include <QAccessible>
#include <QApplication>
#include <QFont>
#include <QFontMetrics>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLayout>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <QPixmapCache>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOption>
#include <QStylePainter>
#include <QTextLayout>
#include <QToolTip>
#include <algorithm>
#include <cmath>
#include <utility>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "desktop/views/WindowPlace.h"

namespace pellora {

namespace {

constexpr double kCorner = 4.0;
constexpr int kBelowTitle = 4;

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
                        palette(), isEnabled(), Isolated(cut), foregroundRole());
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
  QTextLayout wrapped(text().replace(u'\n', QChar::LineSeparator), font());
  wrapped.setTextOption(Wrapping());
  wrapped.beginLayout();
  qreal height = 0;
  for (QTextLine line = wrapped.createLine(); line.isValid(); line = wrapped.createLine()) {
    line.setLineWidth(width);
    height += line.height();
  }
  wrapped.endLayout();
  return std::max(fontMetrics().height(), static_cast<int>(std::ceil(height)));
}

QSize WrappedLabel::sizeHint() const {
  const int width = std::max(minimumWidth(), fontMetrics().averageCharWidth() * 60);
  return {width, heightForWidth(width)};
}

void WrappedLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  painter.drawText(contentsRect(), Isolated(text()), Wrapping());
}

QTextOption WrappedLabel::Wrapping() const {
  QTextOption option(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft) | Qt::AlignTop);
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  return option;
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

// All frames of a size look the same, and are drawn anew with each step of the bar inside.
void BarFrame::paintEvent(QPaintEvent*) {
  const QColor text = palette().color(QPalette::WindowText);
  const QColor groove = GrooveColour(palette());
  const double scale = devicePixelRatioF();
  const QString key = QStringLiteral("BarFrame %1x%2 %3 %4 %5")
                          .arg(width())
                          .arg(height())
                          .arg(scale)
                          .arg(text.rgba())
                          .arg(groove.rgba());
  QPixmap frame;
  if (!QPixmapCache::find(key, &frame)) {
    frame = QPixmap((QSizeF(size()) * scale).toSize());
    frame.setDevicePixelRatio(scale);
    frame.fill(Qt::transparent);
    DrawFrame(frame, text, groove);
    QPixmapCache::insert(key, frame);
  }
  QPainter(this).drawPixmap(0, 0, frame);
}

void BarFrame::DrawFrame(QPixmap& frame, const QColor& text, const QColor& groove) const {
  QPainter painter(&frame);
  painter.setRenderHint(QPainter::Antialiasing);
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
  const int before = Percent();
  length_ = shown;
  update();
  if (Percent() == before) return;
  QAccessibleValueChangeEvent change(this, Percent());
  QAccessible::updateAccessibility(&change);
}

void SegmentBar::SetColour(const QColor& colour) {
  if (colour == colour_) return;
  colour_ = colour;
  update();
}

double SegmentBar::Share() const { return fullLength_ > 0 ? std::min(1.0, length_ / fullLength_) : 0.0; }

int SegmentBar::Percent() const { return static_cast<int>(std::floor(Share() * 100)); }

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
  // Away from the groove, on which the colour itself is clear.
  gradient.setColorAt(IsDark(palette()) ? 1 : 0, colour);
  gradient.setColorAt(IsDark(palette()) ? 0 : 1, IsDark(palette()) ? colour.lighter(112) : colour.darker(112));
  const double start = layoutDirection() == Qt::RightToLeft ? whole.right() - width : whole.left();
  painter.fillRect(QRectF(start, whole.top(), width, whole.height()), gradient);
}

HairLine::HairLine(QWidget* parent) : QWidget(parent) { setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed); }

void HairLine::paintEvent(QPaintEvent*) {
  QColor colour = palette().color(QPalette::WindowText);
  colour.setAlphaF(0.18F);
  QPainter(this).fillRect(0, height() / 2, width(), 1, colour);
}

void FocusLabel::keyPressEvent(QKeyEvent* event) {
  const int key = event->key();
  if (key != Qt::Key_Return && key != Qt::Key_Enter && key != Qt::Key_Space) return QLabel::keyPressEvent(event);
  emit Pressed();
}

void FocusLabel::paintEvent(QPaintEvent* event) {
  QLabel::paintEvent(event);
  if (!hasFocus()) return;
  QPainter painter(this);
  QStyleOptionFocusRect option;
  option.initFrom(this);
  option.state |= QStyle::State_KeyboardFocusChange;
  option.backgroundColor = palette().color(QPalette::Window);
  style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
}

void KeyLabel::SetOn(bool on) {
  setEnabled(on);
  QFont bold = font();
  bold.setBold(on);
  setFont(bold);
  if (std::exchange(on_, on) == on) return;
  QAccessible::State changed;
  changed.checked = true;
  QAccessibleStateChangeEvent change(this, changed);
  QAccessible::updateAccessibility(&change);
}

void QuietGroupBox::paintEvent(QPaintEvent* event) {
  QStylePainter painter(this);
  QStyleOptionGroupBox option;
  initStyleOption(&option);
  const QRect title = style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, this);
  QRect frame = style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxFrame, this);
  frame.setTop(title.bottom() + kBelowTitle);
  const QRect inside = frame.adjusted(1, 1, -1, -1);
  QColor colour = palette().color(QPalette::WindowText);
  colour.setAlphaF(0.015F);
  painter.fillRect(inside & event->rect(), colour);
  if (!inside.contains(event->rect())) {
    colour.setAlphaF(0.12F);
    painter.setPen(colour);
    painter.drawRect(frame.adjusted(0, 0, -1, -1));
  }
  if (!event->region().intersects(title)) return;
  option.subControls = QStyle::SC_GroupBoxLabel;
  painter.drawComplexControl(QStyle::CC_GroupBox, option);
}

bool FocusScrollArea::event(QEvent* event) {
  const bool done = QScrollArea::event(event);
  if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) update();
  if (event->type() != QEvent::Paint || !hasFocus()) return done;
  QPainter painter(this);
  painter.setPen(palette().color(QPalette::Highlight));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
  return done;
}

PageArea::PageArea(QWidget* parent) : QScrollArea(parent) {
  setFrameShape(QFrame::NoFrame);
  setWidgetResizable(true);
  setFocusPolicy(Qt::NoFocus);
  followsFocus_ = connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { Reveal(now); });
}

// The control that has the focus is deleted by ~QWidget, which is too late to reveal anything.
PageArea::~PageArea() { disconnect(followsFocus_); }

QSize PageArea::sizeHint() const { return minimumSizeHint().expandedTo(widget()->sizeHint()); }

QSize PageArea::minimumSizeHint() const {
  const QSize whole = widget()->minimumSizeHint();
  const int room = RoomOnScreen();
  if (whole.height() <= room) return whole;
  return {whole.width() + style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, this), room};
}

// What is left for it beside all else in the form, with one line at least.
int PageArea::RoomOnScreen() const {
  const QLayout& form = *window()->layout();
  const QMargins margins = form.contentsMargins();
  int others = margins.top() + margins.bottom() + std::max(form.spacing(), 0) * (form.count() - 1);
  for (int at = 0; at < form.count(); ++at) {
    QLayoutItem& item = *form.itemAt(at);
    if (item.widget() != this) others += item.minimumSize().height();
  }
  return std::max(screen()->availableSize().height() - kFrame.height() - others, fontMetrics().height());
}

// Not what is pressed: it would move away from the pointer.
void PageArea::Reveal(QWidget* focused) {
  if (focused == nullptr || !isAncestorOf(focused) || QGuiApplication::mouseButtons() != Qt::NoButton) return;
  const QRect place(focused->mapTo(widget(), QPoint()), focused->size());
  for (const QPoint& corner : {place.bottomLeft(), place.topLeft()}) {
    ensureVisible(corner.x(), corner.y(), 0, fontMetrics().height());
  }
}

bool PageArea::event(QEvent* event) {
  if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) {
    updateGeometry();
    const int height = widget()->minimumSizeHint().height();
    if (std::exchange(pageHeight_, height) != height) verticalScrollBar()->setValue(0);  // another page
  }
  return QScrollArea::event(event);
}

EventWatcher::EventWatcher(QWidget& widget, QEvent::Type kind, QObject* parent, std::function<void()> came)
    : QObject(parent), kind_(kind), came_(std::move(came)) {
  widget.installEventFilter(this);
}

bool EventWatcher::eventFilter(QObject*, QEvent* event) {
  if (event->type() == kind_) came_();
  return false;
}

double Contrast(const QColor& colour, const QColor& ground) {
  const auto luminance = [](const QColor& of) {
    const auto linear = [](float part) {
      const auto value = static_cast<double>(part);
      return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(of.redF()) + 0.7152 * linear(of.greenF()) + 0.0722 * linear(of.blueF());
  };
  const double one = luminance(colour) + 0.05;
  const double other = luminance(ground) + 0.05;
  return std::max(one, other) / std::min(one, other);
}

QColor GrooveColour(const QPalette& palette) {
  constexpr float kShare = 0.06F;
  const QColor back = palette.color(QPalette::Window);
  const QColor text = palette.color(QPalette::WindowText);
  const auto mixed = [](float from, float to) { return from + (to - from) * kShare; };
  return QColor::fromRgbF(mixed(back.redF(), text.redF()), mixed(back.greenF(), text.greenF()),
                          mixed(back.blueF(), text.blueF()));
}

QColor Softened(const QColor& colour, const QPalette& palette) {
  constexpr double kClear = 3.2;  // 3 is required of graphics
  constexpr int kStep = 4;
  const QColor groove = GrooveColour(palette);
  const bool dark = IsDark(palette);
  const int saturation = std::min(colour.hslSaturation(), 150);
  int lightness = saturation == 0 ? colour.lightness() : dark ? 116 : 108;
  QColor drawn = QColor::fromHsl(colour.hslHue(), saturation, lightness);
  while (Contrast(drawn, groove) < kClear && lightness >= kStep && lightness <= 255 - kStep) {
    lightness += dark ? kStep : -kStep;
    drawn = QColor::fromHsl(colour.hslHue(), saturation, lightness);
  }
  return drawn;
}

// Themes that do not set it leave dark blue on a dark window.
QColor LinkColour(const QPalette& palette, bool highlighted) {
  const bool dark = palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
  QColor colour = palette.color(QPalette::Link);
  if (dark && colour.lightness() < 150) colour = QColor(0x7a, 0xb4, 0xff);
  if (!highlighted) return colour;
  return dark ? colour.lighter(125) : colour.darker(200);
}

}  // namespace pellora
