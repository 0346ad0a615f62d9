// ProgramStyle: the desktop's style. Where that is Qt's own, Fusion, two of its faults are put right; others draw as
// they are.
//
// Fusion derives outlines from the colour of windows alone: black on black in a theme of high contrast, and hardly
// darker than a dark window. Where they have less contrast than WCAG 2.1 asks of graphics, fields, buttons and boxes
// get a line over them, and in themes of high contrast so do lists, menus, bars and the selected tab. And in windows
// that are laid out from right to left, it puts the caption of a button with an icon at the button's edge.
#pragma once

#include <QPalette>
#include <QProxyStyle>

class QStyleOptionButton;

namespace pellora {

class ProgramStyle : public QProxyStyle {
 public:
  // Over the desktop's style, or over this one, which it then owns.
  explicit ProgramStyle(QStyle* base = nullptr);

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override;

 private:
  void DrawMirroredLabel(const QStyleOptionButton& button, QPainter& painter) const;

  bool fusion_;
};

}  // namespace pellora
