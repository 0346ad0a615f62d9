#include "Torture.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <string_view>
#include <utility>

// Available if the leak sanitizer is linked.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the sanitizer's
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace pellora {

namespace {

constexpr int kSlowCode = 78;
constexpr const char* kException = "exception ";
constexpr const char* kNoEnd = "no end";
constexpr const char* kLogicError =
    "exception St11logic_error";  // also thrown by the simulator for an error of the test

Report* ownReport = nullptr;

// One sample may be of a helper that the loop only passes through.
void TooSlow(int) {
  Report::Sample& sample = ownReport->slow[ownReport->slowCount++];
  sample.frameCount = backtrace(sample.frames, Report::kMaxFrames);
  if (ownReport->slowCount == Report::kSamples) _exit(kSlowCode);
  const itimerval next{{0, 0}, {0, 10'000}};
  setitimer(ITIMER_PROF, &next, nullptr);
}

// With a sanitizer, that prints where a crash was; otherwise this does.
void Crashed(int number) {
  ownReport->frameCount = backtrace(ownReport->frames, Report::kMaxFrames);
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void WatchCrashes() {
  if (__lsan_do_recoverable_leak_check) return;
  for (const int number : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) std::signal(number, Crashed);
}

double Seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string ReadAll(int file) {
  std::string text;
  char block[65536];
  for (off_t at = 0;;) {
    const ssize_t count = pread(file, block, sizeof block, at);
    if (count <= 0 || text.size() > (1U << 20)) return text;
    text.append(block, static_cast<std::size_t>(count));
    at += count;
  }
}

std::string KindOf(const std::string& wrong) { return wrong.substr(0, wrong.find(':')); }

}  // namespace

Torture::Torture(const TortureOptions& options) : options_(options), places_(options.program), began_(Seconds()) {
  ownReport = &*shared_;
  void* frames[2];
  (void)backtrace(frames, 2);  // loads libraries, which a signal handler must not do
  SimTorturer::present = this;
}

bool Torture::Chosen(std::uint64_t number) const {
  if (options_.at > 0) return number == options_.at;
  if (options_.points > 0 && !chosen_.contains(number)) return false;
  return number % options_.slices == options_.slice;
}

// The chosen calls shift with the test's name, so that over all tests every part of a run is covered.
void Torture::ChooseCalls() {
  chosen_.clear();
  const std::uint64_t calls = plain_.calls;
  const std::uint64_t points = std::min(options_.points, calls);
  std::uint64_t shift = 0;
  for (const char c : test_) shift = shift * 31 + static_cast<unsigned char>(c);
  for (std::uint64_t i = 0; i < points; ++i) {
    const std::uint64_t begin = calls * i / points;
    const std::uint64_t end = calls * (i + 1) / points;
    chosen_.insert(begin + 1 + shift % (end - begin));
    shift = shift * 6364136223846793005U + 1442695040888963407U;
    shift ^= shift >> 33U;
  }
}

bool Torture::Fails(const char* call, const std::string& object) {
  if (role_ == Role::Idle) return false;
  ++calls_;
  if (role_ == Role::FromThenOn) return true;
  if (role_ != Role::Parent || !Chosen(calls_)) return false;
  call_ = call;
  object_ = object;
  if (options_.once && Fork(Role::Once)) return true;
  return options_.fromThenOn && Fork(Role::FromThenOn);
}

bool Torture::ShouldStop(std::uint64_t eventsAtOneTime) {
  if (role_ == Role::Idle || role_ == Role::Parent) return false;
  ++events_;
  Report& report = *shared_;
  if (role_ == Role::Counting) {
    report.mostAtOneTime = std::max(report.mostAtOneTime, eventsAtOneTime);
    return false;
  }
  if (eventsAtOneTime > 10'000 + 2 * plain_.mostAtOneTime) report.runaway = true;
  if (events_ < 20'000 + 3 * plain_.events && !report.runaway) return false;
  report.cut = true;
  return true;
}

void Torture::Examined(const std::vector<std::string>& wrong) {
  if (role_ == Role::Idle || role_ == Role::Parent) return;
  for (const std::string& line : wrong) shared_->AddWrong(line);
}

void Torture::OnMachineDestroyed() {
  if (role_ != Role::Once && role_ != Role::FromThenOn) return;
  if (++gone_ == 2) EndChild(false);
}

// A machine that is short of memory or processes refuses a fork, or kills the child: neither says anything about the
// program, whose own faults end in other signals.
bool Torture::Fork(Role role) {
  constexpr int kTries = 20;
  int status = 0;
  int output = -1;
  for (int tried = 1;; ++tried) {
    *shared_ = Report();
    output = memfd_create("output", MFD_CLOEXEC);
    const pid_t child = fork();
    if (child == 0) {
      BeginChild(role, output);
      return true;
    }
    const int refused = errno;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (child > 0 && !(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) break;
    std::fprintf(stderr, "%s\n", child > 0 ? "a run was killed" : std::strerror(refused));
    if (tried == kTries) _exit(2);
    close(output);
    usleep(250'000);
  }
  TakeReport(role, status, output);
  close(output);
  return false;
}

void Torture::BeginChild(Role role, int output) {
  role_ = role;
  events_ = 0;
  gone_ = 0;
  if (options_.at == 0 || role == Role::Counting) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, 1);
    dup2(output, 2);
  }
  watchThrows = true;
  std::signal(SIGPROF, TooSlow);
  WatchCrashes();
  const itimerval limit{{0, 0}, {role == Role::Counting ? 600 : options_.processorSeconds, 0}};
  setitimer(ITIMER_PROF, &limit, nullptr);
}

void Torture::EndChild(bool looksForLeaks) {
  shared_->calls = calls_;
  shared_->events = events_;
  watchThrows = false;
  if (looksForLeaks && __lsan_do_recoverable_leak_check) shared_->leaks = __lsan_do_recoverable_leak_check() != 0;
  _exit(0);
}

void Torture::Note(const std::string& kind, const std::string& text, const Stack& stack, Role role) {
  const Place place = places_.Find(stack, kind == kLogicError || kind == kNoEnd);
  std::string first = test_ + ", call " + std::to_string(calls_) + (role == Role::Once ? " once" : " and on");
  if (role == Role::Counting) first = test_ + " without a fault";
  if (role != Role::Counting) first += ": " + std::string(call_) + " " + object_.substr(0, 80);
  if (!text.empty()) first += "\n    " + text;
  findings_.Add(place.whose, kind, place.text, first);
}

Stack Torture::UsualStack(const Report& report) {
  std::map<std::string, int> seen;
  Stack usual;
  int most = 0;
  for (int i = 0; i < report.slowCount; ++i) {
    Stack stack = OffsetsOf(report.slow[i].frames, report.slow[i].frameCount);
    const int times = ++seen[places_.Find(stack, true).text];
    if (times <= most) continue;
    most = times;
    usual = std::move(stack);
  }
  return usual;
}

void Torture::TakeReport(Role role, int status, int output) {
  const Report& report = *shared_;
  if (role == Role::Counting) {
    plain_ = report;
  } else {
    ++runs_;
    ++runsOf_[call_];
    cut_ += report.cut && !report.runaway ? 1 : 0;
  }
  const bool quiet = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (report.thrown[0] != '\0') {
    const bool isFailure = std::string_view(report.thrown) == "N7pellora7FailureE";
    if (isFailure) {
      findings_.Add(Whose::Test, "a Failure of a call that the test makes itself", "", test_);
    } else {
      Note(std::string(kException) + report.thrown, "", OffsetsOf(report.frames, report.frameCount), role);
    }
  }
  if (report.slowCount > 0) Note(kNoEnd, "", UsualStack(report), role);
  if (report.runaway) Note("events without end", "", {}, role);
  if (!quiet && report.slowCount == 0) {
    Stack stack;
    std::string text = ReadSanitizer(ReadAll(output), stack);
    if (text.empty()) text = "ended with status " + std::to_string(status) + "\n" + ReadAll(output).substr(0, 2000);
    if (stack.empty() && report.thrown[0] == '\0') stack = OffsetsOf(report.frames, report.frameCount);
    Note("crash", text, stack, role);
  }
  if (quiet && report.leaks && (role == Role::Counting || !plain_.leaks)) {
    Stack stack;
    const std::string text = ReadSanitizer(ReadAll(output), stack);
    Note("leak", text, stack, role);
  }
  // Violations that the test itself causes say nothing about the program.
  const std::vector<std::string> usual = plain_.Wrong();
  if (role == Role::Counting) return;
  for (const std::string& line : report.Wrong()) {
    const std::string kind = KindOf(line);
    if (std::any_of(usual.begin(), usual.end(), [&](const std::string& other) { return KindOf(other) == kind; })) {
      continue;
    }
    Note("wrong, " + kind + " (" + test_ + ")", line, {}, role);
  }
}

void Torture::OnTestStart(const ::testing::TestInfo& test) {
  test_ = std::string(test.test_suite_name()) + "." + test.name();
  calls_ = 0;
  events_ = 0;
  role_ = Role::Idle;
  if (options_.seconds > 0 && Seconds() - began_ > options_.seconds) {
    std::printf("stopped before %s\n", test_.c_str());
    const bool well = Summary();
    std::fflush(stdout);
    _exit(well ? 0 : 1);
  }
  if (Fork(Role::Counting)) return;
  ++tests_;
  allCalls_ += plain_.calls;
  ChooseCalls();
  calls_ = 0;
  role_ = Role::Parent;
}

void Torture::OnTestPartResult(const ::testing::TestPartResult& result) {
  if (role_ == Role::Idle) return;
  if (role_ == Role::Parent) {
    std::printf("%s:%d: %s\n", result.file_name() ? result.file_name() : "", result.line_number(), result.message());
    return;
  }
  if (std::strstr(result.message(), "C++ exception") == nullptr) return;
  Report& report = *shared_;
  if (report.thrown[0] != '\0') return;
  std::snprintf(report.thrown, sizeof report.thrown, "%s", lastThrow.type);
  std::copy(lastThrow.frames, lastThrow.frames + lastThrow.frameCount, report.frames);
  report.frameCount = lastThrow.frameCount;
}

void Torture::OnTestEnd(const ::testing::TestInfo&) {
  if (role_ != Role::Parent) EndChild(options_.leaks > 0 && (role_ == Role::Counting || calls_ % options_.leaks == 0));
  role_ = Role::Idle;
  if (options_.verbose) {
    std::printf("%-90s %7llu calls %8.1f s\n", test_.c_str(), static_cast<unsigned long long>(plain_.calls),
                Seconds() - began_);
  }
  std::fflush(stdout);
}

bool Torture::Summary() {
  const double seconds = Seconds() - began_;
  const auto number = [](std::uint64_t n) { return static_cast<unsigned long long>(n); };
  for (const Whose whose : {Whose::Test, Whose::Simulator, Whose::Program}) {
    const char* const name = whose == Whose::Program ? "FOUND" : whose == Whose::Test ? "test's own" : "simulator";
    for (const std::string& line : findings_.Lines(whose)) std::printf("%s: %s\n", name, line.c_str());
  }
  for (const auto& [call, runs] : runsOf_) std::printf("  %-22s %8llu runs\n", call.c_str(), number(runs));
  std::printf(
      "%llu tests, %llu calls, %llu runs in %.1f s, %.0f a second; %llu stopped by the torture; %llu ended by "
      "their test, %llu by the simulator; %zu findings in %llu runs\n",
      number(tests_), number(allCalls_), number(runs_), seconds, static_cast<double>(runs_) / seconds, number(cut_),
      number(findings_.Runs(Whose::Test)), number(findings_.Runs(Whose::Simulator)), findings_.Kinds(Whose::Program),
      number(findings_.Runs(Whose::Program)));
  return findings_.Kinds(Whose::Program) == 0 && findings_.Kinds(Whose::Simulator) == 0;
}

}  // namespace pellora
