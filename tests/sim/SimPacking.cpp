#include "SimPacking.h"

#include <algorithm>

#include "core/Crc32.h"

namespace pellora {

namespace {

std::uint32_t AddToCrc(std::uint32_t crc, char byte) { return ~Crc32({&byte, 1}, ~crc); }

}  // namespace

std::string PackDeflate(std::string_view plain) {
  constexpr std::size_t kBlock = 65535;
  std::string packed;
  do {
    const std::string_view block = plain.substr(0, kBlock);
    plain.remove_prefix(block.size());
    packed += static_cast<char>(plain.empty() ? 1 : 0);
    const auto length = static_cast<std::uint16_t>(block.size());
    for (const unsigned number : {unsigned{length}, ~unsigned{length}}) {
      packed += static_cast<char>(number & 0xFFU);
      packed += static_cast<char>(number >> 8U & 0xFFU);
    }
    packed += block;
  } while (!plain.empty());
  return packed;
}

ZipCipher::ZipCipher(std::string_view password) {
  for (const char byte : password) Update(byte);
}

void ZipCipher::Update(char plain) {
  keys_[0] = AddToCrc(keys_[0], plain);
  keys_[1] = (keys_[1] + (keys_[0] & 0xFFU)) * 134775813U + 1U;
  keys_[2] = AddToCrc(keys_[2], static_cast<char>(keys_[1] >> 24U));
}

unsigned char ZipCipher::Mask() const {
  const std::uint32_t odd = (keys_[2] | 2U) & 0xFFFFU;
  return static_cast<unsigned char>(odd * (odd ^ 1U) >> 8U);
}

char ZipCipher::Encrypt(char plain) {
  const auto encrypted = static_cast<char>(static_cast<unsigned char>(plain) ^ Mask());
  Update(plain);
  return encrypted;
}

char ZipCipher::Decrypt(char encrypted) {
  const auto plain = static_cast<char>(static_cast<unsigned char>(encrypted) ^ Mask());
  Update(plain);
  return plain;
}

std::string EncryptZip(std::string_view packed, std::string_view password, std::uint32_t crc) {
  ZipCipher cipher(password);
  std::string plain = "any header.";
  plain += static_cast<char>(crc >> 24U);
  plain += packed;
  std::transform(plain.begin(), plain.end(), plain.begin(), [&](char byte) { return cipher.Encrypt(byte); });
  return plain;
}

}  // namespace pellora
