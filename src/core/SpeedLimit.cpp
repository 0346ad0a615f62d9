#include "core/SpeedLimit.h"

#include <algorithm>

#include "core/Program.h"
#include "core/SpeedLimits.h"

namespace pellora {

void SetSpeedLimit(Program& program, std::int32_t kibPerSecond) {
  program.settings.SpeedLimit = std::clamp(kibPerSecond, 0, kHighestSpeedLimit);
  program.speed->Update();
  SaveSettings(program.settings, program.platform.settings);
}

void SetSpeedLimitOf(Program& program, std::int16_t index, std::int64_t bytesPerSecond) {
  constexpr std::int64_t kHighest = std::int64_t{kHighestSpeedLimit} * 1024;
  if (!program.Download(index).InUse) return;
  program.speed->SetLimitOf(index, std::clamp(bytesPerSecond, std::int64_t{0}, kHighest));
  if (program.speedLimitSet) program.speedLimitSet(index);
}

std::int64_t SpeedLimitOf(const Program& program, std::int16_t index) { return program.speed->LimitOf(index); }

}  // namespace pellora
