#include "desktop/DesktopMachine.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <array>
#include <climits>

#include "ports/Network.h"

namespace pellora {

namespace {

std::string Folder(const QString& name) {
  std::string path = QFile::encodeName(name).toStdString();
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::string DesktopMachine::FolderOfThisProgram() {
  std::array<char, PATH_MAX> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return QFile::encodeName(QCoreApplication::applicationDirPath()).toStdString();
  const std::string program(path.data(), static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/'));
}

std::string DesktopMachine::DocumentsFolder() const {
  return Folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
}

std::string DesktopMachine::HomeFolder() const { return Folder(QDir::homePath()); }

std::string DesktopMachine::Variable(const std::string& name) const { return qgetenv(name.c_str()).toStdString(); }

bool DesktopMachine::ConnectionUp() const { return network_.HasConnection(); }

void DesktopMachine::End(int code) {
  if (ended_) return;
  ended_ = true;
  QCoreApplication::exit(code);
}

}  // namespace pellora
