// Widgets: the small widgets that the forms use where Qt has none of the kind. What a form sets has
// setters named as the form compiler expects them.
#pragma once

#include <QColor>
#include <QFrame>
#include <QIcon>
#include <QLabel>
#include <QString>
#include <QWidget>

namespace pellora {

// A label of one line that cuts a long text in its middle, so that the end of a URL stays readable. The
// whole text is its tool tip while it is cut.
class ElidedLabel : public QLabel {
  Q_OBJECT

 public:
  explicit ElidedLabel(QWidget* parent = nullptr);
  QSize minimumSizeHint() const override;
  // Cuts the end instead, for sentences.
  void CutAtEnd() { mode_ = Qt::ElideRight; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;

 private:
  Qt::TextElideMode mode_ = Qt::ElideMiddle;
};

// A label that shows its text whole, in as many lines as it takes, also one without blanks, such as a URL.
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
};

// A drawing at the size of the widget, crisp on every scale.
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
};

// The bar of a segment. Its length is told in twips, of which fullLength fill the widget.
class SegmentBar : public QWidget {
  Q_OBJECT
  Q_PROPERTY(double fullLength READ FullLength WRITE setFullLength)

 public:
  explicit SegmentBar(QWidget* parent = nullptr);
  double FullLength() const { return fullLength_; }
  void setFullLength(double twips) { fullLength_ = twips; }
  void SetLength(double twips);
  void SetColour(const QColor& colour);
  double Share() const;  // 0 to 1, of the widget's width

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

// A colour of the program as it is drawn: the same hue, calm enough and legible on the palette's base.
QColor Softened(const QColor& told, const QPalette& palette);

}  // namespace pellora
