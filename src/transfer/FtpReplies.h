// FTP replies and paths (RFC 959, section 4.2), read as the two conversations need them: by the first
// three characters of a line, with no regard to continuation lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pellora {

// The text between the first and the last double quote of a 257 line; empty without two of them.
std::string QuotedDirectory(std::string_view line);

// The absolute directory of the file on the server, ending in "/": the login directory without a final
// "/", then `path` up to and including its last "/".
std::string RemoteDirectory(std::string_view loginDirectory, std::string_view path);

// The number after the first blank of a 213 line; never negative.
std::int32_t SizeReply(std::string_view line);

struct PassiveAddress {
  std::string host;
  std::int32_t fifth = 0;  // the numbers of the port, as they stand
  std::int32_t sixth = 0;

  std::int64_t Port() const { return std::int64_t{256} * fifth + sixth; }
  // With both numbers taken modulo 256.
  std::int32_t PortModulo() const;
};

// A 227 line: six numbers between the first "(" and the first ")". Failure(InvalidCall) without them.
PassiveAddress ParsePassiveReply(std::string_view line);

// A command with its line end. Control characters in `argument` are replaced by "?", so that a name
// cannot carry a second command.
std::string FtpCommand(std::string_view verb, std::string_view argument);

}  // namespace pellora
