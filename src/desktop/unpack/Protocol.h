// Protocol: how the program has one entry of an archive unpacked by its process pellora-unpack.
//
// The process gets one line on its standard input, ENTRY, then the packed bytes, and writes the unpacked ones to its
// standard output. It ends once all are written. Its exit code is an UnpackExit; the caller still counts and checks
// what came, as the bytes that the process has read may have taken it over.
//
// ENTRY has these words, apart by one blank: "unpack", then in decimal the method, the flags, DOS time, DOS date and
// CRC-32 as the archive's directory has them, the packed and the unpacked size, then in hexadecimal the data of extra
// field 0x9901 (AES) and the password, "-" for none. After a line feed the packed bytes follow.
#pragma once

namespace pellora {

inline constexpr const char* kUnpackProgram = "pellora-unpack";

enum UnpackExit : int {
  kUnpackDone = 0,
  kUnpackDamaged = 1,     // or the password is wrong
  kUnpackBadOrder = 2,    // the line cannot be understood
  kUnpackUnconfined = 3,  // nothing was read: the process could not be confined; the reason is on its standard error
  kUnpackEnded = 4,       // the packed bytes ended early, or nobody takes the unpacked ones
};

}  // namespace pellora
