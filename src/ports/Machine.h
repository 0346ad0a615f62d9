// Machine: the program's folders, the user's home and environment, and the program's end.
//
// A program in a folder that the user cannot write, as packages install it, keeps its list elsewhere.
#pragma once

#include <string>

namespace pellora {

class Machine {
 public:
  virtual ~Machine() = default;
  virtual std::string ProgramFolder() const = 0;  // no trailing separator
  // Of the language files; no trailing separator.
  virtual std::string LanguageFolder() const { return ProgramFolder(); }
  // Of the list, the journal and whatever else the program writes for itself; no trailing separator. The same during
  // the whole run.
  virtual std::string DataFolder() const { return ProgramFolder(); }
  // A package manager has installed the program, and updates it.
  virtual bool IsPackaged() const { return false; }
  virtual std::string DocumentsFolder() const = 0;       // no trailing separator; empty if unknown
  virtual std::string HomeFolder() const { return {}; }  // no trailing separator; empty if unknown
  // The value of an environment variable; empty if it is not set.
  virtual std::string Variable(const std::string& /*name*/) const { return {}; }
  // Whether any network connection exists. A platform that cannot tell says True.
  virtual bool ConnectionUp() const { return true; }
  // Leaves the event loop after the present event; the process ends with `code`.
  virtual void End(int code) = 0;
};

}  // namespace pellora
