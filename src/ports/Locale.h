// Locale: what the user's locale decides in displayed texts. Numbers on the wire and in files never use it.
#pragma once

#include <string>

#include "ports/DateForms.h"

namespace pellora {

class Locale {
 public:
  virtual ~Locale() = default;
  virtual std::string DecimalSeparator() const = 0;
  // Date and time of a serial (days since 30 December 1899): without the time at midnight, without the date on day 0;
  // empty for what is no date.
  virtual std::string DateTimeText(double serial) const = 0;
  // How short dates and times are shown and typed.
  virtual DateForms ShortForms() const { return {}; }
};

}  // namespace pellora
