// Loaded into sshd by a test: the account that it runs as has a shell, which starts the test's own sftp server.
#include <dlfcn.h>
#include <pwd.h>

namespace {

passwd* WithShell(passwd* account) {
  static char shell[] = "/bin/sh";
  if (account != nullptr) account->pw_shell = shell;
  return account;
}

}  // namespace

extern "C" passwd* getpwnam(const char* name) {
  static const auto real = reinterpret_cast<passwd* (*)(const char*)>(dlsym(RTLD_NEXT, "getpwnam"));
  return WithShell(real(name));
}

extern "C" passwd* getpwuid(uid_t id) {
  static const auto real = reinterpret_cast<passwd* (*)(uid_t)>(dlsym(RTLD_NEXT, "getpwuid"));
  return WithShell(real(id));
}
