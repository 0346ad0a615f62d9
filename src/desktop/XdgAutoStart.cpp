#include "desktop/XdgAutoStart.h"

#include <optional>

#include "desktop/AtomicFile.h"
#include "desktop/Registration.h"
#include "ports/Failure.h"

namespace pellora {

std::string XdgAutoStart::Text() const {
  if (program_ == kInstalledCommand) return InstalledEntryText(program_);
  return ApplicationEntryText(program_);
}

void XdgAutoStart::SetEntry(bool present) {
  if (present) {
    UpdateFile(entry_, Text(), 0644);
  } else {
    RemoveFile(entry_);
  }
}

void XdgAutoStart::TakeOver() {
  Skip([this] {
    const std::optional<std::string> found = ReadSmallFile(entry_);
    if (found && IsApplicationEntry(*found)) UpdateFile(entry_, Text(), 0644);
  });
}

}  // namespace pellora
