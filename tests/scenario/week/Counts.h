// Counts: how often each thing occurred in one or many lives.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace pellora {

constexpr int kSegmentStates = 12;

struct Counts {
  std::uint64_t lives = 0;
  std::uint64_t sessions = 0;
  std::uint64_t events = 0;
  std::uint64_t records = 0;   // planned, or loaded from the list
  std::uint64_t finished = 0;  // at the end
  std::uint64_t written = 0;   // bytes compared with the origin's
  std::uint64_t saves = 0;     // of the list, each read back
  std::uint64_t mostTasks = 0;
  std::uint64_t mostAlarms = 0;
  std::uint64_t mostSockets = 0;
  std::array<std::array<std::uint64_t, kSegmentStates>, kSegmentStates> transitions{};
  std::map<std::string, std::uint64_t> faults;

  void Add(const Counts& other);
  // As text, to pass between processes.
  std::string Numbers() const;
  static Counts Read(const std::string& text);
};

}  // namespace pellora
