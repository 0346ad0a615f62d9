#include "tools/Password.h"

#include <termios.h>
#include <unistd.h>

#include <QStringDecoder>
#include <cerrno>
#include <cstdio>
#include <string>

namespace pellora {

namespace {

constexpr std::size_t kLongestPassword = 4096;  // bytes

// A terminal's echo, off while this exists.
class EchoOff {
 public:
  EchoOff() {
    if (tcgetattr(STDIN_FILENO, &former_) != 0) return;
    termios silent = former_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    isOff_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
  }
  ~EchoOff() {
    if (isOff_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &former_);
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  termios former_{};
  bool isOff_ = false;
};

// Byte by byte: what follows the line is not this program's.
std::string ReadLine() {
  std::string line;
  for (;;) {
    char c = 0;
    const ssize_t count = ::read(STDIN_FILENO, &c, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || c == '\n' || line.size() > kLongestPassword) return line;
    line += c;
  }
}

std::string ReadLineOfTerminal(const char* prompt) {
  const EchoOff echoOff;
  std::fputs(prompt, stderr);
  std::string line = ReadLine();
  std::fputs("\n", stderr);
  return line;
}

}  // namespace

std::optional<QString> ReadPassword(const char* prompt) {
  std::string line = isatty(STDIN_FILENO) == 1 ? ReadLineOfTerminal(prompt) : ReadLine();
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty() || line.size() > kLongestPassword) return std::nullopt;
  QStringDecoder decoder(QStringDecoder::Utf8);
  QString password = decoder(QByteArray::fromStdString(line));
  if (decoder.hasError()) return std::nullopt;
  return password;
}

}  // namespace pellora
