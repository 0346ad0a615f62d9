#include "desktop/preview/MediaLibrary.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>

namespace pellora {

namespace {

constexpr int kStateReady = 2;  // devices are open, nothing flows

void* Library() {
  static void* const library = dlopen("libgstreamer-1.0.so.0", RTLD_NOW | RTLD_GLOBAL);
  return library;
}

template <class Function>
Function* Find(const char* name) {
  return Library() != nullptr ? reinterpret_cast<Function*>(dlsym(Library(), name)) : nullptr;
}

}  // namespace

const std::string& MediaLibraryPath() {
  static const std::string path = [] {
    Dl_info info{};
    void* const start = Library() != nullptr ? dlsym(Library(), "gst_init_check") : nullptr;
    return start != nullptr && dladdr(start, &info) != 0 ? std::string(info.dli_fname) : std::string();
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
  // Never taken down again, and the connection with it.
  if (void* const sink = make("pulsesink", nullptr)) setState(sink, kStateReady);
}

}  // namespace pellora
