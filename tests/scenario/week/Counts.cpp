#include "Counts.h"

#include <algorithm>

namespace pellora {

void Counts::Add(const Counts& other) {
  lives += other.lives;
  sessions += other.sessions;
  events += other.events;
  records += other.records;
  finished += other.finished;
  written += other.written;
  saves += other.saves;
  mostTasks = std::max(mostTasks, other.mostTasks);
  mostAlarms = std::max(mostAlarms, other.mostAlarms);
  mostSockets = std::max(mostSockets, other.mostSockets);
  for (std::size_t from = 0; from < transitions.size(); ++from) {
    for (std::size_t to = 0; to < transitions.size(); ++to) transitions[from][to] += other.transitions[from][to];
  }
  for (const auto& [name, count] : other.faults) faults[name] += count;
}

std::string Counts::Numbers() const {
  std::string text;
  for (const std::uint64_t number :
       {lives, sessions, events, records, finished, written, saves, mostTasks, mostAlarms, mostSockets}) {
    text += std::to_string(number) + " ";
  }
  for (const auto& row : transitions) {
    for (const std::uint64_t number : row) text += std::to_string(number) + " ";
  }
  text += "\n";
  for (const auto& [name, count] : faults) text += std::to_string(count) + "\t" + name + "\n";
  return text;
}

Counts Counts::Read(const std::string& text) {
  Counts counts;
  std::size_t at = 0;
  const auto number = [&] {
    std::uint64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
      value = value * 10 + static_cast<std::uint64_t>(text[at] - '0');
    }
    ++at;  // the blank or tab
    return value;
  };
  for (std::uint64_t* const one :
       {&counts.lives, &counts.sessions, &counts.events, &counts.records, &counts.finished, &counts.written,
        &counts.saves, &counts.mostTasks, &counts.mostAlarms, &counts.mostSockets}) {
    *one = number();
  }
  for (auto& row : counts.transitions) {
    for (std::uint64_t& one : row) one = number();
  }
  ++at;  // the line end
  while (at < text.size()) {
    const std::uint64_t count = number();
    const std::size_t end = std::min(text.find('\n', at), text.size());
    counts.faults[text.substr(at, end - at)] += count;
    at = end + 1;
  }
  return counts;
}

}  // namespace pellora
