#include "desktop/ActivationToken.h"

#include <QtGlobal>

namespace pellora {

namespace {
constexpr const char* kVariable = "XDG_ACTIVATION_TOKEN";
constexpr qsizetype kLongest = 1024;  // with 128 KiB in a variable no other program could be started
}  // namespace

QByteArray ActivationToken() { return qgetenv(kVariable); }

void SetActivationToken(const QByteArray& token) {
  if (!token.isEmpty() && token.size() <= kLongest) qputenv(kVariable, token);
}

void DropOverlongActivationToken() {
  if (ActivationToken().size() > kLongest) DropActivationToken();
}

void DropActivationToken() { qunsetenv(kVariable); }

}  // namespace pellora
