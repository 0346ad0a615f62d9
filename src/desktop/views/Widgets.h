// Widgets: small widgets for the forms that Qt lacks. Properties set by a form have setters named as the form compiler
// expects.
#pragma once

#include <QColor>
#include <QEvent>
#include <QFrame>
#include <QGroupBox>
#include <QIcon>
#include <QLabel>
#include <QScrollArea>
#include <QString>
#include <QTextOption>
#include <QWidget>
#include <functional>

namespace pellora {

// A one-line label that elides a long text in the middle, so that the end of a URL stays readable. While elided, the
// whole text is its tool tip.
class ElidedLabel : public QLabel {
  Q_OBJECT

 public:
  explicit ElidedLabel(QWidget* parent = nullptr);
  QSize minimumSizeHint() const override;
  // Elides the end instead, for sentences.
  void CutAtEnd() { mode_ = Qt::ElideRight; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;

 private:
  Qt::TextElideMode mode_ = Qt::ElideMiddle;
};

// A label that wraps its text between words, and within those that are longer than a line, such as a URL.
class WrappedLabel : public QLabel {
  Q_OBJECT

 public:
  explicit WrappedLabel(QWidget* parent = nullptr);
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QTextOption Wrapping() const;
};

// A drawing at the size of the widget, crisp at every scale.
class IconLabel : public QWidget {
  Q_OBJECT
  Q_PROPERTY(QString drawing READ DrawingName WRITE setDrawing)
  Q_PROPERTY(int extent READ Extent WRITE setExtent)

 public:
  explicit IconLabel(QWidget* parent = nullptr);
  QString DrawingName() const { return drawing_; }
  void setDrawing(const QString& name);
  void SetIcon(const QIcon& icon);
  int Extent() const { return extent_; }
  void setExtent(int extent);
  QSize sizeHint() const override { return {extent_, extent_}; }
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString drawing_;
  QIcon icon_;
  int extent_ = 16;
};

// The frame of a segment's bar: a rounded groove.
class BarFrame : public QWidget {
  Q_OBJECT

 public:
  explicit BarFrame(QWidget* parent = nullptr);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void DrawFrame(QPixmap& frame, const QColor& text, const QColor& groove) const;
};

// The bar of a segment. Its length is in twips, of which fullLength fill the widget.
class SegmentBar : public QWidget {
  Q_OBJECT
  Q_PROPERTY(double fullLength READ FullLength WRITE setFullLength)

 public:
  explicit SegmentBar(QWidget* parent = nullptr);
  double FullLength() const { return fullLength_; }
  void setFullLength(double twips) { fullLength_ = twips; }
  void SetLength(double twips);
  void SetColour(const QColor& colour);
  double Share() const;  // of the widget's width, 0 to 1
  int Percent() const;   // whole ones

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  double fullLength_ = 2520;
  double length_ = 0;
  QColor colour_;
};

// A thin line between two parts of a form, quiet on every palette.
class HairLine : public QWidget {
  Q_OBJECT

 public:
  explicit HairLine(QWidget* parent = nullptr);
  QSize sizeHint() const override { return {20, 5}; }

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// A label to be pressed, with the focus rectangle that QLabel lacks.
class FocusLabel : public QLabel {
  Q_OBJECT

 public:
  using QLabel::QLabel;

 signals:
  void Pressed();  // by a key, or by assistive technology

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
};

// The name of a key that is on or off: bold, or dim.
class KeyLabel : public QLabel {
  Q_OBJECT

 public:
  using QLabel::QLabel;
  bool IsOn() const { return on_; }
  void SetOn(bool on);

 private:
  bool on_ = false;
};

// A scrolled area that shows in its frame that it has the focus.
class FocusScrollArea : public QScrollArea {
  Q_OBJECT

 public:
  using QScrollArea::QScrollArea;

 protected:
  bool event(QEvent* event) override;
};

// The pages of a form, which scroll only where the screen is too low for them: elsewhere the form is as high as they
// are.
class PageArea : public QScrollArea {
  Q_OBJECT

 public:
  explicit PageArea(QWidget* parent = nullptr);
  ~PageArea() override;
  PageArea(const PageArea&) = delete;
  PageArea& operator=(const PageArea&) = delete;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;

 private:
  int RoomOnScreen() const;
  void Reveal(QWidget* focused);

  int pageHeight_ = 0;
  QMetaObject::Connection followsFocus_;
};

// A group box around what changes often. It draws its frame and its title only where they are to be drawn: the style's
// pictures cost more than all that is inside.
class QuietGroupBox : public QGroupBox {
  Q_OBJECT

 public:
  using QGroupBox::QGroupBox;

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// Calls back when a widget gets an event of one kind.
class EventWatcher : public QObject {
  Q_OBJECT

 public:
  EventWatcher(QWidget& widget, QEvent::Type kind, QObject* parent, std::function<void()> came);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const QEvent::Type kind_;
  const std::function<void()> came_;
};

// How well one colour is seen on another, 1 to 21, as WCAG 2.1 computes it.
double Contrast(const QColor& colour, const QColor& ground);

// The ground of bars and charts.
QColor GrooveColour(const QPalette& palette);

// A colour of the program as it is drawn: the same hue, softened, but always clear on the groove.
QColor Softened(const QColor& colour, const QPalette& palette);

// The theme's link colour, or a stronger one; `highlighted`: under the pointer.
QColor LinkColour(const QPalette& palette, bool highlighted);

}  // namespace pellora
