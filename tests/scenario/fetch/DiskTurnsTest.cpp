// Steps of several downloads that are done in one turn.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "fetch/DiskTurns.h"
#include "ports/Background.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

using Words = std::vector<std::string>;

class DiskTurnsTest : public testing::Test {
 protected:
  DiskTurnsTest() { sim.disk().MakeFolder("/home/u/dl"); }

  class Noted final : public DiskStep {
   public:
    Noted(Words& words, std::string name) : words_(words), name_(std::move(name)) {}
    void Begin(DownloadFiles&) override {
      words_.push_back("begin " + name_);
      if (name_ == "bad") throw Failure(FailureNumber::File, "no");
    }
    void End(DownloadFiles&) override { words_.push_back("end " + name_); }

   private:
    Words& words_;
    const std::string name_;
  };

  std::shared_ptr<Noted> Step(const std::string& name) { return std::make_shared<Noted>(words, name); }
  void Give(const std::string& name, DiskTurns::Place place = DiskTurns::Place::OrBefore) {
    Give(Step(name), name, place);
  }
  void Give(std::shared_ptr<DiskStep> step, const std::string& name,
            DiskTurns::Place place = DiskTurns::Place::OrBefore) {
    turns.Give(
        std::move(step),
        [this, name](const std::exception_ptr& failure) { words.push_back((failure ? "failed " : "done ") + name); },
        place);
  }
  void Work(const std::string& name) {
    sim.platform().background.Run([this, name] { words.push_back("work " + name); }, [](const std::exception_ptr&) {});
  }
  std::shared_ptr<DownloadFile> File(const std::string& path) { return sim.downloadFiles().Create(path); }

  SimPlatform sim{{.web = true}};
  DiskTurns turns{sim.platform()};
  Words words;
};

TEST_F(DiskTurnsTest, DoAtOnceWhatWasGivenUntilTheyBegin) {
  sim.Do([&] {
    Give("a");
    Work("between");
    Give("b");
  });
  sim.RunFor(1000);
  EXPECT_EQ(words, (Words{"begin a", "begin b", "end a", "end b", "done a", "work between", "done b"}));
}

TEST_F(DiskTurnsTest, KeepThePlaceOfWhatDependsOnEarlierWork) {
  sim.Do([&] {
    Give("a");
    Work("between");
    Give("kept", DiskTurns::Place::Kept);
    Give("b");
  });
  sim.RunFor(1000);
  EXPECT_EQ(words, (Words{"begin a", "end a", "done a", "work between", "begin kept", "begin b", "end kept", "end b",
                          "done kept", "done b"}));
}

TEST_F(DiskTurnsTest, AStepWhoseWorkCannotBeStartedFailsAlone) {
  for (const DiskTurns::Place place : {DiskTurns::Place::OrBefore, DiskTurns::Place::Kept}) {
    words.clear();
    sim.Do([&] {
      sim.background().RefuseNext();
      Give("a", place);
      Give("b");
      Give("c");
    });
    sim.RunFor(1000);
    EXPECT_EQ(words, (Words{"failed a", "begin b", "begin c", "end b", "end c", "done b", "done c"}));
    words.clear();
    sim.Do([&] { Give("d"); });
    sim.RunFor(1000);
    EXPECT_EQ(words, (Words{"begin d", "end d", "done d"}));
  }
}

// Its work may be the first for which there is a thread.
TEST_F(DiskTurnsTest, AStepWhoseWorkCannotBeStartedIsNotDoneForAnother) {
  sim.Do([&] {
    sim.background().RefuseNext();
    Give("a");
    Work("between");
    Give("b");
  });
  sim.RunFor(1000);
  EXPECT_EQ(words, (Words{"failed a", "work between", "begin b", "end b", "done b"}));
}

TEST_F(DiskTurnsTest, AStepThatFailsLeavesTheOthers) {
  sim.Do([&] {
    Give("a");
    Give("bad");
    Give("b");
  });
  sim.RunFor(1000);
  EXPECT_EQ(words,
            (Words{"begin a", "begin bad", "begin b", "end a", "end bad", "end b", "done a", "failed bad", "done b"}));
}

TEST_F(DiskTurnsTest, FlushAFileOfSeveralStepsOnceAndEachGetsItsFailure) {
  const auto common = File("/home/u/dl/common");
  const auto other = File("/home/u/dl/other");
  int flushes = 0;
  sim.disk().FailWhere(
      [&](DiskCall call, const std::string& path) {
        if (call == DiskCall::Flush) ++flushes;
        return call == DiskCall::Flush && path == "/home/u/dl/common";
      },
      1, true);
  sim.Do([&] {
    for (const char* const name : {"a", "b", "c"}) {
      const auto step = Step(name);
      step->file = name[0] == 'c' ? other : common;
      Give(step, name);
    }
  });
  sim.RunFor(1000);
  EXPECT_EQ(flushes, 2);
  EXPECT_EQ((Words{words.end() - 3, words.end()}), (Words{"failed a", "failed b", "done c"}));
}

TEST_F(DiskTurnsTest, NamesOfOneFolderAreFlushedOnceAndFailTogether) {
  for (const bool fails : {false, true}) {
    words.clear();
    int flushes = 0;
    std::vector<std::shared_ptr<NameStep>> steps;
    for (const char* const name : {"a", "b"}) {
      const std::string path = std::string("/home/u/dl/") + name + (fails ? "2" : "1");
      (void)File(path + ".part");
      steps.push_back(std::make_shared<NameStep>(path + ".part", path, std::nullopt));
    }
    sim.disk().NoFaults();
    sim.disk().FailWhere([&](DiskCall call, const std::string&) {
      if (call == DiskCall::FlushFolder) ++flushes;
      return fails && call == DiskCall::FlushFolder;
    });
    sim.Do([&] {
      for (const auto& step : steps) Give(step, "name");
    });
    sim.RunFor(1000);
    EXPECT_EQ(flushes, 1);
    EXPECT_EQ(words, fails ? (Words{"failed name", "failed name"}) : (Words{"done name", "done name"}));
    for (const auto& step : steps) EXPECT_EQ(step->HasName(), !fails);
  }
}

}  // namespace
}  // namespace pellora
