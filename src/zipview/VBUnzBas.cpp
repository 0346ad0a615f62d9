#include "zipview/VBUnzBas.h"

#include "ports/Unzip.h"

namespace pellora {

int VBUnzBas::VBUnZip32() {
  UnzipMessages.clear();
  return library_.Unpack(ArchivePath, TargetFolder, [this](std::string_view text) { Print(text); });
}

// The whole of a text that begins with a line feed counts as one line end.
void VBUnzBas::Print(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  UnzipMessages += text.starts_with('\n') ? "\r\n" : text;
}

}  // namespace pellora
