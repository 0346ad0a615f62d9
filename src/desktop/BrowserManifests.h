// BrowserManifests: registers the native messaging host with the user's browsers, each in the folder where it looks for
// hosts. A browser's own folder is never created: if it is missing, the browser is not installed. The exception is
// ~/.mozilla where Firefox keeps its profiles elsewhere.
#pragma once

#include <string>
#include <vector>

#include "ports/BrowserMenu.h"

namespace pellora {

// The names that the browsers use for the host and for the extension that may call it. The Chromium family derives the
// extension's id from the key in its manifest.
inline constexpr const char* kHostName = "pelloraproject.pellora";
inline constexpr const char* kGeckoId = "pellora@pellora.example";
inline constexpr const char* kChromiumId = "chhbgchiealifpkmbgkhkpoeplppnaio";
inline constexpr const char* kHostProgram = "pellora-browser-host";

class BrowserManifests final : public BrowserMenu {
 public:
  // All folders without a trailing slash; `configHome` is $XDG_CONFIG_HOME. One that does not register itself, since a
  // package has registered a program for all users, removes the user's entries instead: these would win.
  BrowserManifests(const std::string& programFolder, const std::string& home, const std::string& configHome,
                   bool registers = true);

  // Handles all browsers, then throws the first Failure that occurred.
  void SetEntry(bool present) override;

 private:
  struct Place {
    std::string parent;  // the browser's own folder
    std::string folder;  // of the hosts, below `parent`
    std::string text;
    std::string profiles;  // if this folder exists, `parent` is created; may be empty
  };
  std::vector<Place> places_;
  const bool registers_;
};

}  // namespace pellora
