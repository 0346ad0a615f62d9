// Life: the whole program in virtual time, with servers of several kinds and a user who does anything at
// random, all from one seed. Sessions end by quitting or by a kill, and the next one finds the disk as
// the last one left it.
//
// Every file has a name of its own, so that a finished record and the bytes under its name can be held
// against the origin. Check looks at what must hold at any time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "SimFtpServer.h"
#include "SimPlatform.h"
#include "app/App.h"
#include "mainwin/MainWindow.h"

namespace pellora {

class Life {
 public:
  explicit Life(std::uint64_t seed);
  ~Life();

  // Starts the program on what the last session left.
  void Begin();
  // Lets the program run for that long while the user does something every few seconds.
  void LiveFor(std::uint64_t milliseconds);
  // Ends the session: by quitting, or by a kill at whatever the program does.
  void Quit();
  void Kill();
  // Nothing fails any more, the user answers and resumes: everything that honest servers have must finish
  // within `limit`. False if something does not.
  bool Settle(std::uint64_t limit);

  // What is wrong, one line each; empty if all is well.
  std::vector<std::string> Check();
  std::string Replay() const { return "PELLORA_SEED=" + std::to_string(seed_); }

  bool Running() const { return app_ != nullptr; }
  std::string Listed() const;  // every record and its segments' states, for messages
  int Started() const { return added_; }
  App& app() { return *app_; }
  SimPlatform& sim() { return *sim_; }

 private:
  void MakeServers();
  void ChooseFaults();
  void ServeFtp();
  FtpFault RandomFtpFault();
  void Act();
  void ActOnList();
  void ActOnPane(MainWindow& window);
  void ActOnWindow();
  void ActOnOptions();
  void ActOnQuestion();
  void ActOutside();
  void CopyUrl();
  std::string RandomUrl();
  std::int16_t RandomRecord();
  void CheckRecord(int index, std::vector<std::string>& wrong);
  std::uint64_t Random(std::uint64_t below);
  void EndSession();

  std::uint64_t seed_;
  SimRandom random_;
  SimDiskState disk_;
  SimSettings settings_;
  SimHttpServer honest_;
  SimHttpServer moody_;
  std::unique_ptr<SimFtpServer> ftp_;  // of the session
  std::vector<SimContent> files_;
  std::vector<std::string> names_;
  double serial_ = 46000.4;
  std::uint32_t tick_;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<App> app_;
  int added_ = 0;
};

}  // namespace pellora
