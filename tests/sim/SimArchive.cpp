#include "SimArchive.h"

#include "SimFaults.h"

namespace pellora {

namespace {

std::string Number(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xffU);
  return text;
}

}  // namespace

std::string SimCentralRecord(const SimMember& member) {
  return "PK\x01\x02" + Number(20, 2) + Number(20, 2) + Number(0, 2) + Number(8, 2) + Number(0x6000, 2) +
         Number(0x5b75, 2) + Number(member.crc, 4) + Number(member.packed, 4) + Number(member.normal, 4) +
         Number(member.name.size(), 2) + Number(member.extra.size(), 2) + Number(member.comment.size(), 2) +
         Number(0, 2) + Number(0, 2) + Number(0, 4) + Number(member.offset, 4) + member.name + member.extra +
         member.comment;
}

std::string SimDirectory(const std::vector<SimMember>& members) {
  std::string directory;
  for (const SimMember& member : members) directory += SimCentralRecord(member);
  return directory;
}

std::string SimEndRecord(std::size_t count, std::size_t directorySize, const std::string& comment) {
  return "PK\x05\x06" + Number(0, 4) + Number(count, 2) + Number(count, 2) + Number(directorySize, 4) + Number(100, 4) +
         Number(comment.size(), 2) + comment;
}

std::string SimArchive(const std::vector<SimMember>& members, std::size_t body, const std::string& comment) {
  const std::string directory = SimDirectory(members);
  return std::string(body, '\x7e') + directory + SimEndRecord(members.size(), directory.size(), comment);
}

std::vector<std::string> SimFolders::FoldersIn(const std::string& path) const {
  const auto at = folders.find(path);
  if (SimFails("folder listing", path) || at == folders.end()) throw Failure(FailureNumber::File, path + ": no medium");
  return at->second;
}

int SimUnzip::Unpack(const std::string& archive, const std::string& folder,
                     const std::function<void(std::string_view)>& print) {
  unpacked.emplace_back(archive, folder);
  for (const std::string& message : messages) print(message);
  if (during) during();
  if (SimFails("unzip", archive)) return kUnzipDiskFull;
  return result;
}

}  // namespace pellora
