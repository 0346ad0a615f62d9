#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Support.h"
#include "async/EventGate.h"
#include "desktop/FileWorker.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

// Works wait here until the test opens it.
class Barrier {
 public:
  void Open() {
    {
      const std::lock_guard lock(mutex_);
      open_ = true;
    }
    opened_.notify_all();
  }
  void Wait() {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

// Records in which thread it was destroyed.
class Trail {
 public:
  explicit Trail(std::atomic<std::thread::id>& where) : where_(where) {}
  ~Trail() { where_ = std::this_thread::get_id(); }

 private:
  std::atomic<std::thread::id>& where_;
};

class FileWorkerTest : public testing::Test {
 protected:
  EventGate gate;
  FileWorker worker{gate};
};

TEST_F(FileWorkerTest, RunsBesideTheLoopAndReportsTheEndOnIt) {
  const auto barrier = std::make_shared<Barrier>();
  std::thread::id worked;
  std::optional<std::thread::id> delivered;
  worker.Run(
      [&worked, barrier] {
        barrier->Wait();
        worked = std::this_thread::get_id();
      },
      [&](std::exception_ptr failure) {
        EXPECT_FALSE(failure);
        delivered = std::this_thread::get_id();
      });
  EXPECT_FALSE(delivered);
  barrier->Open();
  ASSERT_TRUE(RunUntil([&] { return delivered.has_value(); }));
  EXPECT_EQ(*delivered, std::this_thread::get_id());
  EXPECT_NE(worked, std::this_thread::get_id());
}

TEST_F(FileWorkerTest, NeverReportsTheEndInsideTheCall) {
  bool inside = true;
  bool delivered = false;
  worker.Run([] {},
             [&](std::exception_ptr) {
               EXPECT_FALSE(inside);
               delivered = true;
             });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  inside = false;
  ASSERT_TRUE(RunUntil([&] { return delivered; }));
}

TEST_F(FileWorkerTest, RunsJobsOneAtATimeInOrder) {
  std::atomic<int> running = 0;
  std::vector<int> worked;
  std::vector<int> delivered;
  for (int i = 0; i < 200; ++i) {
    worker.Run(
        [&, i] {
          EXPECT_EQ(++running, 1);
          worked.push_back(i);
          --running;
        },
        [&, i](std::exception_ptr) { delivered.push_back(i); });
  }
  ASSERT_TRUE(RunUntil([&] { return delivered.size() == 200; }));
  EXPECT_EQ(worked, delivered);
  EXPECT_TRUE(std::is_sorted(delivered.begin(), delivered.end()));
}

TEST_F(FileWorkerTest, ReportsAFailureAndContinues) {
  std::string reason;
  bool next = false;
  worker.Run([] { throw Failure(FailureNumber::File, "a disk that is full"); },
             [&](std::exception_ptr failure) {
               ASSERT_TRUE(failure);
               try {
                 std::rethrow_exception(failure);
               } catch (const Failure& caught) {
                 reason = caught.what();
               }
             });
  worker.Run([] {}, [&](std::exception_ptr failure) { next = !failure; });
  ASSERT_TRUE(RunUntil([&] { return next; }));
  EXPECT_EQ(reason, "a disk that is full");
}

TEST_F(FileWorkerTest, ReleasesCapturesOnItsThread) {
  std::atomic<std::thread::id> where;
  auto trail = std::make_shared<Trail>(where);
  bool delivered = false;
  worker.Run([trail = std::move(trail)] {},
             [&](std::exception_ptr) {
               EXPECT_NE(where.load(), std::thread::id());
               delivered = true;
             });
  ASSERT_TRUE(RunUntil([&] { return delivered; }));
  EXPECT_NE(where.load(), std::this_thread::get_id());
}

TEST(FileWorker, EndsWithoutWaitingForAWorkThatHangs) {
  const auto barrier = std::make_shared<Barrier>();
  const auto begun = std::make_shared<Barrier>();
  const auto others = std::make_shared<std::atomic<int>>(0);
  int delivered = 0;
  {
    EventGate gate;
    FileWorker worker(gate);
    worker.Run(
        [barrier, begun] {
          begun->Open();
          barrier->Wait();
        },
        [&](std::exception_ptr) { ++delivered; });
    worker.Run([others] { ++*others; }, [&](std::exception_ptr) { ++delivered; });
    begun->Wait();
  }
  barrier->Open();
  EXPECT_TRUE(RunUntil([&] { return barrier.use_count() == 1; }));  // its thread has released it
  EXPECT_EQ(delivered, 0);
  EXPECT_EQ(*others, 0);
}

}  // namespace
}  // namespace pellora
