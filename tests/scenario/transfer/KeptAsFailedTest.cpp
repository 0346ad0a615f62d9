// What ends a record where its box is seen: where nobody sees boxes the record stays, with the reason.
#include <string>
#include <utility>

#include "TransferFixture.h"
#include "core/EngineChoice.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "http://o.example/a.bin";

class KeptAsFailed : public TransferFixture {
 protected:
  KeptAsFailed() { program.headless = true; }

  void StartAndFail() {
    Start(kUrl);
    ASSERT_TRUE(RunUntilABoxStands());
    Answer(kAnswerOk);
    sim.RunFor(60'000);
    EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
    EXPECT_TRUE(NothingRuns());
    ExpectListed();
  }
  void ExpectListed() {
    EXPECT_TRUE(Record().InUse);
    EXPECT_EQ(Record().URL, kUrl);
    EXPECT_STREQ(StateWord(program, 1), "failed");
  }
  void ExpectTheFileNow() {
    const SimContent content = Serve("/a.bin", 20000);
    StartListed(1);
    ASSERT_TRUE(RunUntilFinished());
    EXPECT_TRUE(sim.disk().Holds(Record().SavePath, content));
    EXPECT_STREQ(StateWord(program, 1), "finished");
  }
};

TEST_F(KeptAsFailed, WhatTheServerRefuses) {
  const std::pair<int, const char*> refusals[] = {
      {404, "The server does not have this file."},
      {410, "The server does not have this file."},
      {403, "The server refused the download with status 403."},
      {503, "The server refused the download with status 503."},
  };
  for (const auto& [status, reason] : refusals) {
    SCOPED_TRACE(status);
    TransferRig rig;
    rig.program.headless = true;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.Page("/a.bin", status, "text/html", "page");
    rig.Start(kUrl);
    ASSERT_TRUE(rig.RunUntilABoxStands());
    EXPECT_EQ(rig.sim.dialogs().Next().text, reason);
    rig.Answer(kAnswerOk);
    rig.sim.RunFor(60'000);
    EXPECT_TRUE(rig.NothingRuns());
    EXPECT_EQ(rig.Record().URL, kUrl);
    EXPECT_STREQ(StateWord(rig.program, 1), "failed");
    EXPECT_EQ(ReasonForScripts(rig.program, 1), reason);
  }
}

TEST_F(KeptAsFailed, AndIsFetchedWhenItIsResumed) {
  origin.Page("/a.bin", 404, "text/plain", "page");
  StartAndFail();
  ExpectTheFileNow();
}

TEST_F(KeptAsFailed, AWebPage) {
  origin.Page("/a.bin", 200, "text/html", "page");
  StartAndFail();
  EXPECT_EQ(ReasonForScripts(program, 1), "The server sends a web page.");
  ExpectTheFileNow();
}

TEST_F(KeptAsFailed, AlsoAtTheNextStart) {
  origin.Page("/a.bin", 404, "text/plain", "page");
  StartAndFail();
  program.classicStops.clear();  // which a list does not hold
  ExpectListed();
  EXPECT_NE(ReasonForScripts(program, 1), "");
}

TEST_F(KeptAsFailed, NotWhereTheBoxIsSeen) {
  program.headless = false;
  origin.Page("/a.bin", 404, "text/plain", "page");
  Start(kUrl);
  ASSERT_TRUE(RunUntilABoxStands());
  Answer(kAnswerOk);
  sim.RunFor(1000);
  EXPECT_FALSE(Record().InUse);
}

}  // namespace
}  // namespace pellora
