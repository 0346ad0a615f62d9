#include "desktop/views/ProgramStyle.h"

#include <QColor>
#include <QIcon>
#include <QPainter>
#include <QRectF>
#include <QStyleOption>
#include <QStyleOptionButton>
#include <algorithm>

#include "desktop/views/Widgets.h"

namespace pellora {

namespace {

constexpr double kRequired = 3.0;
constexpr double kClear = 3.6;  // a round line is partly mixed with its ground
constexpr double kCorner = 2.0;
constexpr int kIconSpacing = 4;  // as in buttons that are not mirrored

QColor Mixed(const QColor& from, const QColor& to, float share) {
  const auto mixed = [share](float a, float b) { return a + (b - a) * share; };
  return QColor::fromRgbF(mixed(from.redF(), to.redF()), mixed(from.greenF(), to.greenF()),
                          mixed(from.blueF(), to.blueF()));
}

double WorstContrast(const QColor& colour, const QPalette& palette) {
  return std::min(Contrast(colour, palette.color(QPalette::Window)), Contrast(colour, palette.color(QPalette::Base)));
}

// Themes of high contrast have one ground for all.
bool HasHighContrast(const QPalette& palette) {
  constexpr double kHigh = 15.0;
  const QColor ground = palette.color(QPalette::Window);
  return palette.color(QPalette::Base) == ground && palette.color(QPalette::Button) == ground &&
         Contrast(palette.color(QPalette::WindowText), ground) >= kHigh;
}

bool OwnOutlineIsSeen(const QPalette& palette) {
  return WorstContrast(palette.color(QPalette::Window).darker(140), palette) >= kRequired;
}

// The text's colour, or in usual themes a quiet one.
QColor OutlineColour(const QPalette& palette) {
  constexpr float kStep = 0.02F;
  const QColor window = palette.color(QPalette::Window);
  const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
  if (HasHighContrast(palette)) return text;
  QColor colour = window;
  for (float share = 0; share < 1 && WorstContrast(colour, palette) < kClear; share += kStep) {
    colour = Mixed(window, text, share);
  }
  return colour;
}

void DrawOutline(QPainter& painter, const QStyleOption& option, double corner) {
  if (OwnOutlineIsSeen(option.palette)) return;
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(OutlineColour(option.palette));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5), corner, corner);
  painter.restore();
}

// In the colour of highlights, which is seen.
bool HasFocusOutline(QStyle::PrimitiveElement element, const QStyleOption& option) {
  const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(&option);
  if (button != nullptr && (button->features & QStyleOptionButton::DefaultButton) != 0) return true;
  if ((option.state & QStyle::State_HasFocus) == 0) return false;
  return element == QStyle::PE_FrameLineEdit || (option.state & QStyle::State_KeyboardFocusChange) != 0;
}

}  // namespace

ProgramStyle::ProgramStyle(QStyle* base) : QProxyStyle(base), fusion_(baseStyle()->name() == QLatin1String("fusion")) {}

void ProgramStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
  QProxyStyle::drawPrimitive(element, option, painter, widget);
  if (!fusion_) return;
  switch (element) {
    case PE_FrameLineEdit:
    case PE_PanelButtonCommand:
      if (!HasFocusOutline(element, *option)) DrawOutline(*painter, *option, kCorner);
      return;
    case PE_IndicatorCheckBox:
      if (!HasFocusOutline(element, *option)) DrawOutline(*painter, *option, 0);
      return;
    case PE_IndicatorRadioButton:
      if (!HasFocusOutline(element, *option)) DrawOutline(*painter, *option, option->rect.width() / 2.0);
      return;
    case PE_Frame:
    case PE_PanelMenu:
    case PE_PanelTipLabel:
      if (HasHighContrast(option->palette)) DrawOutline(*painter, *option, 0);
      return;
    default:
      return;
  }
}

void ProgramStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
  const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(option);
  if (fusion_ && element == CE_PushButtonLabel && button != nullptr && button->direction == Qt::RightToLeft &&
      !button->icon.isNull()) {
    return DrawMirroredLabel(*button, *painter);
  }
  QProxyStyle::drawControl(element, option, painter, widget);
  if (!fusion_ || !HasHighContrast(option->palette)) return;
  const bool selected = (option->state & State_Selected) != 0;
  if (element == CE_ProgressBarGroove || (element == CE_TabBarTabShape && selected)) {
    DrawOutline(*painter, *option, kCorner);
  }
}

// The icon at the right of the caption, both in the middle.
void ProgramStyle::DrawMirroredLabel(const QStyleOptionButton& button, QPainter& painter) const {
  const bool enabled = (button.state & State_Enabled) != 0;
  const int text = button.fontMetrics.size(Qt::TextShowMnemonic, button.text).width();
  const int icon = button.iconSize.width();
  const int whole = text + (text > 0 ? kIconSpacing : 0) + icon;
  const QRect room = button.rect;
  const QRect label(room.left() + (room.width() - whole) / 2, room.top(), whole, room.height());
  button.icon.paint(&painter, QRect(label.right() + 1 - icon, label.top(), icon, label.height()), Qt::AlignCenter,
                    enabled ? QIcon::Normal : QIcon::Disabled, (button.state & State_On) != 0 ? QIcon::On : QIcon::Off);
  const bool underlined = styleHint(SH_UnderlineShortcut, &button) != 0;
  proxy()->drawItemText(&painter, QRect(label.left(), label.top(), text, label.height()),
                        Qt::AlignCenter | (underlined ? Qt::TextShowMnemonic : Qt::TextHideMnemonic), button.palette,
                        enabled, button.text, QPalette::ButtonText);
}

}  // namespace pellora
