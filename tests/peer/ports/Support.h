// Support for the port tests: a temporary folder, and running the event loop until a condition holds.
#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>

namespace pellora {

// False if it did not hold in time.
inline bool RunUntil(const std::function<bool()>& condition, int milliseconds = 30000) {
  const QDeadlineTimer deadline(milliseconds);
  QTimer wake;  // the condition may depend on another thread or process
  wake.start(10);
  while (!condition()) {
    if (deadline.hasExpired()) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

inline void RunFor(int milliseconds) {
  RunUntil([] { return false; }, milliseconds);
}

class Folder {
 public:
  Folder() {
    if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder: " + path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_ = (std::filesystem::temp_directory_path() / "pellora-test-XXXXXX").string();
};

inline std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void Put(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace pellora
