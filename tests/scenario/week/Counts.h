// Counts: how often each thing was met in one or many lives.
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
  std::uint64_t records = 0;   // that were planned, or came back from the list
  std::uint64_t finished = 0;  // at the end of a life
  std::uint64_t written = 0;   // bytes that were held against the origin's
  std::uint64_t saves = 0;     // of the list, each read back
  std::uint64_t mostTasks = 0;
  std::uint64_t mostAlarms = 0;
  std::uint64_t mostSockets = 0;
  std::array<std::array<std::uint64_t, kSegmentStates>, kSegmentStates> transitions{};
  std::map<std::string, std::uint64_t> faults;

  void Add(const Counts& other);
  // As text, from process to process.
  std::string Numbers() const;
  static Counts Read(const std::string& text);
};

}  // namespace pellora
