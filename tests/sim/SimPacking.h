// SimPacking: packed and encrypted bytes as a ZIP archive has them, which every unpacker reads.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

// Deflate (RFC 1951, section 3.2.4) in blocks that are only stored.
std::string PackDeflate(std::string_view plain);

// The cipher of APPNOTE.TXT 6.3.10, section 6.1.
class ZipCipher {
 public:
  explicit ZipCipher(std::string_view password);
  char Encrypt(char plain);
  char Decrypt(char encrypted);

 private:
  void Update(char plain);
  unsigned char Mask() const;

  std::array<std::uint32_t, 3> keys_ = {0x12345678, 0x23456789, 0x34567890};
};

inline constexpr std::size_t kCipherHeader = 12;  // bytes before the packed ones

// With its header, whose last byte is the highest of `crc`: by that a password is checked.
std::string EncryptZip(std::string_view packed, std::string_view password, std::uint32_t crc);

}  // namespace pellora
