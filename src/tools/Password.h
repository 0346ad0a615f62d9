// Password: the one line of the standard input that `--password-stdin` reads.
#pragma once

#include <QString>
#include <optional>

namespace pellora {

// Up to the end of the line. On a terminal it is requested on standard error, and not shown. Nothing if it is empty,
// too long or no UTF-8.
std::optional<QString> ReadPassword();

}  // namespace pellora
