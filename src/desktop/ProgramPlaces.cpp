#include "desktop/ProgramPlaces.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "desktop/AtomicFile.h"
#include "desktop/BusTypes.h"
#include "desktop/XdgFolders.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr const char* kListName = "/Pellora.dat";
constexpr const char* kEnglish = "/languages/english.txt";

bool HasFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
}

// Beside the list in $XDG_DATA_HOME/pellora: the folders of the copies that keep their list there, a line each.
class Copies {
 public:
  explicit Copies(const std::string& folder) : path_(folder + "/Pellora.copies") {
    Skip([&] { text_ = ReadSmallFile(path_).value_or(""); });
  }
  bool Have(const std::string& program) const {
    return ("\n" + text_).find("\n" + program + "\n") != std::string::npos;
  }
  void Add(const std::string& program) {
    if (!Have(program)) Write(text_ + program + "\n");
  }
  void Remove(const std::string& program) {
    if (!Have(program)) return;
    std::string text = "\n" + text_;
    text.erase(text.find("\n" + program + "\n"), program.size() + 1);
    Write(text.substr(1));
  }

 private:
  void Write(const std::string& text) {
    constexpr unsigned kOwnersAlone = 0600;
    Skip([&] { ReplaceFile(path_, text, kOwnersAlone); });
  }

  const std::string path_;
  std::string text_;
};

// An installed program knows its way to its texts from its own folder, whatever the prefix.
std::string InstalledData(const std::string& program) {
  if (!program.ends_with(std::string("/") + PELLORA_INSTALLED_PROGRAM)) return {};
  const std::filesystem::path data = std::filesystem::path(program) / PELLORA_INSTALLED_DATA;
  return HasFile(data.string() + kEnglish) ? data.lexically_normal().string() : std::string();
}

}  // namespace

ProgramPlaces PlacesFor(const FoundPlaces& found) {
  ProgramPlaces places;
  places.program = found.program;
  places.packaged = !found.installedData.empty();
  places.writable = found.writable && !places.packaged;
  places.languages = places.packaged ? found.installedData + "/languages" : found.program;
  const bool atHome = found.listAtHome && (found.usesHome || !found.listBeside);
  const bool beside = places.writable && !atHome;
  places.data = beside ? found.program : found.dataHome + "/pellora";
  return places;
}

ProgramPlaces FindPlaces(const std::string& program, const std::string& dataHome) {
  FoundPlaces found;
  found.program = program;
  found.installedData = InstalledData(program);
  found.dataHome = dataHome;
  found.writable = ::access(program.c_str(), W_OK) == 0;
  found.listBeside = HasFile(program + kListName);
  const std::string home = dataHome + "/pellora";
  found.listAtHome = HasFile(home + kListName);
  Copies copies(home);
  found.usesHome = copies.Have(program);
  ProgramPlaces places = PlacesFor(found);
  if (places.data == program) {
    copies.Remove(program);
    return places;
  }
  Skip([&] { CreatePrivateFolders(places.data); });
  if (!places.packaged) copies.Add(program);
  return places;
}

bool RegistersItself(const ProgramPlaces& places, const std::string& dataDirs) {
  if (!places.writable) return false;
  const std::vector<std::string> folders = XdgFolders(dataDirs, "/usr/local/share:/usr/share");
  return std::none_of(folders.begin(), folders.end(), [](const std::string& folder) {
    return HasFile(folder + "/dbus-1/services/" + kBusName + ".service");
  });
}

}  // namespace pellora
