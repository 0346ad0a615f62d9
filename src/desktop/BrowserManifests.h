// BrowserManifests: makes the native messaging host known to the user's browsers, each in the folder where it
// looks for such hosts. A browser's own folder is never made: where there is none there is no such browser. The
// exception is ~/.mozilla where Firefox keeps its profiles elsewhere.
#pragma once

#include <string>
#include <vector>

#include "ports/BrowserMenu.h"

namespace pellora {

// As the browsers name the host and the extension that may call it. The Chromium family derives the
// extension's id from the key in its manifest.
inline constexpr const char* kHostName = "pelloraproject.pellora";
inline constexpr const char* kGeckoId = "pellora@pellora.example";
inline constexpr const char* kChromiumId = "chhbgchiealifpkmbgkhkpoeplppnaio";
inline constexpr const char* kHostProgram = "pellora-browser-host";

class BrowserManifests final : public BrowserMenu {
 public:
  // All folders without a trailing separator; `configHome` is $XDG_CONFIG_HOME.
  BrowserManifests(const std::string& programFolder, const std::string& home, const std::string& configHome);

  // Goes through all browsers, and then throws the first Failure that it met.
  void SetEntry(bool present) override;

 private:
  struct Place {
    std::string parent;  // the browser's own folder
    std::string folder;  // of the hosts, in it
    std::string text;
    std::string profiles;  // if there is such a folder, `parent` is made; may be empty
  };
  std::vector<Place> places_;
};

}  // namespace pellora
