// FileFacts: what a server says of a file as a whole, which distinguishes its versions.
#pragma once

#include <cstdint>
#include <string>

namespace pellora {

// What distinguishes the versions of a file (RFC 9110, section 8.8).
struct Validator {
  std::string etag;  // with its quotes, without "W/"; empty: none
  bool weak = false;
  std::string lastModified;  // as sent; empty: none
  bool settled = false;      // the answer's Date is 60 s or more after lastModified, so that this date is strong

  bool operator==(const Validator&) const = default;
};

// What is known of a file from the first answer, and kept over restarts.
struct FileFacts {
  std::int64_t total = -1;     // bytes; -1: not known
  Validator validator;         // of http and https
  std::int64_t modified = -1;  // of ftp, ftps and sftp, seconds since 1970; -1: not known

  bool operator==(const FileFacts&) const = default;
};

}  // namespace pellora
