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
  const bool beside = places.writable && (found.listBeside || !found.listAtHome);
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
  found.listAtHome = HasFile(dataHome + "/pellora" + kListName);
  ProgramPlaces places = PlacesFor(found);
  if (places.data != program) Skip([&] { CreatePrivateFolders(places.data); });
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
