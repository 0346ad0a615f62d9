// Unpacker: decodes the entries of ZIP archives (APPNOTE.TXT 6.3.10) in a process of its own, which can open no file
// and reach nobody: decoders of hostile bytes are not to be trusted.
//
// All calls belong to Background works, one entry's in order. None blocks for longer than about 100 ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace pellora {

// As the archive's directory has it.
struct PackedEntry {
  std::uint16_t method = 0;  // of packing, also for an entry that is encrypted by AES
  std::uint16_t flags = 0;
  std::uint16_t dosTime = 0;
  std::uint16_t dosDate = 0;
  std::uint32_t crc = 0;
  std::uint64_t packed = 0;  // bytes in the archive
  std::uint64_t size = 0;    // bytes unpacked
  std::string aes;           // data of extra field 0x9901; empty: none
  std::string password;      // empty: none

  bool operator==(const PackedEntry&) const = default;
};

enum class UnpackState : std::uint8_t {
  Working,
  Done,     // all bytes were given; whether they are the right ones is for the caller to check
  Damaged,  // the packed bytes are, or the password is wrong
  Failed,   // the process could not be started or confined, or was ended by something else
};

// One entry. Destroyed early, it ends its process.
class Unpacking {
 public:
  virtual ~Unpacking() = default;
  // Takes some of `packed`, the next packed bytes, and appends what has been unpacked to `plain`, at most about 1 MiB.
  // Returns how many bytes it took: those must not be given again. Returns 0 with nothing appended if the process was
  // busy for all of the time that a call may take. Empty `packed`: all were given, only the rest is fetched.
  virtual std::size_t Exchange(std::string_view packed, std::string& plain) = 0;
  // Working until the process has ended, and all that it unpacked was fetched.
  virtual UnpackState State() const = 0;
  virtual std::string Reason() const = 0;  // of Failed, for the user; else empty
};

class Unpacker {
 public:
  virtual ~Unpacker() = default;
  // Throws no Failure: what is wrong is the state.
  virtual std::unique_ptr<Unpacking> Begin(const PackedEntry& entry) = 0;
};

}  // namespace pellora
