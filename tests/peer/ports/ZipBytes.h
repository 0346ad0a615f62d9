// ZipBytes: builds ZIP archives of stored members, including malformed ones.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pellora {

struct ZipMember {
  std::string name;
  std::string data = {};
  std::uint32_t mode = 0100644;  // Unix type and permissions
  std::uint16_t flags = 0;       // bit 0: encrypted
  bool badSum = false;
};

inline std::string ZipNumber(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xffU);
  return text;
}

inline std::uint32_t ZipSum(const std::string& data) {
  std::uint32_t sum = 0xffffffffU;
  for (const char c : data) {
    sum ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1U) ^ ((sum & 1U) != 0 ? 0xedb88320U : 0U);
  }
  return ~sum;
}

// The part common to both headers of a member. 21 November 2025, 12:00.
inline std::string ZipCommon(const ZipMember& member) {
  return ZipNumber(20, 2) + ZipNumber(member.flags, 2) + ZipNumber(0, 2) + ZipNumber(0x6000, 2) + ZipNumber(0x5b75, 2) +
         ZipNumber(ZipSum(member.data) ^ (member.badSum ? 1U : 0U), 4) + ZipNumber(member.data.size(), 4) +
         ZipNumber(member.data.size(), 4) + ZipNumber(member.name.size(), 2) + ZipNumber(0, 2);
}

inline std::string ZipBytes(const std::vector<ZipMember>& members) {
  std::string archive;
  std::string directory;
  for (const ZipMember& member : members) {
    directory += "PK\x01\x02" + ZipNumber(20 | 3U << 8U, 2) + ZipCommon(member) + ZipNumber(0, 2) + ZipNumber(0, 2) +
                 ZipNumber(0, 2) + ZipNumber(std::uint64_t{member.mode} << 16U, 4) + ZipNumber(archive.size(), 4) +
                 member.name;
    archive += "PK\x03\x04" + ZipCommon(member) + member.name + member.data;
  }
  const std::size_t offset = archive.size();
  archive += directory + "PK\x05\x06" + ZipNumber(0, 4) + ZipNumber(members.size(), 2) + ZipNumber(members.size(), 2) +
             ZipNumber(directory.size(), 4) + ZipNumber(offset, 4) + ZipNumber(0, 2);
  return archive;
}

}  // namespace pellora
