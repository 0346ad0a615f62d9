// ArchiveLook: an archive of the web engine into which the user wants to look before anything of it is downloaded.
#pragma once

#include <cstdint>
#include <string>

#include "core/WebAdd.h"

namespace pellora {

struct ArchiveLook {
  std::string url;
  WebAdd add{};  // login and hand-over
  // The record that is to continue if the whole archive is wanted; 0: none, it is added then.
  std::int16_t record = 0;
  std::uint32_t serial = 0;
  // The record has only been waiting for this: it leaves the list once some files are taken instead of all.
  bool waits = false;
  std::string name{};  // that the user has given the archive's file; empty: none
};

}  // namespace pellora
