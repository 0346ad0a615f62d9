// CertificateBundle: the system's trusted authorities and those of a user's file, in one file in memory, since libcurl
// keeps only one file of them parsed.
#pragma once

#include <string>

#include "desktop/PosixFile.h"

namespace pellora {

class CertificateBundle {
 public:
  CertificateBundle() = default;
  ~CertificateBundle();
  CertificateBundle(const CertificateBundle&) = delete;
  CertificateBundle& operator=(const CertificateBundle&) = delete;

  // A path that has both; another one after either file has changed. That of the system's alone, empty, if `extra` is
  // empty. One without any if `extra` cannot be read, or is no file: the connection then fails and says so.
  std::string With(const std::string& extra);
  static std::string SystemsPath();

 private:
  struct Source {
    std::string path;
    FileState state;
    friend bool operator==(const Source&, const Source&) = default;
  };
  void Close();

  Source system_, extra_;
  int file_ = -1;
};

}  // namespace pellora
