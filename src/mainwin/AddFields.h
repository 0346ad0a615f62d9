// AddFields: what the user types into the fold of the add dialog, as a request.
#pragma once

#include <string>

#include "mainwin/AddDownload.h"

namespace pellora {

struct AddressReading;
struct Platform;

struct AddFields {
  std::string folder;
  std::string name;
  std::string user;
  std::string password;
  std::string checksum;
  std::string page;
  std::string cookies;
  std::string speedLimit;  // KiB/s
  bool beginsLater = false;
  std::string beginAt;  // date and time in the locale's forms; a time alone is the next such moment
};

struct FieldsReading {
  AddRequest request;
  std::string fault;  // what is wrong, for the user; empty if nothing is
};
// Empty fields ask for nothing. Whether the folder can be written to is not examined.
FieldsReading ReadAddFields(Program& program, const std::string& url, const AddFields& fields);

// True if the classic engine, to which the address goes, would ignore a part of the request besides checksums.
bool AsksTooMuchOfClassic(const AddressReading& address, const AddRequest& request);

// What a download of that address would meet that the user may not want: it is listed, or its name is taken. Empty if
// nothing is known.
std::string ForetoldOf(Program& program, const std::string& url, const std::string& folder, const std::string& name);

// A file can be created in the folder now. Belongs into the background.
bool CanWriteIn(const Platform& platform, const std::string& folder);

}  // namespace pellora
