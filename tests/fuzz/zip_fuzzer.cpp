// libFuzzer's way in: zip_fuzzer -max_total_time=60 CORPUS
#include "FuzzZip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  pellora::FuzzZip(data, size);
  return 0;
}
