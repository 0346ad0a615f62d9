#include "core/SpeedLimit.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "core/Ascii.h"
#include "core/Program.h"
#include "core/SpeedLimits.h"

namespace pellora {

void SetSpeedLimit(Program& program, std::int32_t kibPerSecond) {
  Settings& settings = program.settings;
  if (settings.SpeedLimit > 0) settings.FormerSpeedLimit = settings.SpeedLimit;
  settings.SpeedLimit = std::clamp(kibPerSecond, 0, kHighestSpeedLimit);
  program.speed->Update();
  SaveSettings(program.settings, program.platform.settings);
}

void SetSpeedLimitOf(Program& program, std::int16_t index, std::int64_t bytesPerSecond) {
  constexpr std::int64_t kHighest = std::int64_t{kHighestSpeedLimit} * kBytesOfKiB;
  if (!program.Download(index).InUse) return;
  program.speed->SetLimitOf(index, std::clamp(bytesPerSecond, std::int64_t{0}, kHighest));
  if (program.speedLimitSet) program.speedLimitSet(index);
}

std::int64_t SpeedLimitOf(const Program& program, std::int16_t index) { return program.speed->LimitOf(index); }

std::optional<std::int32_t> ReadSpeedLimit(std::string_view text) {
  const std::string_view digits = TrimBlanks(text);
  if (digits.empty()) return 0;
  if (digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || value > kHighestSpeedLimit) return std::nullopt;
  return value;
}

std::string SpeedLimitText(std::int64_t kibPerSecond) {
  return kibPerSecond > 0 ? std::to_string(kibPerSecond) : std::string();
}

}  // namespace pellora
