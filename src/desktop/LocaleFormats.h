// LocaleFormats: decimal separator and date texts as the user's locale has them.
#pragma once

#include "platform/Desktop.h"

namespace pellora {

class LocaleFormats final : public Locale {
 public:
  std::string DecimalSeparator() const override;
  std::string DateTimeText(double serial) const override;
};

}  // namespace pellora
