// The one exception of the program's logic.
//
// A handler ignores failures statement by statement (Skip), or is abandoned at its first Failure while its caller
// continues (EventGate). Only Failure is ever swallowed: any other exception is a programming error and ends the
// program.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace pellora {

// The logic only distinguishes these; the values mean nothing to it.
enum class FailureNumber {
  InvalidCall = 5,   // an impossible argument: a negative length, a bad port
  Overflow = 6,      // a number outside its type's range
  OutOfRange = 9,    // an index that the array does not have, or no longer has
  ArrayLocked = 10,  // a resize while a handler holds the array
  DivisionByZero = 11,
  Conversion = 13,   // text of the wrong form
  File = 52,         // a file cannot be opened, read or written; the text names it
  ForeignFile = 75,  // the file at that name is not the program's to use, and was left alone; the text names it
  Socket = 40006,    // a socket operation in the wrong state
};

class Failure : public std::runtime_error {
 public:
  Failure(FailureNumber number, const std::string& text) : std::runtime_error(text), number_(number) {}
  FailureNumber Number() const { return number_; }

 private:
  FailureNumber number_;
};

// Runs one statement and ignores its Failure. Returns true if it succeeded.
template <class Statement>
bool Skip(Statement&& statement) {
  try {
    std::forward<Statement>(statement)();
    return true;
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace pellora
