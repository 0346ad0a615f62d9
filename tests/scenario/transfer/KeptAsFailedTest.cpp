// What ends a record where its box is seen: where nobody sees boxes the record stays, with the reason.
#include <string>
#include <utility>

#include "TransferFixture.h"
#include "core/EngineChoice.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "http://o.example/a.bin";
constexpr const char* kMissing = "The server does not have this file.";
constexpr const char* kWebPage = "The server sends a web page.";

class KeptAsFailed : public TransferFixture {
 protected:
  KeptAsFailed() { program.headless = true; }

  void StartAndFail(const char* said) {
    Start(kUrl);
    ASSERT_TRUE(RunUntilABoxStands());
    ASSERT_EQ(sim.dialogs().Next().text, said);
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
      {404, kMissing},
      {410, kMissing},
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
    ASSERT_EQ(rig.sim.dialogs().Next().text, reason);
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
  StartAndFail(kMissing);
  ExpectTheFileNow();
}

TEST_F(KeptAsFailed, AWebPage) {
  origin.Page("/a.bin", 200, "text/html", "page");
  StartAndFail(kWebPage);
  EXPECT_EQ(ReasonForScripts(program, 1), kWebPage);
  ExpectTheFileNow();
}

TEST_F(KeptAsFailed, AlsoAtTheNextStart) {
  origin.Page("/a.bin", 404, "text/plain", "page");
  StartAndFail(kMissing);
  program.classicStops.clear();  // which a list does not hold
  ExpectListed();
  EXPECT_NE(ReasonForScripts(program, 1), "");
}

TEST_F(KeptAsFailed, NotWhereTheBoxIsSeen) {
  program.headless = false;
  origin.Page("/a.bin", 404, "text/plain", "page");
  Start(kUrl);
  ASSERT_TRUE(RunUntilABoxStands());
  ASSERT_EQ(sim.dialogs().Next().style, kCritical);
  Answer(kAnswerOk);
  sim.RunFor(1000);
  EXPECT_FALSE(Record().InUse);
}

}  // namespace
}  // namespace pellora
