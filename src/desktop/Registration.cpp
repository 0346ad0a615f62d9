#include "desktop/Registration.h"

#include <array>
#include <optional>

#include "desktop/AtomicFile.h"
#include "desktop/BusTypes.h"
#include "desktop/ProgramIcon.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// Quotes an argument for both files: they undo the escapes of a key file, in which a backslash is doubled, then parse
// it as a shell would.
std::string QuoteArgument(const std::string& argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '\n' || c == '\r') throw Failure(FailureNumber::InvalidCall, "a line break in the program's path");
    if (c == '\\') {
      quoted += R"(\\\\)";
    } else if (c == '"' || c == '`' || c == '$') {
      quoted += R"(\\)";
      quoted += c;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string DoublePercent(const std::string& text) {
  std::string doubled;
  for (const char c : text) {
    doubled += c;
    if (c == '%') doubled += c;
  }
  return doubled;
}

// Launchers based on GLib look for the program before they turn "%%" into "%", and do not find it. For a path with a
// percent sign, a shell, which they do find, starts the program.
std::string LaunchCommand(const std::string& program) {
  std::string argument = DoublePercent(QuoteArgument(program));
  if (program.find('%') == std::string::npos) return argument;
  return R"(/bin/sh -c "exec \\"\\$0\\"" )" + argument;
}

// What comes before the program in the two files, and after it.
std::string ActivationHead() { return std::string("[D-BUS Service]\nName=") + kBusName + "\nExec="; }

constexpr const char* kEntryHead =
    "[Desktop Entry]\n"
    "Type=Application\n"
    "Version=1.4\n"
    "Name=Pellora\n"
    "GenericName=Download Manager\n"
    "Comment=Fetches files over several connections\n"
    "Exec=";

std::string EntryTail() {
  return std::string("\nIcon=") + kDesktopId +
         "\n"
         "Terminal=false\n"
         "Categories=Network;FileTransfer;Qt;\n"
         "StartupWMClass=Pellora\n";
}

constexpr const char* kFormerId = "pellora";
constexpr std::array kIconSizes{48, 128};

std::string ServicePath() { return std::string("/dbus-1/services/") + kBusName + ".service"; }

std::string EntryPath(const std::string& id) { return "/applications/" + id + ".desktop"; }

std::string IconPath(const std::string& id, int size) {
  const std::string side = std::to_string(size);
  return "/icons/hicolor/" + side + "x" + side + "/apps/" + id + ".png";
}

std::string IconFile(int size) { return ProgramIconFile(size).toStdString(); }

template <class Test>
void RemoveIf(const std::string& path, Test&& isOwn) {
  Skip([&] {
    const std::optional<std::string> content = ReadSmallFile(path);
    if (content && isOwn(*content)) RemoveFile(path);
  });
}

// The entry and the icons of that name, if they are of the program's form.
void RemoveNamed(const std::string& dataHome, const char* id) {
  RemoveIf(dataHome + EntryPath(id), IsApplicationEntry);
  for (const int size : kIconSizes) {
    RemoveIf(dataHome + IconPath(id, size), [size](const std::string& content) { return content == IconFile(size); });
  }
}

void RemoveFormerFiles(const std::string& dataHome) { RemoveNamed(dataHome, kFormerId); }

}  // namespace

std::string ActivationFileText(const std::string& program) { return ActivationHead() + QuoteArgument(program) + "\n"; }

std::string ApplicationEntryText(const std::string& program) {
  return kEntryHead + LaunchCommand(program) + EntryTail();
}

std::string InstalledEntryText(const std::string& command) {
  return kEntryHead + command + "\nTryExec=" + command + EntryTail();
}

bool IsApplicationEntry(const std::string& text) { return text.starts_with(kEntryHead); }

void RegisterProgram(const std::string& program, const std::string& dataHome) {
  RemoveFormerFiles(dataHome);
  const auto update = [&](const std::string& name, const auto& text) {
    Skip([&] { UpdateFile(dataHome + name, text(), 0644); });
  };
  update(ServicePath(), [&] { return ActivationFileText(program); });
  update(EntryPath(kDesktopId), [&] { return ApplicationEntryText(program); });
  for (const int size : kIconSizes) {
    update(IconPath(kDesktopId, size), [size] { return IconFile(size); });
  }
}

void UnregisterPrograms(const std::string& dataHome) {
  RemoveFormerFiles(dataHome);
  RemoveNamed(dataHome, kDesktopId);
  RemoveIf(dataHome + ServicePath(), [](const std::string& text) {
    return text.starts_with(ActivationHead()) && text.ends_with("/Pellora\"\n");
  });
}

}  // namespace pellora
