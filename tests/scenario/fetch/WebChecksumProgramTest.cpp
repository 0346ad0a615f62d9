// Checks of finished files in the whole program.
#include "WebApp.h"
#include "WebChecksumRig.h"

namespace pellora::checksums {
namespace {

class Checking : public WebApp {
 public:
  explicit Checking(SimOptions options = {}) : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
    Serve(origin);
    HttpFault fault;
    fault.extraHeaders = "Digest: SHA-256=" + Base64(SumOf(Sha256).hex) + "\r\n";
    origin.Always(fault);
    Start();
  }
  bool RunIntoCheck() {
    Add(kUrl);
    if (!RunUntilReceived(kLength)) return false;
    sim.background().SetMaxDelay(1000);
    return sim.RunUntil([&] { return Web().reason == "Checking 34 %"; }, 60'000);
  }
  Names InFolder() { return sim.platform().files.FilesIn(Folder()); }

  SimHttpServer origin;
};

TEST(WebChecksumProgram, CheckIsActiveForScripts) {
  Checking run;
  ASSERT_TRUE(run.RunIntoCheck());
  EXPECT_EQ(run.StateWord(), "active");
  EXPECT_EQ(run.app.List().front().reason, "Checking 34 %");
  ASSERT_TRUE(run.RunUntilFinished());
  run.sim.RunFor(5000);
  EXPECT_EQ(run.StateWord(), "finished");
  EXPECT_EQ(run.app.List().front().reason, "SHA-256 checked");
  ASSERT_EQ(run.window().ListView2.Rows().size(), 1U);
  EXPECT_EQ(run.window().ListView2.Rows()[0].toolTip, "SHA-256 checked");
}

TEST(WebChecksumProgram, WrongOneIsFailedForScripts) {
  Checking run;
  HttpFault fault;
  fault.extraHeaders = "Digest: SHA-256=" + Base64(WrongSum(Sha256).hex) + "\r\n";
  run.origin.Always(fault);
  run.Add(kUrl);
  ASSERT_TRUE(run.sim.RunUntil([&] { return run.StateWord() == "failed"; }, 60'000));
  EXPECT_TRUE(run.app.List().front().reason.starts_with("The checksum is wrong")) << run.app.List().front().reason;
}

TEST(WebChecksumProgram, DeletedInMidCheckLeavesNothing) {
  Checking run;
  ASSERT_TRUE(run.RunIntoCheck());
  run.sim.Do([&] { EXPECT_EQ(run.app.Remove(run.app.List().front().id), ""); });
  run.sim.RunFor(30'000);
  EXPECT_EQ(run.InFolder(), Names{});
  EXPECT_TRUE(run.app.List().empty());
}

TEST(WebChecksumProgram, ResetListInMidCheckLeavesNothing) {
  Checking run;
  ASSERT_TRUE(run.RunIntoCheck());
  run.sim.dialogs().AutoAnswer("", kAnswerYes);
  run.sim.Do([&] { run.window().RunAction(MainWindow::kResetList); });
  run.sim.RunFor(30'000);
  EXPECT_EQ(run.InFolder(), Names{});
}

TEST(WebChecksumProgram, QuittingInMidCheckWaitsForNothingAndFinishesLater) {
  Checking run;
  ASSERT_TRUE(run.RunIntoCheck());
  run.sim.Do([&] { run.app.SaveAndQuit(); });
  const double before = run.sim.Elapsed();
  run.sim.RunUntil([&] { return run.sim.Ended(); }, 5000);
  EXPECT_TRUE(run.sim.Ended());
  EXPECT_LT(run.sim.Elapsed() - before, 1000);
  run.sim.DropProgram();
  Checking next({.disk = run.sim.disk().TakeState()});
  EXPECT_EQ(next.StateWord(), "paused");
  next.sim.Do([&] { next.app.ResumeAll(); });
  ASSERT_TRUE(next.RunUntilFinished());
  EXPECT_EQ(next.InFolder(), Names{"a.bin"});
  EXPECT_TRUE(next.origin.Requests().empty());
}

}  // namespace
}  // namespace pellora::checksums
