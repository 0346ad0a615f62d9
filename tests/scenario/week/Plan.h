// LifePlan: everything about a life except what the program does, made from a seed in advance: settings, sizes of the
// files, sessions, the user's actions and the faults.
//
// The items are numbered and each has its own salt for random choices, so that any can be left out without changing the
// others. That is how a failing life is reduced.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace pellora {

enum class PlanKind {
  Session,    // the program runs for `at` ms and ends as the salt says
  Act,        // the user does something
  Stall,      // the machine is busy or asleep
  WallJump,   // the clock is set
  DiskFails,  // some kind of call fails, once or for some seconds
  DiskFull,   // no room for some seconds
  Wire,       // a connection to a server has a fault
  // Of lives with the web engine:
  Add,          // an address is added by a script
  Mood,         // a server misbehaves for some seconds
  Change,       // a file gets another version
  Restart,      // a server is restarted
  Outage,       // there is no network for some seconds
  PartsFail,    // some kind of call on part files and journal fails, once or for some seconds
  Certificate,  // that of a server is bad for some seconds
};

enum class SessionEnd { Quit, Kill, TornKill };

enum class PlanServer { Moody, Wild, Ftp };

struct PlanItem {
  PlanKind kind = PlanKind::Act;
  int session = 0;
  std::uint32_t at = 0;  // ms into the session
  std::uint64_t salt = 0;
  PlanServer server = PlanServer::Moody;  // of a wire
  int connection = 0;                     // of a wire: its number on that server, from 1
};

constexpr int kPlannedFiles = 16;

struct LifePlan {
  std::uint64_t seed = 0;
  std::uint32_t startTick = 0;
  std::map<std::string, std::string> settings;
  std::array<std::uint32_t, kPlannedFiles> sizes{};
  int sessions = 0;
  bool web = false;             // the platform has the web engine's ports
  bool onlyWeb = false;         // the user adds what the classic engine does not fetch
  bool powerCuts = false;       // some kills are those of the machine
  std::vector<int> webEngine;   // the setting in each session, then in the last ones
  std::vector<PlanItem> items;  // numbered by their index
};

// Lives without the web engine are the same whatever is changed in those with it.
LifePlan MakePlan(std::uint64_t seed, bool web = false);

SessionEnd EndOf(const PlanItem& session);
bool EndsWithPowerCut(const LifePlan& plan, const PlanItem& session);

// One line for each item, without the dropped ones.
std::string PlanText(const LifePlan& plan, const std::set<int>& dropped);

// "3,7-9" and back.
std::set<int> ReadNumbers(const std::string& text);
std::string WriteNumbers(const std::set<int>& numbers);

}  // namespace pellora
