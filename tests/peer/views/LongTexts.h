// LongTexts: language files made from the shipped ones, with texts as long as they may get.
#pragma once

#include <array>
#include <string>

namespace pellora::testing_views {

inline constexpr std::array kShippedLanguages = {"english", "french",     "german", "italian",
                                                 "polish",  "portuguese", "spanish"};

// English with every text 40 % longer.
std::string LongerEnglish();
// Of each text the longest in any language.
std::string LongestTexts();
// English with Hebrew letters in place of each word's: a language that is written from right to left.
std::string HebrewLetters();

}  // namespace pellora::testing_views
