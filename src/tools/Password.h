// Password: a line of the standard input, as `--password-stdin` reads it.
#pragma once

#include <QString>
#include <optional>

namespace pellora {

// Up to the end of the line. On a terminal it is requested on standard error by `prompt`, and not shown. Nothing if it
// is empty, too long or no UTF-8.
std::optional<QString> ReadPassword(const char* prompt = "Password: ");

}  // namespace pellora
