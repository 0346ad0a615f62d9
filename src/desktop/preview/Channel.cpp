#include "desktop/preview/Channel.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <thread>
#include <utility>

namespace pellora {

namespace {

[[noreturn]] void EndProcess(int code) { _exit(code); }

void WriteAll(const void* data, std::size_t size) {
  const char* at = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t count = write(STDOUT_FILENO, at, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) EndProcess(1);
    at += count;
    size -= static_cast<std::size_t>(count);
  }
}

}  // namespace

Channel::Channel(std::function<void(const std::string& line)> line) : line_(std::move(line)) {
  std::thread([this] {
    std::string text;
    std::array<char, 4096> block{};
    for (;;) {
      const ssize_t count = read(STDIN_FILENO, block.data(), block.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) EndProcess(0);
      text.append(block.data(), static_cast<std::size_t>(count));
      for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
        QMetaObject::invokeMethod(
            this, [this, one = text.substr(0, end)] { OnLine(one); }, Qt::QueuedConnection);
        text.erase(0, end + 1);
      }
    }
  }).detach();
}

void Channel::OnLine(const std::string& line) {
  if (line != "seen") return line_(line);
  awaitingSeen_ = false;
  SendWaiting();
}

void Channel::Report(PreviewMessage message) {
  const PreviewHead head{message, 0, 0};
  WriteAll(&head, sizeof head);
}

void Channel::Show(std::function<QImage()> frame) {
  waiting_ = std::move(frame);
  SendWaiting();
}

void Channel::SendWaiting() {
  if (awaitingSeen_ || !waiting_) return;
  Send(std::exchange(waiting_, nullptr)());
}

void Channel::Send(const QImage& frame) {
  if (frame.isNull()) return;
  const QImage image = frame.convertToFormat(QImage::Format_RGB32);
  const PreviewHead head{kPreviewFrame, static_cast<std::uint32_t>(image.width()),
                         static_cast<std::uint32_t>(image.height())};
  WriteAll(&head, sizeof head);
  for (int y = 0; y < image.height(); ++y)
    WriteAll(image.constScanLine(y), static_cast<std::size_t>(image.width()) * 4);
  awaitingSeen_ = true;
}

}  // namespace pellora
