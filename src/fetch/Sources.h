// Sources: where the bytes of one download can come from: its address, number 0, and mirrors of it, by priority.
//
// Each source has its own redirects, server and validator. The main one answers the first request of a run; lanes go to
// all sources only where a checksum proves the file in the end. A source that fails rests until all others have failed
// too; one with other bytes, or that refuses, is left out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/IntervalSet.h"
#include "core/Mirror.h"
#include "core/WebAddress.h"
#include "fetch/ReplyCheck.h"

namespace pellora {

enum class SourceState : std::uint8_t {
  InUse,
  Resting,  // it has failed; others are tried first
  LeftOut,
};

struct Source {
  WebAddress given;                // of number 0 with the login
  WebAddress current;              // where redirects have led its first answer to
  std::string peer;                // numeric address of that answer's server
  std::optional<FileFacts> facts;  // of its answers; nothing before the first right one
  std::vector<FileFacts> twins;    // of servers of it whose sample was the same
  bool proven = false;             // an answer of this run has agreed with the file
  bool single = false;             // it takes one connection, not more
  int failures = 0;                // times that its last lane was lost, since its last byte
  SourceState state = SourceState::InUse;
  std::string fault;      // why it is not InUse, for the user
  IntervalSet delivered;  // what is in the part file of it
};

class Sources {
 public:
  // Mirrors with a fault are left out, and such as are no addresses.
  void Begin(const WebAddress& given, const std::vector<Mirror>& mirrors);
  void Add(const Mirror& mirror);
  void ForgetFile();  // what was known of it

  int Count() const { return static_cast<int>(sources_.size()); }
  Source& At(int number) { return sources_.at(static_cast<std::size_t>(number)); }
  const Source& At(int number) const { return sources_.at(static_cast<std::size_t>(number)); }
  int MainNumber() const { return main_; }
  Source& Main() { return At(main_); }
  const Source& Main() const { return At(main_); }
  bool HasOthers(int number) const;  // that are not left out
  int InUse() const;
  bool AllAreHttp() const;  // of those that are not left out

  // For good. The main one becomes the first one that is left.
  void LeaveOut(int number, std::string fault);
  void Rest(int number, std::string fault);
  // After the main source has failed: the next one in use is the main one. False if there is none; then those that rest
  // are in use again, and the first one is the main one.
  bool MoveOn(const std::string& fault);

  // Who has delivered wrong bytes: the sources that alone delivered bytes of a wrong range, else all but the first that
  // delivered any. Without ranges: all but the first that delivered anything. Never all that are left.
  std::vector<int> Suspects(const std::vector<Range>& wrong) const;
  // What of the file these have delivered.
  std::vector<Range> DeliveredBy(const std::vector<int>& numbers) const;
  void ForgetDelivered(const std::vector<Range>& ranges);

  // The source in use with the fewest open lanes, the first of such, for a further lane; `open` and `room` are the
  // lanes of each source that are open and that it takes besides. `spread`: else the main one alone.
  std::optional<int> ForLane(const std::vector<int>& open, const std::vector<int>& room, bool spread) const;

 private:
  void TakeFirstAsMain();
  std::vector<int> WhoDelivered(Range range) const;

  std::vector<Source> sources_ = std::vector<Source>(1);
  int main_ = 0;
};

}  // namespace pellora
