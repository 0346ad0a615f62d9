#include "fetch/States.h"

#include <array>
#include <string>
#include <string_view>

#include "ports/Failure.h"

namespace pellora {

namespace {

// One row for each event, one letter for each state: the state that follows, "-" for none other, "!" for what cannot
// be.
constexpr std::string_view kFetchLetters = "WORHAFPSD";
constexpr std::array<std::string_view, kFetchEvents> kFetchTable = {
    // WORHAFPSD
    "O--O--OO-",  // Start
    "W--W--WW-",  // StartNoPlace
    "PPPPPP---",  // Pause
    "!R!!!!!!!",  // FirstAnswerRight
    "!FF!!!!!!",  // AllBytesHeld
    "!HH!!!!!!",  // LastLaneLost
    "!SSSSS!!!",  // GivenUp
    "!AA!!A!!!",  // Question
    "----S----",  // AnswerNo
    "---O-----",  // NetworkOrTimeBack
    "!SSSSS--!",  // DiskFailed
    "!!!!!DD!!",  // Renamed
};

constexpr std::string_view kLaneLetters = "ICTBX";
constexpr std::array<std::string_view, kLaneEvents> kLaneTable = {
    // ICTBX
    "C!!--",  // PieceGiven
    "!T!!!",  // RightAnswer
    "B!!!!",  // Lost
    "X!!!!",  // OneMore
    "!!!II",  // Again
    "IIIII",  // Stop
};

template <std::size_t rows>
constexpr bool IsWhole(const std::array<std::string_view, rows>& table, std::string_view letters) {
  for (const std::string_view row : table) {
    if (row.size() != letters.size()) return false;
    for (const char cell : row) {
      if (cell != '-' && cell != '!' && letters.find(cell) == std::string_view::npos) return false;
    }
  }
  return true;
}
static_assert(IsWhole(kFetchTable, kFetchLetters) && kFetchLetters.size() == kFetchStates);
static_assert(IsWhole(kLaneTable, kLaneLetters) && kLaneLetters.size() == kLaneStates);

template <class State, class Event, std::size_t rows>
State Look(const std::array<std::string_view, rows>& table, std::string_view letters, State state, Event event) {
  const char cell = table.at(static_cast<std::size_t>(event)).at(static_cast<std::size_t>(state));
  if (cell == '-') return state;
  if (cell == '!') {
    throw Failure(FailureNumber::InvalidCall, "no event " + std::to_string(static_cast<int>(event)) + " in state " +
                                                  letters[static_cast<std::size_t>(state)]);
  }
  return static_cast<State>(letters.find(cell));
}

}  // namespace

FetchState StateAfter(FetchState state, FetchEvent event) { return Look(kFetchTable, kFetchLetters, state, event); }
LaneState StateAfter(LaneState state, LaneEvent event) { return Look(kLaneTable, kLaneLetters, state, event); }

}  // namespace pellora
