// All of these pass normally. Under torture every one but the last has the fault in its name, and in the one before the
// last the test itself is wrong.
#include <gtest/gtest.h>

#include "SimExamine.h"
#include "SimPlatform.h"
#include "WrongProgram.h"
#include "core/Program.h"

namespace pellora {
namespace {

class Planted : public ::testing::Test {
 protected:
  Planted() : program(sim.platform()) {
    sim.disk().MakeFolder("/home/u/dl");
    program.ResizeDownloads(1);
    program.Download(1).InUse = true;
    program.Download(1).Active = true;
    program.listLoaded = true;
    sim.examine = [this] { return FindViolations(program, sim); };
  }
  ~Planted() override { sim.DropProgram(); }
  void Run(const std::function<void()>& event) {
    sim.Do(event);
    sim.RunFor(1000);
  }

  SimPlatform sim;
  Program program;
};

TEST_F(Planted, Crash) {
  Run([&] { UsesFileThatDidNotOpen(sim.platform()); });
  EXPECT_EQ(sim.disk().Get(kWrongFile), "text");
}

TEST_F(Planted, EndlessHandler) {
  Run([&] { RetriesForever(sim.platform()); });
  EXPECT_EQ(sim.disk().Get(kWrongFile), "text");
}

TEST_F(Planted, EndlessEvents) {
  Run([&] { PostsItselfForever(&sim.platform()); });
  EXPECT_TRUE(sim.disk().Has(kWrongFile));
}

TEST_F(Planted, StrangeException) {
  Run([&] { ThrowsUncaughtException(sim.platform()); });
  EXPECT_TRUE(sim.disk().Has(kWrongFile));
}

TEST_F(Planted, Leak) {
  Run([&] { LeaksItsBuffer(sim.platform()); });
  EXPECT_EQ(sim.disk().Size(kWrongFile), 1000U);
}

TEST_F(Planted, ActiveAndPaused) {
  Run([&] { PausesWithoutStopping(program); });
  EXPECT_FALSE(program.Download(1).Paused);
}

TEST_F(Planted, FileOutside) {
  Run([&] { WritesElsewhere(sim.platform()); });
  EXPECT_FALSE(sim.disk().Has("/notes"));
}

TEST_F(Planted, HalfAList) {
  Run([&] { SavesListInTwoSteps(program); });
  EXPECT_GT(sim.disk().Size("/prog/Pellora.dat"), 6U);
}

TEST_F(Planted, TestThatErrs) {
  std::unique_ptr<File> file;
  sim.Do([&] { file = sim.disk().Open(kWrongFile, FileKind::Output); });
  EXPECT_EQ(file->Length(), 0U);
}

TEST_F(Planted, Nothing) {
  Run([&] { ReportsFailedSave(program); });
  EXPECT_TRUE(program.Download(1).Active);
}

}  // namespace
}  // namespace pellora
