#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>

#include "Support.h"
#include "desktop/SingleInstance.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class SingleInstanceTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* const before = std::getenv("XDG_RUNTIME_DIR");
    if (before != nullptr) runtime = before;
  }
  void TearDown() override {
    if (runtime) {
      setenv("XDG_RUNTIME_DIR", runtime->c_str(), 1);
    } else {
      unsetenv("XDG_RUNTIME_DIR");
    }
  }

  Folder folder;
  Folder list;
  std::optional<std::string> runtime;
};

TEST_F(SingleInstanceTest, SecondInstanceSeesTheFirstUntilItEnds) {
  std::optional<SingleInstance> first(std::in_place, folder.Path(), list.Path());
  EXPECT_FALSE(first->AnotherRuns());
  EXPECT_TRUE(SingleInstance(folder.Path(), list.Path()).AnotherRuns());
  first.reset();
  EXPECT_FALSE(SingleInstance(folder.Path(), list.Path()).AnotherRuns());
}

TEST_F(SingleInstanceTest, MakesLocksPrivateEvenIfOthersCouldReadThem) {
  const mode_t former = umask(0);
  Put(list.Path("pellora.lock"), "");
  const SingleInstance held(folder.Path(), list.Path());
  umask(former);
  for (const Folder* const each : {&folder, &list}) {
    struct stat status {};
    ASSERT_EQ(stat(each->Path("pellora.lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
  }
}

TEST_F(SingleInstanceTest, StaleLockOfAKilledInstanceDoesNotBlock) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    const SingleInstance held(folder.Path(), list.Path());
    const char answer = held.AnotherRuns() ? 'n' : 'y';
    if (write(ready[1], &answer, 1) == 1) pause();
    _exit(1);
  }
  char answer = 0;
  ASSERT_EQ(read(ready[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y');
  EXPECT_TRUE(SingleInstance(folder.Path(), list.Path()).AnotherRuns());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  EXPECT_TRUE(std::filesystem::exists(folder.Path("pellora.lock")));
  EXPECT_FALSE(SingleInstance(folder.Path(), list.Path()).AnotherRuns());
}

TEST_F(SingleInstanceTest, RunsEvenIfTheLockCannotBeCreated) {
  EXPECT_FALSE(SingleInstance(folder.Path("missing"), list.Path("missing")).AnotherRuns());
  EXPECT_FALSE(SingleInstance("", list.Path()).AnotherRuns());
}

TEST_F(SingleInstanceTest, SeesAnInstanceOfAnotherSessionWithTheSameList) {
  const Folder other;
  const SingleInstance first(folder.Path(), list.Path());
  EXPECT_TRUE(SingleInstance(other.Path(), list.Path()).AnotherRuns());
  EXPECT_TRUE(SingleInstance("", list.Path()).AnotherRuns());
  const Folder otherList;
  EXPECT_FALSE(SingleInstance(other.Path(), otherList.Path()).AnotherRuns());
}

TEST_F(SingleInstanceTest, UsesTheSessionsRuntimeFolder) {
  setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1);
  EXPECT_EQ(SingleInstance::RuntimeFolder(), folder.Path());
}

}  // namespace
}  // namespace pellora
