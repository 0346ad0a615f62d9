// libFuzzer's entry to one target: PELLORA_TARGET is its function, declared in PELLORA_TARGET_HEADER.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>

#include PELLORA_TARGET_HEADER

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    pellora::PELLORA_TARGET(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const std::exception& broken) {
    std::cerr << "does not hold: " << broken.what() << '\n';
    std::abort();
  }
  return 0;
}
