// Shell: files, addresses and programs handed to the desktop.
#pragma once

#include <string>
#include <vector>

namespace pellora {

class Shell {
 public:
  virtual ~Shell() = default;
  // Opens a file or folder with the desktop's program for it.
  virtual void OpenPath(const std::string& path, const std::string& workingFolder) = 0;
  // Opens an http, https or ftp address in the user's browser, and no other.
  virtual void OpenUrl(const std::string& url) = 0;
  // Starts a program without a shell and without waiting. A missing file is a Failure(File).
  virtual void Start(const std::string& program, const std::vector<std::string>& arguments) = 0;
};

}  // namespace pellora
