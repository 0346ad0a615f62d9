// soak: runs any number of lives on all cores and reports what occurred in them; see bench/soak.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "../Transitions.h"
#include "Shrink.h"

namespace pellora {
namespace {

struct Command {
  std::uint64_t from = 1;
  std::uint64_t lives = 1000;
  double seconds = 1e9;
  unsigned jobs = 2;
  bool one = false;     // --seed
  bool shrink = false;  // --shrink
  LifeOptions options;
};

const std::map<std::string, Planted>& PlantedNames() {
  static const std::map<std::string, Planted> names = {{"none", Planted::None},
                                                       {"list-ahead-of-data", Planted::ListAheadOfData},
                                                       {"wrong-offset", Planted::WrongOffset},
                                                       {"lost-byte", Planted::LostByte},
                                                       {"late-block", Planted::LateBlock},
                                                       {"socket-left-open", Planted::SocketLeftOpen},
                                                       {"early-flush", Planted::EarlyFlush},
                                                       {"unchecked-range", Planted::UncheckedRange},
                                                       {"part-left", Planted::PartLeft},
                                                       {"late-journal", Planted::LateJournal},
                                                       {"fetch-left-open", Planted::FetchLeftOpen}};
  return names;
}

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// One life in twenty is run twice, and must be the same.
bool RunLife(std::uint64_t seed, const LifeOptions& options, Counts& counts, std::string& report) {
  Life life(seed, options);
  const std::vector<std::string> wrong = life.Run();
  counts.Add(life.Counted());
  for (const std::string& line : wrong) report += line + "\n";
  if (wrong.empty() && seed % 20 == 0) {
    Life again(seed, options);
    (void)again.Run();
    if (again.TraceHash() == life.TraceHash()) return true;
    report += "the same seed gave another life\n";
  } else if (wrong.empty()) {
    return true;
  }
  report = "FAILED  " + life.Replay() + "\n" + report;
  return false;
}

// Runs seeds first, first + jobs, ... until the lives or the time are used up. Writes counts to `out`.
int Share(const Command& command, unsigned first, int out) {
  const double end = Now() + command.seconds;
  Counts counts;
  std::uint64_t failed = 0;
  for (std::uint64_t i = first; i < command.lives && failed < 10; i += command.jobs) {
    if (Now() > end) break;
    std::string report;
    if (RunLife(command.from + i, command.options, counts, report)) continue;
    ++failed;
    std::fputs(report.c_str(), stderr);
  }
  const std::string text = counts.Numbers();
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t wrote = write(out, text.data() + at, text.size() - at);
    if (wrote <= 0) return 2;
    at += static_cast<std::size_t>(wrote);
  }
  return failed > 0 ? 1 : 0;
}

std::string ReadAll(int from) {
  std::string text;
  std::vector<char> block(65536);
  for (ssize_t got = 0; (got = read(from, block.data(), block.size())) > 0;) {
    text.append(block.data(), static_cast<std::size_t>(got));
  }
  return text;
}

void Print(const Counts& counts, double seconds) {
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  std::printf("%llu lives in %.0f s, %.1f a second\n", number(counts.lives), seconds,
              static_cast<double>(counts.lives) / std::max(seconds, 0.001));
  const double lives = static_cast<double>(std::max<std::uint64_t>(1, counts.lives));
  std::printf(
      "an average life: %.1f sessions, %.1f plans, %.1f finished at its end, %.0f kB checked, %.0f events, %.0f "
      "saves\n",
      static_cast<double>(counts.sessions) / lives, static_cast<double>(counts.records) / lives,
      static_cast<double>(counts.finished) / lives, static_cast<double>(counts.written) / lives / 1000,
      static_cast<double>(counts.events) / lives, static_cast<double>(counts.saves) / lives);
  std::printf("at once at most: %llu tasks, %llu timers, %llu sockets\n", number(counts.mostTasks),
              number(counts.mostAlarms), number(counts.mostSockets));
  for (const auto& [name, count] : counts.faults) std::printf("%12llu  %s\n", number(count), name.c_str());
  for (std::int16_t from = 0; from < kSegmentStates; ++from) {
    for (std::int16_t to = 0; to < kSegmentStates; ++to) {
      const std::uint64_t met = counts.transitions[static_cast<std::size_t>(from)][static_cast<std::size_t>(to)];
      if (met == 0 && !MayChange(from, to)) continue;
      std::printf("%12llu  segment state %d to %d\n", number(met), from, to);
    }
  }
}

int Soak(const Command& command) {
  const double start = Now();
  std::vector<std::pair<pid_t, int>> children;
  for (unsigned job = 0; job < command.jobs; ++job) {
    int ends[2];
    if (pipe(ends) != 0) return 2;
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      std::_Exit(Share(command, job, ends[1]));
    }
    close(ends[1]);
    children.emplace_back(child, ends[0]);
  }
  Counts counts;
  bool failed = false;
  for (const auto& [child, from] : children) {
    counts.Add(Counts::Read(ReadAll(from)));
    close(from);
    int status = 0;
    waitpid(child, &status, 0);
    failed = failed || status != 0;
  }
  Print(counts, Now() - start);
  std::puts(failed ? "FAILED" : "all well");
  return failed ? 1 : 0;
}

int ShrinkOne(const Command& command) {
  int lives = 0;
  LifeOptions options = command.options;
  options.dropped = Shrink(command.from, command.options, lives);
  Life life(command.from, options);
  const std::vector<std::string> wrong = life.Run();
  if (wrong.empty()) {
    std::printf("seed %llu does not fail\n", static_cast<unsigned long long>(command.from));
    return 0;
  }
  std::printf("after %d lives:\n%s", lives, PlanText(life.Plan(), options.dropped).c_str());
  for (const std::string& line : wrong) std::printf("%s\n", line.c_str());
  std::printf("%s\n", life.Replay().c_str());
  return 1;
}

int RunOne(const Command& command) {
  Counts counts;
  std::string report;
  const double start = Now();
  const bool well = RunLife(command.from, command.options, counts, report);
  std::fputs(report.c_str(), stdout);
  Print(counts, Now() - start);
  return well ? 0 : 1;
}

bool ReadCommand(const std::vector<std::string>& arguments, Command& command) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (name == "--ends-only" || name == "--trace" || name == "--web") {
      if (name == "--trace") command.options.printsTrace = true;
      if (name == "--ends-only") command.options.invariants = false;
      if (name == "--web") command.options.web = true;
      continue;
    }
    if (i + 1 == arguments.size()) return false;
    const std::string& value = arguments[++i];
    const auto number = [&] { return std::strtoull(value.c_str(), nullptr, 10); };
    if (name == "--lives") {
      command.lives = number();
    } else if (name == "--from") {
      command.from = number();
    } else if (name == "--seconds") {
      command.seconds = static_cast<double>(number());
    } else if (name == "--jobs") {
      command.jobs = static_cast<unsigned>(std::max<unsigned long long>(1, number()));
    } else if (name == "--seed" || name == "--shrink") {
      command.from = number();
      command.one = true;
      command.shrink = name == "--shrink";
    } else if (name == "--drop") {
      command.options.dropped = ReadNumbers(value);
    } else if (name == "--planted" && PlantedNames().contains(value)) {
      command.options.planted = PlantedNames().at(value);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace pellora

int main(int count, char** arguments) {
  pellora::Command command;
  if (!pellora::ReadCommand(std::vector<std::string>(arguments + 1, arguments + count), command)) {
    std::fputs(
        "soak [--web] [--lives N] [--from SEED] [--seconds S] [--jobs N] [--planted FAULT] [--ends-only]\n"
        "soak [--web] --seed SEED [--drop ITEMS] [--trace]\n"
        "                                    one life again, and what happened in it at each moment\n"
        "soak [--web] --shrink SEED                  the least that a failing life fails with\n",
        stderr);
    return 2;
  }
  if (command.shrink) return pellora::ShrinkOne(command);
  if (command.one) return pellora::RunOne(command);
  return pellora::Soak(command);
}
