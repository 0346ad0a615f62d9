// DateForms: how the user's locale writes a short date and a short time, as patterns.
//
// d, M, yyyy, H (0 to 23), h (1 to 12), m and s are replaced by their numbers, doubled (dd) by at least two digits,
// and AP by the half of the day. Text in single quotes is literal, and so is every other character; two single quotes
// give one.
#pragma once

#include <string>

namespace pellora {

struct DateForms {
  std::string date = "yyyy-MM-dd";
  std::string time = "HH:mm";
  std::string am = "AM";
  std::string pm = "PM";
  std::string zero = "0";  // the locale's digit 0; 1 to 9 follow it in Unicode
};

}  // namespace pellora
