// BackOff and Rounds: when a lane tries again, and when its download gives up.
//
// A lane waits 1, 2, 4, ... up to 60 s, each wait shortened by a chance of up to a quarter, so that many downloads do
// not return to a server at once. The waits start over after a mebibyte; a lane that has fetched that much is replaced
// without a wait when it is lost, if others are open.
//
// A round of a download ends when no lane of it is left that fetches or tries. Ten rounds in a row without a byte are
// enough. While the network, the names or the server's own word are the cause, a round does not count.
#pragma once

#include <cstdint>

namespace pellora {

constexpr std::int64_t SecondsOf(std::int64_t milliseconds) { return (milliseconds + 999) / 1000; }  // rounded up

class BackOff {
 public:
  explicit BackOff(std::uint64_t seed) : random_(seed) {}

  // Milliseconds until the next try, which follows a failure.
  std::int64_t Next();
  // What the server asks for is obeyed up to 24 hours, and is no less than the own wait.
  std::int64_t NextAfter(std::int64_t retryAfterSeconds);
  void Received(std::int64_t bytes);
  // A mebibyte has come since the last failure. The next failure is one without it.
  bool TakeRecovery();
  void Restart() { step_ = 0; }  // as the user wishes

 private:
  std::uint64_t random_;
  int step_ = 0;
  std::int64_t received_ = 0;  // since the last failure
};

enum class RoundCause : std::uint8_t {
  Failure,     // the server, or the way to it
  NoNetwork,   // there is no connection at all
  NoNames,     // no name can be looked up
  RetryAfter,  // the server has named a time
};

class Rounds {
 public:
  static constexpr int kMost = 10;

  void Ended(RoundCause cause);
  void Received() { count_ = 0; }  // a byte, on any lane
  bool Spent() const { return count_ >= kMost; }
  int Count() const { return count_; }

 private:
  int count_ = 0;
};

}  // namespace pellora
