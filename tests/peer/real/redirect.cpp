// Loaded into the program by a test: leads the project's hosts to a server of the test's own on loopback.
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** found) {
  using Call = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const bool ours = node != nullptr && std::string_view(node).ends_with(".pellora.example");
  return real(ours ? "127.0.0.1" : node, service, hints, found);
}

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t length) {
  using Call = int (*)(int, const sockaddr*, socklen_t);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "connect"));
  const char* const port = std::getenv("REDIRECT_PORT_80");
  sockaddr_in changed{};
  if (port != nullptr && address->sa_family == AF_INET && length >= sizeof changed) {
    std::memcpy(&changed, address, sizeof changed);
    if (changed.sin_port == htons(80)) {
      changed.sin_port = htons(static_cast<in_port_t>(std::atoi(port)));
      return real(descriptor, reinterpret_cast<const sockaddr*>(&changed), sizeof changed);
    }
  }
  return real(descriptor, address, length);
}
