#include "desktop/preview/MediaLibrary.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>

namespace pellora {

namespace {

constexpr int kStateReady = 2;  // devices are open, no data flows

// Stays loaded: each call raises the reference count, and nothing lowers it.
void* Library() { return dlopen("libgstreamer-1.0.so.0", RTLD_NOW | RTLD_GLOBAL); }

template <class Function>
Function* Find(const char* name) {
  void* const library = Library();
  return library != nullptr ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
}

}  // namespace

const std::string& MediaLibraryPath() {
  static const std::string path = [] {
    Dl_info info{};
    const auto start = Find<int(int*, char***, void**)>("gst_init_check");
    const bool known = start != nullptr && dladdr(reinterpret_cast<const void*>(start), &info) != 0;
    return known ? std::string(info.dli_fname) : std::string();
  }();
  return path;
}

bool StartMediaLibrary() {
  const auto start = Find<int(int*, char***, void**)>("gst_init_check");
  return start != nullptr && start(nullptr, nullptr, nullptr) != 0;
}

bool CanPlay() {
  const auto find = Find<void*(const char*)>("gst_element_factory_find");
  if (find == nullptr || !StartMediaLibrary()) return false;
  constexpr std::array kElements = {"playbin", "decodebin", "autoaudiosink", "audioconvert", "videoconvert", "appsink"};
  return std::all_of(kElements.begin(), kElements.end(), [find](const char* name) { return find(name) != nullptr; });
}

void ConnectSound() {
  const auto make = Find<void*(const char*, const char*)>("gst_element_factory_make");
  const auto setState = Find<int(void*, int)>("gst_element_set_state");
  if (make == nullptr || setState == nullptr) return;
  // The sink is never destroyed, so the connection stays.
  if (void* const sink = make("pulsesink", nullptr)) setState(sink, kStateReady);
}

}  // namespace pellora
