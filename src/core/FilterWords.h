// FilterWords: the words of a filter that the user has typed, and the texts that have them.
//
// A text fits if each word is somewhere in one of the given texts. Case does not count, in the alphabets that have it
// and are those of the program's languages, nor in Greek and Cyrillic.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

class FilterWords {
 public:
  // Words are separated by blanks.
  explicit FilterWords(std::string_view filter);
  bool Empty() const { return words_.empty(); }
  bool Fit(std::initializer_list<std::string_view> texts) const;

 private:
  std::vector<std::string> words_;  // in lower case
};

}  // namespace pellora
