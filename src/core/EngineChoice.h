// EngineChoice: which engine fetches a download, and how its address is read for the list.
//
// This is the only place that decides it, at every start: an address of https, ftps or sftp is never sent by the
// classic engine, which knows no encryption, whatever the settings become after it was listed. Records of these schemes
// have the port 0. A record that has begun stays with its engine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/ParseUrl.h"
#include "core/WebTexts.h"

namespace pellora {

class Program;

enum class EngineName : std::uint8_t {
  None,  // the download is not started
  Classic,
  Web,
};

struct EngineChoice {
  EngineName engine = EngineName::None;
  WebText reason = WebText::None;  // of None
};

// The engine of a listed record.
EngineChoice ChooseEngine(Program& program, int index);

// The same for an address that is not listed yet. None if it is no address that Pellora takes now.
struct AddressReading {
  EngineName engine = EngineName::None;
  bool refusedByWeb = false;  // it is of the web engine's kind, but malformed
  ParsedUrl parsed;           // the record's fields, accepted unless `engine` is None
  std::string listed;         // the record's URL: that of the web engine's records has no password
  std::string suggestedName;  // of the file, for the save dialog
};
AddressReading ReadAddress(const Program& program, const std::string& url, std::int16_t kind = 0);
// Another address for a record of the web engine, with which it stays whatever its scheme is then. Web or None.
AddressReading ReadOtherAddress(const Program& program, const std::string& url);

// True if the text begins with a scheme that one of the engines takes now, in any case or in lower case only.
bool TakesScheme(const Program& program, std::string_view text);
bool TakesLowerCaseScheme(const Program& program, std::string_view text);

// True for a record that the web engine has begun or that only it can fetch.
bool IsWebRecord(Program& program, int index);
// True for one that was stopped by itself, or cannot be started.
bool HasFailed(Program& program, int index);
// Why the record was stopped, waits or cannot be started, or what is to be known of its file, in one sentence; else
// empty.
std::string ReasonOf(Program& program, int index);
// The same for those who see no boxes: also why the classic engine has stopped.
std::string ReasonForScripts(Program& program, int index);
// One of seven words, also for the web engine: what waits for a server is active, what was stopped has failed.
const char* StateWord(Program& program, int index);

// It is of chosen files of an archive, finished or not: no download of what is at its address.
bool IsSelection(Program& program, int index);

// The slot of the record in use that was added as `url`, whole; 0 if there is none. Addresses of the web engine are
// compared without their passwords.
std::int16_t FindListed(Program& program, const std::string& url, EngineName engine);

}  // namespace pellora
