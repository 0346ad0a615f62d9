#include "core/Idn.h"

#include <idn2.h>

#include <memory>

namespace pellora {

std::optional<std::string> HostToAscii(std::string_view host) {
  if (host.find('\0') != std::string_view::npos) return {};
  char* found = nullptr;
  const int result = idn2_to_ascii_8z(std::string(host).c_str(), &found, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
  const std::unique_ptr<char, void (*)(void*)> owned(found, idn2_free);
  if (result != IDN2_OK) return {};
  return std::string(owned.get());
}

}  // namespace pellora
