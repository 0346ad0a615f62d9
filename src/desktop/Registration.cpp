#include "desktop/Registration.h"

#include <QBuffer>
#include <QByteArray>

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

std::string IconFile(int size) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  ProgramIcon(size).save(&buffer, "PNG");
  return bytes.toStdString();
}

}  // namespace

std::string ActivationFileText(const std::string& program) {
  return std::string("[D-BUS Service]\nName=") + kBusName + "\nExec=" + QuoteArgument(program) + "\n";
}

std::string ApplicationEntryText(const std::string& program) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Version=1.4\n"
         "Name=Pellora\n"
         "GenericName=Download Manager\n"
         "Comment=Fetches files over several connections\n"
         "Exec=" +
         LaunchCommand(program) +
         "\n"
         "Icon=pellora\n"
         "Terminal=false\n"
         "Categories=Network;FileTransfer;Qt;\n"
         "StartupWMClass=Pellora\n";
}

void RegisterProgram(const std::string& program, const std::string& dataHome) {
  const auto update = [&](const std::string& name, const auto& text) {
    Skip([&] { UpdateFile(dataHome + name, text(), 0644); });
  };
  update(std::string("/dbus-1/services/") + kBusName + ".service", [&] { return ActivationFileText(program); });
  update("/applications/pellora.desktop", [&] { return ApplicationEntryText(program); });
  for (const int size : {48, 128}) {
    const std::string folder = std::to_string(size) + "x" + std::to_string(size);
    update("/icons/hicolor/" + folder + "/apps/pellora.png", [size] { return IconFile(size); });
  }
}

}  // namespace pellora
