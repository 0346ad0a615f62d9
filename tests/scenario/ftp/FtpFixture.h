// FtpFixture: the transfer fixture with one scripted FTP server, f.example.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "../transfer/TransferFixture.h"
#include "SimFtpServer.h"
#include "core/ListFile.h"

namespace pellora {

using Lines = std::vector<std::string>;

inline const Lines kProbeOfRootFile = {
    "USER anonymous", "PASS user@pellora.example", "TYPE I", "PWD", "PASV", "CWD /", "SIZE /a.bin", "TYPE A", "REST 0"};

class FtpFixture : public TransferFixture {
 protected:
  explicit FtpFixture(SimOptions options = {}) : TransferFixture(std::move(options)) {}
  ~FtpFixture() override { sim.DropProgram(); }  // while the server exists

  // The commands of a segment of /a.bin, from login to RETR.
  static Lines SegmentFrom(std::int64_t start) {
    return {"USER anonymous", "PASS user@pellora.example",     "PASV",
            "TYPE I",         "REST " + std::to_string(start), "RETR /a.bin"};
  }

  // Puts a file /a.bin of that length on the server and returns its address.
  std::string Serve(std::uint64_t length) {
    content = SimContent::Generated(length);
    server.File("/a.bin", content);
    return "ftp://f.example/a.bin";
  }

  bool RunUntilState(int segment, std::int16_t state, std::uint64_t limit = 60'000) {
    return sim.RunUntil([&] { return Record().SegmentCount >= segment && Record().Segment(segment).State == state; },
                        limit);
  }
  void Click(CommandButton TransferWindow::*button, int index = 1) {
    const auto window = WindowOf(index);
    ASSERT_TRUE(window);
    sim.Do([&] { ((*window).*button).Click(); });
  }
  void PauseOrResume(int index = 1) { Click(&TransferWindow::Command3, index); }
  void PauseAndResume(int index = 1) {
    PauseOrResume(index);
    PauseOrResume(index);
  }
  // The file on the disk equals the server's, and nothing is left open.
  void ExpectTheFile() {
    EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content)) << sim.Replay();
    sim.RunFor(2000);
    EXPECT_EQ(sim.network().Open(), 0);
  }
  std::size_t Boxes(const std::string& text) const {
    std::size_t count = 0;
    for (const BoxRequest& box : const_cast<SimPlatform&>(sim).dialogs().Boxes()) count += box.text == text ? 1 : 0;
    return count;
  }

  SimContent content;
  SimFtpServer server{sim.network(), "f.example"};
};

}  // namespace pellora
