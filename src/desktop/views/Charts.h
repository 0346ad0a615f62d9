// Charts: the graph and the map of a transfer's window. Their colours are the palette's, or those of the segments'
// bars.
#pragma once

#include <QString>
#include <QWidget>
#include <vector>

#include "ui/Charts.h"

namespace pellora {

// Speeds over time: the newest at the end of the line, and the highest of them at the height of the whole.
class SpeedGraph : public QWidget {
  Q_OBJECT

 public:
  explicit SpeedGraph(QWidget* parent = nullptr);
  // `most` is the highest speed as a text.
  void Show(const std::vector<float>& speeds, const QString& most);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<float> speeds_;
  QString most_;
};

// A file from its first byte to its last: what is held, and hatched what connections are fetching.
class FileMapBar : public QWidget {
  Q_OBJECT

 public:
  explicit FileMapBar(QWidget* parent = nullptr);
  void Show(const std::vector<MapSpan>& held, const std::vector<MapSpan>& awaited);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<MapSpan> held_;
  std::vector<MapSpan> awaited_;
};

}  // namespace pellora
