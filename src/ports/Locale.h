// Locale: what the user's locale decides in texts that are shown.
#pragma once

#include <string>

#include "ports/DateForms.h"

namespace pellora {

// What the user's locale decides in displayed texts. Numbers on the wire and in files never use it.
class Locale {
 public:
  virtual ~Locale() = default;
  virtual std::string DecimalSeparator() const = 0;
  // The general date and time text of a serial of days since 30 December 1899; the time is left out at
  // midnight and the date on day 0; empty for what is no date.
  virtual std::string DateTimeText(double serial) const = 0;
  // How short dates and times are shown and typed.
  virtual DateForms ShortForms() const { return {}; }
};

}  // namespace pellora
