#include "Report.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/mman.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <typeinfo>

namespace pellora {

LastThrow lastThrow;
bool watchThrows = false;

std::vector<std::string> Report::Wrong() const {
  std::vector<std::string> lines;
  std::string_view rest(wrong);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    lines.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return lines;
}

void Report::AddWrong(const std::string& line) {
  const std::size_t used = std::strlen(wrong);
  if (used + line.size() + 2 > kMaxText) return;
  std::memcpy(wrong + used, line.data(), line.size());
  wrong[used + line.size()] = '\n';
  wrong[used + line.size() + 1] = '\0';
}

SharedReport::SharedReport() {
  void* const memory = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  report_ = new (memory) Report();
}

SharedReport::~SharedReport() { munmap(report_, sizeof(Report)); }

namespace {

// The address and size of the executable in memory.
struct Image {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

int ReadImage(dl_phdr_info* info, std::size_t, void* to) {
  auto& image = *static_cast<Image*>(to);  // the first one is the executable
  image.begin = info->dlpi_addr;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    if (header.p_type == PT_LOAD) image.end = std::max(image.end, image.begin + header.p_vaddr + header.p_memsz);
  }
  return 1;
}

}  // namespace

Stack OffsetsOf(void* const* frames, int count) {
  static const Image image = [] {
    Image found;
    dl_iterate_phdr(ReadImage, &found);
    return found;
  }();
  Stack stack;
  for (int i = 0; i < count; ++i) {
    const auto at = reinterpret_cast<std::uintptr_t>(frames[i]) - 1;  // the call, not the return address
    stack.push_back(at >= image.begin && at < image.end ? at - image.begin : 0);
  }
  return stack;
}

std::string ReadSanitizer(const std::string& output, Stack& stack) {
  std::size_t at = std::string::npos;
  for (const char* mark : {"ERROR: AddressSanitizer", "runtime error:", "ERROR: LeakSanitizer"}) {
    at = std::min(at, output.find(mark));
  }
  if (at == std::string::npos) return {};
  const std::size_t line = output.rfind('\n', at) + 1;
  std::string first = output.substr(line, output.find('\n', at) - line);
  // "    #3 0x55d4c2 (/path/of/executable+0x1234)"
  static const std::string self = [] {
    char path[4096];
    return std::string(realpath("/proc/self/exe", path) ? path : "");
  }();
  bool begun = false;
  for (std::size_t begin = at; begin < output.size();) {
    const std::size_t end = std::min(output.find('\n', begin), output.size());
    const std::string_view text = std::string_view(output).substr(begin, end - begin);
    begin = end + 1;
    const std::size_t frame = text.find_first_not_of(' ');
    if (frame == std::string_view::npos || text[frame] != '#') {
      if (begun) break;
      continue;
    }
    begun = true;
    std::uintptr_t offset = 0;
    const std::size_t file = text.find("(" + self + "+0x");
    if (file != std::string_view::npos) {
      const char* const digits = text.data() + file + self.size() + 4;
      std::from_chars(digits, text.data() + text.size(), offset, 16);
    }
    stack.push_back(offset);
  }
  return first;
}

}  // namespace pellora

// Called in place of the library's function, which does the throwing, to record the stack of a throw that is caught far
// away. Compilers disagree about its parameter types, so only its symbol has the library's name.
extern "C" [[noreturn]] void ThrowSeenFirst(void* object, std::type_info* type,
                                            void (*destroy)(void*)) __asm__("__cxa_throw");
extern "C" void ThrowSeenFirst(void* object, std::type_info* type, void (*destroy)(void*)) {
  using Throw = void (*)(void*, std::type_info*, void (*)(void*));
  static const auto next = reinterpret_cast<Throw>(dlsym(RTLD_NEXT, "__cxa_throw"));
  if (pellora::watchThrows) {
    pellora::LastThrow& last = pellora::lastThrow;
    last.type = type->name();
    const std::string_view name(last.type);
    if (name != "N7pellora7FailureE" && name != "N7pellora9SimKilledE") {
      last.frameCount = backtrace(last.frames, pellora::Report::kMaxFrames);
    }
  }
  next(object, type, destroy);
  __builtin_unreachable();
}
