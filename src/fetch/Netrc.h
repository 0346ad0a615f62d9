// Netrc: logins from the user's ~/.netrc.
//
//   machine HOST [login NAME] [password WORD] [account NAME]
//   default [login NAME] [password WORD]
//   macdef NAME, up to the next empty line
//
// Words are separated by blanks and line ends. In double quotes a word may have these; \" \\ \n \r \t are one character
// each there. Where "machine" may stand, "#" begins a comment up to the end of its line.
#pragma once

#include <string>
#include <string_view>

#include "ports/Login.h"

namespace pellora {

struct Platform;

using NetrcLogin = Login;

// The login for this host: that of the first fitting machine, else of the default. With `user`, the first entry for
// this user. Empty if there is none. A login with a control character is none.
NetrcLogin LoginIn(std::string_view netrc, std::string_view host, std::string_view user, bool withDefault);

// The file's content; empty if it is missing or another user's, or if others may read it.
std::string ReadNetrc(const Platform& platform);

}  // namespace pellora
