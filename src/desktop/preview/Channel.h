// Channel: the process's end of the conversation. A thread of its own waits for lines, so that the end of the
// input ends the process even while a decoder goes round in circles.
#pragma once

#include <QImage>
#include <QObject>
#include <QString>
#include <functional>
#include <string>

#include "desktop/preview/Protocol.h"

namespace pellora {

class Channel : public QObject {
  Q_OBJECT

 public:
  // `line` is called in this object's thread for each line of the input, from the first turn of its loop on.
  explicit Channel(std::function<void(const std::string& line)> line);

  void Tell(PreviewMessage message);
  // Sends what `frame` gives once the frame before was seen. A newer one takes the place of one that waits,
  // which is then never made.
  void Show(std::function<QImage()> frame);
  // Shows it, and waits until it was sent.
  void ShowNow(const QImage& frame) { Send(frame); }

 private:
  void Take(const std::string& line);
  void SendWaiting();
  void Send(const QImage& frame);

  const std::function<void(const std::string& line)> line_;
  std::function<QImage()> waiting_;
  bool unseen_ = false;
};

}  // namespace pellora
