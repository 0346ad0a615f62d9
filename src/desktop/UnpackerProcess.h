// UnpackerProcess: decodes each entry in a process pellora-unpack, over pipes. See unpack/Protocol.h.
#pragma once

#include <memory>
#include <string>

#include "ports/Unpacker.h"

namespace pellora {

class EndedProcesses;

class UnpackerProcess final : public Unpacker {
 public:
  explicit UnpackerProcess(std::string program);  // its path
  ~UnpackerProcess() override;
  UnpackerProcess(const UnpackerProcess&) = delete;
  UnpackerProcess& operator=(const UnpackerProcess&) = delete;

  std::unique_ptr<Unpacking> Begin(const PackedEntry& entry) override;

 private:
  const std::string program_;
  const std::shared_ptr<EndedProcesses> ended_;
};

}  // namespace pellora
