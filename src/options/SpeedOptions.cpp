// SpeedOptions: the limit of speed in the options dialog, with its timetable.
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "core/Ascii.h"
#include "core/SpeedLimit.h"
#include "core/SpeedLimits.h"
#include "options/Options.h"

namespace pellora {

namespace {

std::optional<std::int32_t> ReadHour(const TextBox& box) {
  const std::string_view text = TrimBlanks(box.Text());
  std::int32_t hour = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), hour);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && hour >= 0 && hour <= 23 ? std::optional(hour) : std::nullopt;
}

}  // namespace

void options::ShowSpeedLimit() {
  const Settings& settings = program_.settings;
  Text12.Text = SpeedLimitText(settings.SpeedLimit);
  Check13.Value = settings.SpeedLimitTimed;
  Text13.Text = std::to_string(settings.SpeedLimitFrom);
  Text14.Text = std::to_string(settings.SpeedLimitTo);
}

// The hours of a timetable that is off do not matter.
std::optional<WebText> options::SpeedLimitFault() {
  if (!ReadSpeedLimit(Text12.Text())) return WebText::BadSpeedLimit;
  if (Check13.Value && (!ReadHour(Text13) || !ReadHour(Text14))) return WebText::BadSpeedLimitHours;
  return std::nullopt;
}

void options::ApplySpeedLimit() {
  Settings& settings = program_.settings;
  ChangeSpeedLimit(settings, ReadSpeedLimit(Text12.Text()).value_or(settings.SpeedLimit));
  settings.SpeedLimitTimed = Check13.Value;
  settings.SpeedLimitFrom = ReadHour(Text13).value_or(settings.SpeedLimitFrom);
  settings.SpeedLimitTo = ReadHour(Text14).value_or(settings.SpeedLimitTo);
  program_.speed->Update();
}

}  // namespace pellora
