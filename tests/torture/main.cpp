// The main function of every executable whose tests run on the simulated platform: runs the tests normally or, with
// --torture, repeats each of them with its port calls failing.
//
//   EXECUTABLE --torture [--points=K] [--slice=I/K] [--verbose] [--gtest_filter=...]
//   EXECUTABLE --torture --at=N --mode=once|on --gtest_filter=Suite.Name     one run, with all its output
//   --program=tests/FOLDER/   counts that folder's code as the program's
//   --seconds=S               starts no further test after this time
//   --processor-seconds=S     limit of processor time for one run
//   --leaks=K                 also checks for leaks after every K-th call; this takes five times as long as a run
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Torture.h"

namespace {

bool Take(std::string_view argument, std::string_view name, std::string_view& value) {
  if (!argument.starts_with(name)) return false;
  value = argument.substr(name.size());
  return true;
}

std::uint64_t Number(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Sanitizers read these only at the start of a process. Children report addresses, and their parent resolves them once.
void Restart(char** arguments, bool named) {
  constexpr const char* kMark = "PELLORA_TORTURE";
  if (std::getenv(kMark)) return;
  setenv(kMark, "1", 1);
  const std::string names = named ? "symbolize=1" : "symbolize=0";
  setenv("ASAN_OPTIONS", (names + ":exitcode=77:handle_abort=1:quarantine_size_mb=8").c_str(), 1);
  setenv("UBSAN_OPTIONS", (names + ":print_stacktrace=1").c_str(), 1);
  setenv("LSAN_OPTIONS", "max_leaks=1", 1);
  execv("/proc/self/exe", arguments);
  std::perror("execv");
  std::exit(2);
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<char*> original(arguments, arguments + count + 1);  // GoogleTest removes its own arguments
  testing::InitGoogleTest(&count, arguments);
  bool torture = false;
  pellora::TortureOptions options;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    std::string_view value;
    if (argument == "--torture") {
      torture = true;
    } else if (argument == "--verbose") {
      options.verbose = true;
    } else if (Take(argument, "--points=", value)) {
      options.points = Number(value);
    } else if (Take(argument, "--leaks=", value)) {
      options.leaks = Number(value);
    } else if (Take(argument, "--seconds=", value)) {
      options.seconds = static_cast<double>(Number(value));
    } else if (Take(argument, "--processor-seconds=", value)) {
      options.processorSeconds = static_cast<int>(Number(value));
    } else if (Take(argument, "--slice=", value)) {
      options.slice = Number(value);
      options.slices = Number(value.substr(std::min(value.find('/'), value.size() - 1) + 1));
    } else if (Take(argument, "--at=", value)) {
      options.at = Number(value);
    } else if (Take(argument, "--mode=", value)) {
      options.once = value == "once";
      options.fromThenOn = !options.once;
    } else if (Take(argument, "--program=", value)) {
      options.program = value;
    } else {
      std::fprintf(stderr, "not understood: %s\n", arguments[i]);
      return 2;
    }
  }
  if (!torture) return RUN_ALL_TESTS();
  if (options.slices == 0 || options.slice >= options.slices) return 2;
  Restart(original.data(), options.at > 0);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  if (options.at == 0) delete listeners.Release(listeners.default_result_printer());
  auto* const driver = new pellora::Torture(options);
  listeners.Append(driver);
  const int failed = RUN_ALL_TESTS();
  if (failed != 0) std::printf("some tests fail without a fault\n");
  return driver->Summary() && failed == 0 ? 0 : 1;
}
