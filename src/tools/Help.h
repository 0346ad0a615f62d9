// Help: pelloractl's texts about itself.
#pragma once

namespace pellora {

extern const char* const kHelp;
extern const char* const kAddHelp;
extern const char* const kListHelp;
extern const char* const kWaitHelp;
extern const char* const kPauseHelp;
extern const char* const kResumeHelp;
extern const char* const kRemoveHelp;
extern const char* const kLimitHelp;
extern const char* const kOpenHelp;
extern const char* const kZipHelp;
extern const char* const kQuitHelp;

}  // namespace pellora
