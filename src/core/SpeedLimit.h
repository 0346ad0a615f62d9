// SpeedLimit: how a limit of speed is set, by whatever window or caller.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pellora {

class Program;

inline constexpr std::int64_t kBytesOfKiB = 1024;  // limits are in KiB/s for the user, in bytes for the engines

// Of all downloads together, in force at once. 0: none; what is out of range is held to it. The limit counts even if
// the settings cannot be saved, which is a Failure.
void SetSpeedLimit(Program& program, std::int32_t kibPerSecond);

// Of one record, bytes per second; 0: none. In force at once; the web engine's records keep it in the journal, the
// others until the program ends. Failure(OutOfRange) for a record that does not exist.
void SetSpeedLimitOf(Program& program, std::int16_t index, std::int64_t bytesPerSecond);
std::int64_t SpeedLimitOf(const Program& program, std::int16_t index);

// As the user writes a limit: KiB/s in digits, empty or 0 for none. nullopt: anything else, or more than the highest.
std::optional<std::int32_t> ReadSpeedLimit(std::string_view text);
std::string SpeedLimitText(std::int64_t kibPerSecond);

}  // namespace pellora
