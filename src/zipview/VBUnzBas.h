// VBUnzBas: the unzip layer. It has one user, the hand-over of the program's own update package; an archive
// of the user's never reaches it.
//
// Of the questions that an unzip library can ask none comes up: existing files are replaced, and nobody is
// asked for a password, which counts as one left empty.
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

  // Unpacks ArchivePath into TargetFolder, in one go. Returns the library's result, 0 for success.
  int VBUnZip32();

 private:
  void Print(std::string_view text);

  Unzip& library_;
};

}  // namespace pellora
