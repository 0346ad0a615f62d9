// What the fuzz targets share: how an oracle complains, a meter of the memory that is asked for, and the
// plainest possible readers of numbers and pieces to compare the program's with.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// A claim that must hold for any bytes does not.
class OracleBroken : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

inline void Demand(bool holds, const char* claim) {
  if (!holds) throw OracleBroken(claim);
}

// Bytes asked of the allocator since its construction, whatever was given back meanwhile.
class AllocationMeter {
 public:
  AllocationMeter();
  std::uint64_t Bytes() const;

 private:
  std::uint64_t start_;
};

// Choices taken from the front of the input; 0 once it has run out.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : rest_(bytes) {}
  std::uint32_t Byte();
  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// The pieces between the marks; one more than there are marks.
std::vector<std::string> Pieces(std::string_view text, std::string_view mark);
std::string Joined(const std::vector<std::string>& pieces);
std::string LowerCase(std::string_view text);
std::string WithoutOuterBlanks(std::string_view text);
bool HasControls(std::string_view text);

// The leading number of a text, and the same rounded and held within 32 bits.
double LeadingNumber(std::string_view text);
std::int32_t RoundedNumber(std::string_view text);

}  // namespace pellora
