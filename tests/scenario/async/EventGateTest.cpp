#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "async/EventGate.h"

namespace pellora {
namespace {

// Appends a letter to the log when destroyed.
class Marked {
 public:
  Marked(std::string& log, std::string letter) : log_(log), letter_(std::move(letter)) {}
  ~Marked() { log_ += letter_; }
  Marked(const Marked&) = delete;
  Marked& operator=(const Marked&) = delete;

 private:
  std::string& log_;
  std::string letter_;
};

class EventGateTest : public testing::Test {
 protected:
  std::shared_ptr<Marked> Mark(const std::string& letter) { return std::make_shared<Marked>(log, letter); }

  std::string log;  // must outlive what the gate releases
  EventGate gate;
};

TEST_F(EventGateTest, KeepsADisposedObjectUntilTheOutermostEventEnds) {
  gate.Deliver([&] {
    gate.Deliver([&] {
      gate.DisposeAfterEvent(Mark("x"));
      log += "1";
    });
    log += "2";
  });
  EXPECT_EQ(log, "12x");
}

TEST_F(EventGateTest, ReleasesAtOnceOutsideEvents) {
  gate.DisposeAfterEvent(Mark("x"));
  EXPECT_EQ(log, "x");
}

TEST_F(EventGateTest, RunsTheHookOnceAfterEachOutermostEvent) {
  gate.SetAfterEvent([&] { log += "h"; });
  gate.Deliver([&] {
    gate.Deliver([] {});
    gate.DisposeAfterEvent(Mark("x"));
  });
  gate.Deliver([] {});
  EXPECT_EQ(log, "hxh");
}

TEST_F(EventGateTest, FailureEndsOnlyTheInnerHandler) {
  gate.Deliver([&] {
    gate.Deliver([&] {
      log += "1";
      throw Failure(FailureNumber::File, "lost");
    });
    log += "2";
  });
  EXPECT_EQ(log, "12");
}

TEST_F(EventGateTest, OtherExceptionsPassAndLeaveTheGateUsable) {
  EXPECT_THROW(gate.Deliver([] { throw std::logic_error("wrong"); }), std::logic_error);
  gate.SetAfterEvent([] { throw std::logic_error("wrong hook"); });
  EXPECT_THROW(gate.Deliver([] {}), std::logic_error);
  gate.SetAfterEvent({});
  gate.DisposeAfterEvent(Mark("x"));
  EXPECT_EQ(log, "x");
}

}  // namespace
}  // namespace pellora
