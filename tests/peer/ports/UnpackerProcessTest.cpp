#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "Support.h"
#include "UnpackerContract.h"
#include "desktop/UnpackerProcess.h"

namespace pellora {
namespace {

using Clock = std::chrono::steady_clock;

INSTANTIATE_TEST_SUITE_P(Process, UnpackerContract,
                         testing::Values(UnpackerMaker{
                             "pellora-unpack", [] { return std::make_unique<UnpackerProcess>(PELLORA_UNPACK); }}));

// Those of the test's process that have not been waited for.
std::vector<pid_t> Children() {
  std::vector<pid_t> children;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::istringstream list(Content(task.path().string() + "/children"));
    for (pid_t child = 0; list >> child;) children.push_back(child);
  }
  return children;
}

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

class UnpackerProcessTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(Children(), before_);
    EXPECT_EQ(OpenDescriptors(), descriptors_);
  }
  // The processes that were started since.
  std::vector<pid_t> Started() const {
    std::vector<pid_t> started = Children();
    std::erase_if(started,
                  [&](pid_t child) { return std::find(before_.begin(), before_.end(), child) != before_.end(); });
    return started;
  }
  // A program that misbehaves.
  std::unique_ptr<Unpacker> Script(const std::string& commands) const {
    const std::string path = folder_.Path("script");
    Put(path, "#!/bin/sh\n" + commands + "\n");
    EXPECT_EQ(chmod(path.c_str(), 0700), 0);
    return std::make_unique<UnpackerProcess>(path);
  }
  static UnpackResult Run(Unpacker& unpacker, const TestPacked& made) {
    return UnpackAll(unpacker, made.entry, made.packed);
  }

  UnpackerProcess unpacker{PELLORA_UNPACK};
  const TestPacked large = PackForTest(SimContent::Generated(10'000'000).All(), 8);

 private:
  const std::vector<pid_t> before_ = Children();
  const std::ptrdiff_t descriptors_ = OpenDescriptors();
  const Folder folder_;
};

TEST_F(UnpackerProcessTest, LeavesNoProcessAndNoDescriptor) {
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Run(unpacker, PackForTest("content", 8)).state, UnpackState::Done);
    const std::unique_ptr<Unpacking> unpacking = unpacker.Begin(large.entry);
    std::string plain;
    unpacking->Exchange(std::string_view(large.packed).substr(0, 100'000), plain);
    EXPECT_EQ(Started().size(), 1U);
  }
}

TEST_F(UnpackerProcessTest, PasswordIsInNoCommandLineAndNoEnvironment) {
  const TestPacked made = PackForTest("content", 0, "TopSecret");
  const std::unique_ptr<Unpacking> unpacking = unpacker.Begin(made.entry);
  std::string plain;
  unpacking->Exchange({}, plain);
  ASSERT_EQ(Started().size(), 1U);
  const std::string process = "/proc/" + std::to_string(Started().front());
  EXPECT_EQ(Content(process + "/cmdline"), std::string("pellora-unpack\0", 15));
  EXPECT_EQ(Content(process + "/environ").find("TopSecret"), std::string::npos);
}

TEST_F(UnpackerProcessTest, KilledInMidEntryItHasFailed) {
  const std::unique_ptr<Unpacking> unpacking = unpacker.Begin(large.entry);
  std::string plain;
  std::string_view left = large.packed;
  while (plain.empty()) left.remove_prefix(unpacking->Exchange(left.substr(0, 100'000), plain));
  ASSERT_EQ(Started().size(), 1U);
  ASSERT_EQ(kill(Started().front(), SIGKILL), 0);
  for (int i = 0; i < 100 && unpacking->State() == UnpackState::Working; ++i) {
    left.remove_prefix(unpacking->Exchange(left.substr(0, 100'000), plain));
  }
  EXPECT_EQ(unpacking->State(), UnpackState::Failed);
  EXPECT_EQ(unpacking->Reason(), std::string(PELLORA_UNPACK) + ": it was ended by signal 9");
}

TEST_F(UnpackerProcessTest, MissingProgramIsReported) {
  UnpackerProcess missing("/nonexistent/pellora-unpack");
  const UnpackResult result = Run(missing, large);
  EXPECT_EQ(result.state, UnpackState::Failed);
  EXPECT_EQ(result.reason, "/nonexistent/pellora-unpack: No such file or directory");
}

TEST_F(UnpackerProcessTest, ReasonOfAnUnconfinedProcessIsReported) {
  const auto program = Script("echo 'cannot be confined' >&2; exit 3");
  const UnpackResult result = Run(*program, large);
  EXPECT_EQ(result.state, UnpackState::Failed);
  EXPECT_TRUE(result.reason.ends_with("script: cannot be confined")) << result.reason;
}

TEST_F(UnpackerProcessTest, ProcessThatReadsNothingDoesNotEndTheProgram) {
  const auto program = Script("exit 0");
  const UnpackResult result = Run(*program, large);
  EXPECT_EQ(result.state, UnpackState::Done);
  EXPECT_EQ(result.plain, "");
  sigset_t pending{};
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
}

TEST_F(UnpackerProcessTest, SignalsByTheBytesAreDamage) {
  for (const char* const signal : {"SEGV", "ABRT", "SYS", "XCPU", "BUS"}) {
    const auto program = Script(std::string("ulimit -c 0; kill -") + signal + " $$");
    EXPECT_EQ(Run(*program, large).state, UnpackState::Damaged) << signal;
  }
  for (const char* const signal : {"KILL", "TERM"}) {
    const auto program = Script(std::string("kill -") + signal + " $$");
    EXPECT_EQ(Run(*program, large).state, UnpackState::Failed) << signal;
  }
}

TEST_F(UnpackerProcessTest, HangingProcessHoldsUpNoCallAndIsEnded) {
  const auto program = Script("exec sleep 1000");
  std::unique_ptr<Unpacking> unpacking = program->Begin(large.entry);
  std::string plain;
  std::string_view left = large.packed;
  for (int i = 0; i < 30; ++i) {
    const auto begin = Clock::now();
    left.remove_prefix(unpacking->Exchange(left.substr(0, 256 << 10), plain));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(unpacking->State(), UnpackState::Working);
  }
  EXPECT_GT(left.size(), 7'000'000U);
  EXPECT_EQ(Started().size(), 1U);
  const auto begin = Clock::now();
  unpacking.reset();
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
}

TEST_F(UnpackerProcessTest, ProcessThatStaysAfterItsOutputIsEnded) {
  const auto program = Script("exec >&-; exec sleep 1000");
  EXPECT_EQ(Run(*program, large).state, UnpackState::Damaged);
}

TEST_F(UnpackerProcessTest, EndlessOutputComesInBoundedPieces) {
  const auto program = Script("exec yes");
  const std::unique_ptr<Unpacking> unpacking = program->Begin(large.entry);
  for (int i = 0; i < 20; ++i) {
    std::string plain;
    unpacking->Exchange(large.packed, plain);
    EXPECT_LE(plain.size(), std::size_t{1} << 20);
  }
}

TEST_F(UnpackerProcessTest, PasswordsThatNoArchiverTakesAreWrong) {
  TestPacked made = PackForTest("content", 0, "secret");
  for (const std::string& password : {std::string("a\0b", 3), std::string(5000, 'x')}) {
    made.entry.password = password;
    EXPECT_EQ(Run(unpacker, made).state, UnpackState::Damaged);
  }
  made.entry.aes = std::string(60'000, 'x');
  EXPECT_EQ(Run(unpacker, made).state, UnpackState::Damaged);
}

TEST_F(UnpackerProcessTest, ProcessEndsWithItsProgram) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const pid_t program = fork();
  if (program == 0) {
    UnpackerProcess own(PELLORA_UNPACK);
    const auto unpacking = own.Begin(large.entry);
    std::string plain;
    unpacking->Exchange(std::string_view(large.packed).substr(0, 100'000), plain);
    const std::vector<pid_t> children = Children();
    const pid_t child = children.empty() ? 0 : children.front();
    if (write(ends[1], &child, sizeof child) < 0) _exit(1);
    pause();
  }
  pid_t child = 0;
  ASSERT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
  ASSERT_GT(child, 0);
  kill(program, SIGKILL);
  EXPECT_EQ(waitpid(program, nullptr, 0), program);
  close(ends[0]);
  close(ends[1]);
  // Ended, or waited for by nobody here but the system.
  const auto runs = [&] {
    const std::string state = Content("/proc/" + std::to_string(child) + "/stat");
    return !state.empty() && state.find(") Z ") == std::string::npos;
  };
  EXPECT_TRUE(RunUntil([&] { return !runs(); }, 5000));
}

}  // namespace
}  // namespace pellora
