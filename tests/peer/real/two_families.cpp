// Loaded into the program by a test: the host both.pellora.test has the addresses ::1 and 127.0.0.1, in this order.
#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include <string_view>

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** found) {
  using Call = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (node == nullptr || std::string_view(node) != "both.pellora.test") return real(node, service, hints, found);
  addrinfo wanted{};
  if (hints != nullptr) wanted = *hints;
  addrinfo* four = nullptr;
  if (wanted.ai_family != AF_INET6) {
    wanted.ai_family = AF_INET;
    if (const int result = real("127.0.0.1", service, &wanted, &four); result != 0) return result;
  }
  if (hints != nullptr && hints->ai_family == AF_INET) {
    *found = four;
    return 0;
  }
  wanted.ai_family = AF_INET6;
  if (const int result = real("::1", service, &wanted, found); result != 0) return result;
  addrinfo* last = *found;
  while (last->ai_next != nullptr) last = last->ai_next;
  last->ai_next = four;  // freeaddrinfo frees each entry of the list for itself
  return 0;
}
