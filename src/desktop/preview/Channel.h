// Channel: the preview process's end of the protocol. A separate thread reads the input, so that its end ends the
// process even while a decoder is in an endless loop.
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
  // `line` is called in this object's thread for each line of the input, once its event loop runs.
  explicit Channel(std::function<void(const std::string& line)> line);

  void Report(PreviewMessage message);
  // Sends the result of `frame` once the previous frame was seen. A newer call replaces a waiting one, whose frame is
  // never made.
  void Show(std::function<QImage()> frame);
  // Sends it before returning.
  void ShowNow(const QImage& frame) { Send(frame); }

 private:
  void OnLine(const std::string& line);
  void SendWaiting();
  void Send(const QImage& frame);

  const std::function<void(const std::string& line)> line_;
  std::function<QImage()> waiting_;
  bool awaitingSeen_ = false;
};

}  // namespace pellora
