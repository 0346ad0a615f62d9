// The program on a simulated desktop, over a network and a disk that do nothing, so that only the program's own work is
// measured. The network exposes the sockets' events, so that a measurement can act as the server.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SampleRecord.h"
#include "SimPlatform.h"
#include "app/NewTransferWindow.h"
#include "core/Program.h"
#include "mainwin/MainWindow.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

class StillNetwork final : public Network {
 public:
  std::unique_ptr<Connection> Connect(const std::string&, std::int32_t, ConnectionEvents& events) override {
    connecting.push_back(&events);
    return std::make_unique<StillConnection>();
  }
  bool HasConnection() const override { return true; }

  std::vector<ConnectionEvents*> connecting;  // in the order of their attempts

 private:
  class StillConnection final : public Connection {
    void Send(std::string_view) override {}
    void Close() override {}
    void SetReading(bool) override {}
    void ReadAtMost(std::size_t) override {}
  };
};

class StillFiles final : public Files {
 public:
  std::unique_ptr<File> Open(const std::string&, FileKind) override { return std::make_unique<StillFile>(); }
  PartName LookAtPart(const std::string&) const override { return PartName::Own; }
  std::unique_ptr<File> OpenForReading(const std::string&) override { return std::make_unique<StillFile>(); }
  void Delete(const std::string&) override {}
  void CreateFolder(const std::string&) override {}
  bool Exists(const std::string&) const override { return true; }
  bool FolderExists(const std::string&) const override { return true; }
  std::uint64_t LengthOf(const std::string&) const override { return 0; }
  std::vector<std::string> FilesIn(const std::string&) const override { return {}; }

 private:
  class StillFile final : public File {
    void WriteAt(std::uint64_t, std::string_view) override {}
    std::size_t ReadAt(std::uint64_t, std::span<char>) override { return 0; }
    std::uint64_t Length() override { return 0; }
    void Reserve(std::uint64_t) override {}
  };
};

class StillProgram {
 public:
  // Of `records` records, `active` are active and `finished`, at the end, are finished.
  StillProgram(int records, int active, int finished)
      : platform{sim.gate(),     sim.loop(),      sim.tasks(),   sim.loop(),      network,       files,
                 sim.settings(), sim.clipboard(), sim.dialogs(), sim.shell(),     sim.machine(), sim.locale(),
                 sim.tray(),     sim.windows(),   sim.media(),   sim.background()},
        program(platform) {
    sim.machine().programFolder = "/prog";
    program.listLoaded = true;
    program.settings.MaxSimulDownlads = static_cast<std::int16_t>(active);
    program.ResizeDownloads(static_cast<std::int16_t>(records));
    for (int i = 1; i <= records; ++i) {
      DownloadRecord& record = program.Download(i);
      record = Sample(i);
      record.FileSize = kSampleSegments * 1000000;
      record.Percent = static_cast<float>(i % 1000) / 10;
      record.DateAdded = 46000 + i / 86400.0;
      record.Active = i <= active;
      record.Paused = !record.Active;
      record.Finished = i > records - finished;
    }
    window = std::make_shared<MainWindow>(program);
    program.lists = window.get();
    window->Load();
    window->RefreshRows(0, 1);
  }
  ~StillProgram() { sim.DropProgram(); }
  StillProgram(const StillProgram&) = delete;
  StillProgram& operator=(const StillProgram&) = delete;

  // The first record's window, with all segments connected and receiving the body.
  std::shared_ptr<TransferWindow> Transfer() {
    DownloadRecord& record = program.Download(1);
    record.FileSize = 2000000000;
    for (int i = 1; i <= record.SegmentCount; ++i) {
      SegmentRecord& segment = record.Segment(i);
      segment.RangeStart = (i - 1) * 250000000;
      segment.RangeEnd = i * 250000000 - 1;
      segment.RangeSize = 250000000;
      segment.Enabled = segment.Watched = true;
    }
    record.Active = false;
    record.Paused = true;
    auto transfer = NewTransferWindow(program, 1);
    program.TransferWindowAt(1) = transfer;
    sim.Do([&] {
      transfer->SetRecordIndex(1);
      transfer->Load();
      sim.tasks().Spawn(transfer->ResumeDownload());
    });
    for (std::size_t i = 0; i < static_cast<std::size_t>(record.SegmentCount); ++i) {
      sim.RunUntil([&] { return network.connecting.size() > i; }, 10000);
      sim.Do([&] { network.connecting.at(i)->Connected(); });
      Deliver(i, "HTTP/1.1 206 Partial Content\r\nContent-Length: 250000000\r\n\r\n");
    }
    return transfer;
  }
  void Deliver(std::size_t segment, std::string_view block) {
    sim.gate().Deliver([&] { network.connecting[segment]->DataArrived(block); });
  }

  SimPlatform sim;
  StillNetwork network;
  StillFiles files;
  Platform platform;
  Program program;
  std::shared_ptr<MainWindow> window;
};

}  // namespace pellora
