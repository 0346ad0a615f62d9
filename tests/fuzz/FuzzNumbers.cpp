#include <cfloat>
#include <climits>
#include <cmath>
#include <string>

#include "Oracle.h"
#include "Targets.h"
#include "core/DateTexts.h"
#include "core/Dates.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// The whole text is "[sign] digits [. digits]" with blanks around it.
bool IsNumber(std::string_view bytes) {
  std::string text = WithoutOuterBlanks(bytes);
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.erase(0, 1);
  const std::size_t point = text.find('.');
  if (point != std::string::npos) text.erase(point, 1);
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

template <class Integer>
void DemandStrict(std::string_view bytes, Integer (*convert)(std::string_view), double least, double most) {
  const double expected = std::nearbyint(LeadingNumber(bytes));
  const bool fits = IsNumber(bytes) && expected >= least && expected <= most;
  Integer value = 0;
  const bool converted = Skip([&] { value = convert(bytes); });
  Demand(converted == fits, "a number converts if it is one and fits");
  Demand(!converted || value == expected, "a number converts to itself");
}

void DemandFlag(std::string_view bytes) {
  const std::string word = LowerCase(WithoutOuterBlanks(bytes));
  const bool known = word == "true" || word == "false" || IsNumber(bytes);
  bool flag = false;
  const bool converted = Skip([&] { flag = ToBoolean(bytes); });
  Demand(converted == known, "a flag converts if it is one");
  // A number too small for a double counts as zero.
  if (known && word != "true" && std::abs(LeadingNumber(bytes)) >= DBL_MIN) Demand(flag, "what is not zero is true");
  if (word == "true") Demand(flag, "true is true");
  if (word == "false") Demand(!flag, "false is false");
}

void DemandDate(std::string_view bytes) {
  DateTimeReading reading;
  if (Skip([&] { reading = ReadDateTime(bytes); })) {
    const std::string stored = StoredDateTime(reading.serial);
    Demand(StoredDateTime(ReadDateTime(stored).serial) == stored, "a stored date is read back as itself");
    Demand(reading.hasDate || reading.hasTime, "a date-time has one of the two");
    Demand(ReadLocalDateTime(stored, {}, DateTimeOrder::DateFirst).serial == ReadDateTime(stored).serial,
           "the stored form is read in the options too");
  }
  const DateForms forms[] = {{}, {"dd.MM.yyyy", "HH:mm", "", "", "0"}, {"M/d/yyyy", "h:mm AP", "AM", "PM", "0"}};
  for (const DateForms& form : forms) {
    for (const DateTimeOrder order : {DateTimeOrder::DateFirst, DateTimeOrder::TimeFirst}) {
      const AllocationMeter meter;
      if (!Skip([&] { reading = ReadLocalDateTime(bytes, form, order); })) continue;
      Demand(meter.Bytes() <= 64 * bytes.size() + 16384, "a date takes memory in proportion to its length");
      const CalendarFields fields = FieldsOf(reading.serial);
      Demand(fields.year >= 100 && fields.year <= 9999, "a date is between the years 100 and 9999");
      const std::string shown = ShortDate(reading.serial, form);
      const double again = ReadLocalDateTime(shown, form, DateTimeOrder::DateFirst).serial;
      Demand(ShortDate(again, form) == shown, "a date is read as it is shown");
    }
  }
}

}  // namespace

void FuzzNumbers(std::string_view bytes, const std::function<double(std::string_view)>& prefix) {
  const double value = prefix(bytes);
  const double expected = LeadingNumber(bytes);
  Demand(std::isfinite(value), "a number is finite");
  // Below the smallest normal number one reader may return 0 and the other not.
  Demand(value == expected || (std::abs(value) < DBL_MIN && std::abs(expected) < DBL_MIN),
         "a number is the one at the text's start");
  Demand(RoundedPrefix(bytes) == RoundedNumber(bytes), "halves go to the even neighbour");
  DemandStrict<std::int16_t>(bytes, ToInt16, SHRT_MIN, SHRT_MAX);
  DemandStrict<std::int32_t>(bytes, ToInt32, INT_MIN, INT_MAX);
  DemandFlag(bytes);
  DemandDate(bytes);
}

}  // namespace pellora
