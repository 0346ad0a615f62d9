// TakeOver: a download that a browser has begun continues here.
//
// The browser keeps its own until the web engine has got the same answer as the browser and has a file for what comes.
// If that does not happen soon, the record leaves the list again, and the browser continues as if nothing had been.
#pragma once

#include <functional>
#include <string>

#include "async/Task.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class MainWindow;
class Program;

// `done` gets the record, or the reason why the browser is to keep its download, in English. It is called once, unless
// the program ends first. `wanted` says what is expected. Nothing is ever asked.
Task<> TakeOver(Program* program, MainWindow* window, ScriptedAdd wanted, std::function<void(const AddOutcome&)> done);

}  // namespace pellora
