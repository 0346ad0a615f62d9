// Shared by the fuzz targets: reporting violations, a meter of allocated memory, and the simplest possible readers of
// numbers and pieces to compare the program's with.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// A claim that must hold for all bytes is violated.
class OracleBroken : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

inline void Demand(bool holds, const char* claim) {
  if (!holds) throw OracleBroken(claim);
}

// Bytes allocated since its construction, not counting what was freed.
class AllocationMeter {
 public:
  AllocationMeter();
  std::uint64_t Bytes() const;

 private:
  std::uint64_t start_;
};

// Choices taken from the front of the input; 0 at its end.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : rest_(bytes) {}
  std::uint32_t Byte();
  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// The pieces between the marks.
std::vector<std::string> Pieces(std::string_view text, std::string_view mark);
std::string Joined(const std::vector<std::string>& pieces);
// Each line with the checksum of its fields in place of what it begins with, as FieldLines has them.
std::string WithLineSums(const std::string& text);
std::string LowerCase(std::string_view text);
std::string WithoutOuterBlanks(std::string_view text);
bool HasControls(std::string_view text);

// The leading number of a text, and the same rounded and limited to 32 bits.
double LeadingNumber(std::string_view text);
std::int32_t RoundedNumber(std::string_view text);

}  // namespace pellora
