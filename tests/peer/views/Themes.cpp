#include "Themes.h"

#include <QApplication>
#include <QColor>
#include <QStyle>

namespace pellora::testing_views {

namespace {

QPalette Dark() {
  QPalette palette;
  const QColor window(0x2b, 0x2d, 0x31);
  const QColor base(0x22, 0x24, 0x28);
  const QColor text(0xe4, 0xe6, 0xea);
  palette.setColor(QPalette::Window, window);
  palette.setColor(QPalette::WindowText, text);
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::AlternateBase, QColor(0x27, 0x29, 0x2d));
  palette.setColor(QPalette::Text, text);
  palette.setColor(QPalette::Button, QColor(0x35, 0x38, 0x3d));
  palette.setColor(QPalette::ButtonText, text);
  palette.setColor(QPalette::BrightText, Qt::white);
  palette.setColor(QPalette::Highlight, QColor(0x2f, 0x7f, 0xd6));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::PlaceholderText, QColor(0xe4, 0xe6, 0xea, 150));
  palette.setColor(QPalette::ToolTipBase, base);
  palette.setColor(QPalette::ToolTipText, text);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, QColor(0x80, 0x84, 0x8a));
  }
  return palette;
}

// Two colours and one to mark with, as high-contrast themes have them.
QPalette TwoColours(const QColor& back, const QColor& text, const QColor& mark) {
  QPalette palette;
  for (const auto role : {QPalette::Window, QPalette::Base, QPalette::AlternateBase, QPalette::Button,
                          QPalette::ToolTipBase, QPalette::HighlightedText}) {
    palette.setColor(role, back);
  }
  for (const auto role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::BrightText, QPalette::ToolTipText,
        QPalette::PlaceholderText, QPalette::Light, QPalette::Mid, QPalette::Dark, QPalette::Shadow}) {
    palette.setColor(role, text);
  }
  palette.setColor(QPalette::Highlight, mark);
  return palette;
}

}  // namespace

std::array<Theme, 4> Themes() {
  return {{{"light", QApplication::style()->standardPalette()},
           {"dark", Dark()},
           {"black-on-white", TwoColours(Qt::white, Qt::black, QColor(0, 0, 0x80))},
           {"white-on-black", TwoColours(Qt::black, Qt::white, QColor(0xff, 0xff, 0))}}};
}

}  // namespace pellora::testing_views
