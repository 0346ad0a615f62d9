// Layout: computes the places of the main window's parts from its inner size.
#include <cstddef>
#include <vector>

#include "mainwin/MainWindow.h"

namespace pellora {

namespace {

// Smallest outer size in pixels at 96 dpi.
constexpr int kMinimumWidth = 715;
constexpr int kMinimumHeight = 534;

constexpr double kStatusColumn = 70;  // wide enough for the percentage

// A negative length is not set: the control keeps its own.
void SetLength(Property<double>& length, double value) {
  if (value >= 0) length = value;
}

void SetWidths(ListView& list, const std::vector<double>& widths) {
  std::vector<ControlPart> columns = list.Columns;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (widths[i] >= 0) columns.at(i).width = widths[i];
  }
  list.Columns = std::move(columns);
}

}  // namespace

// Enforces the limit by setting the size; the resulting event lays the window out again.
void MainWindow::Resize() {
  if (State() == WindowState::Minimised) return;
  if (Width < kMinimumWidth) Width = kMinimumWidth;
  if (Height < kMinimumHeight) Height = kMinimumHeight;
  const double w = InnerWidth();
  const double h = InnerHeight();

  SetLength(ListView1.Width, w - 20);
  SetLength(ListView2.Width, showSidePane_ ? w - 250 : w - 20);
  TabStrip1.Visible = showSidePane_;
  Picture1.Visible = showSidePane_;
  Details.Visible = showSidePane_ && TabStrip1.Selected == 1;
  Command4.Caption = showSidePane_ ? ">" : "<";
  SetLength(ListView2.Height, h - 240);
  Picture1.Left = w - 230;
  Details.Left = w - 230;
  TabStrip1.Left = w - 232;
  Command4.Left = w - 30;

  // The fractions leave room for the vertical scroll bar.
  const double w2 = ListView2.Width - 81;
  SetWidths(ListView2, {0.35 * w2, 0.1 * w2, 0.35 * w2, 0.2 * w2});
  const double w1 = ListView1.Width - 130.7;
  SetWidths(ListView1, {0.24 * w1, 0.23 * w1, 0.1 * w1, kStatusColumn, 0.2 * w1, 0.1 * w1});
}

// Does not write an equal text again, so that the status bar does not flicker under the mouse.
void MainWindow::Status(const std::string& text) {
  if (StatusBar1.Panels().front() != text) StatusBar1.SetPanel(1, text);
}

}  // namespace pellora
