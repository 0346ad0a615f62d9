// LocaleFormats: decimal separator and date texts of the user's locale.
#pragma once

#include "ports/Locale.h"

class QLocale;

namespace pellora {

class LocaleFormats final : public Locale {
 public:
  std::string DecimalSeparator() const override;
  std::string DateTimeText(double serial) const override;
  DateForms ShortForms() const override;
};

// The short forms of any locale: years in full, months as numbers, and no weekday or zone.
DateForms ShortFormsOf(const QLocale& locale);

}  // namespace pellora
