// TransferFixture: a test on one TransferRig with a server, http://o.example/.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "TransferRig.h"

namespace pellora {

class TransferFixture : public ::testing::Test, protected TransferRig {
 protected:
  explicit TransferFixture(SimOptions options = {}) : TransferRig(std::move(options)) {}
  ~TransferFixture() override { sim.DropProgram(); }  // while the server stands

  // A generated file on `origin`, at o.example, and the download of it.
  SimContent Serve(const std::string& path, std::uint64_t length, std::uint64_t salt = 1) {
    SimContent content = SimContent::Generated(length, salt);
    origin.File(path, content);
    return content;
  }
  // Every connection of `origin` has this wire from now on.
  void Wire(std::uint32_t latency, std::uint64_t bytesPerSecond) {
    HttpFault fault;
    fault.wire.latency = latency;
    fault.wire.bytesPerSecond = bytesPerSecond;
    origin.Always(fault);
  }
  HttpFault Hang(std::uint64_t bytesOfBody) {
    HttpFault fault;
    fault.hangInBody = bytesOfBody;
    return fault;
  }

  SimHttpServer origin{sim.network(), "o.example"};
};

}  // namespace pellora
