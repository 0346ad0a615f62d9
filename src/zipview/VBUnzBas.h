// VBUnzBas: the unzip layer. Only the hand-over of the program's own update package uses it, never the user's archives.
//
// It asks no questions: existing files are replaced, and passwords count as left empty.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

class Unzip;

class VBUnzBas {
 public:
  explicit VBUnzBas(Unzip& library) : library_(library) {}

  std::string ArchivePath;
  std::string TargetFolder;
  std::string UnzipMessages;  // what the library printed in the last run

  // Unpacks ArchivePath into TargetFolder without waiting. Returns the library's result, 0 for success.
  int VBUnZip32();

 private:
  void Print(std::string_view text);

  Unzip& library_;
};

}  // namespace pellora
