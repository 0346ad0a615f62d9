// SimArchive: ZIP archives made in memory as real writers do, and the two ports of the archive viewer: folders to
// choose from, and an unzip library that does what the test says.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Failure.h"
#include "ports/Folders.h"
#include "ports/Unzip.h"

namespace pellora {

struct SimMember {
  std::string name;
  std::uint32_t packed = 0;
  std::uint32_t normal = 0;
  std::string extra = {};    // of the central record
  std::string comment = {};  // of the central record
  std::uint32_t offset = 0;
  std::uint32_t crc = 0;
};

std::string SimCentralRecord(const SimMember& member);
std::string SimDirectory(const std::vector<SimMember>& members);
std::string SimEndRecord(std::size_t count, std::size_t directorySize, const std::string& comment = {});

// `body` bytes stand for the members themselves, which nothing reads.
std::string SimArchive(const std::vector<SimMember>& members, std::size_t body = 100, const std::string& comment = {});

class SimFolders final : public Folders {
 public:
  std::vector<std::string> Drives() const override { return drives; }
  std::vector<std::string> FoldersIn(const std::string& path) const override;

  std::vector<std::string> drives = {"/", "/media/disk"};
  std::map<std::string, std::vector<std::string>> folders = {
      {"/", {"home", "media"}}, {"/home", {"u"}}, {"/home/u", {}}};
};

class SimUnzip final : public Unzip {
 public:
  int Unpack(const std::string& archive, const std::string& folder,
             const std::function<void(std::string_view)>& print) override;

  int result = kUnzipDone;
  std::vector<std::string> messages;                          // printed while unpacking
  std::vector<std::pair<std::string, std::string>> unpacked;  // archive, folder
  std::function<void()> during;
};

}  // namespace pellora
