// TakeOver: a download that a browser has begun continues here.
//
// The browser keeps its own until the web engine has got the same answer as the browser and has a file for what comes.
// If that does not happen soon, the record leaves the list again, and the browser continues as if nothing had been. The
// list on the disk has it only once that is decided, so that a kill leaves it to the browser too.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "async/Task.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class MainWindow;
class Program;

// Serials of records that were taken over in this run.
using Taken = std::set<std::uint32_t>;

// `done` gets the record, or the reason why the browser is to keep its download, in English. It is called once, unless
// the program ends first. `wanted` says what is expected. Nothing is ever asked. `gone` becomes true when nobody waits
// any more.
Task<> TakeOver(Program* program, MainWindow* window, Taken* taken, ScriptedAdd wanted,
                std::shared_ptr<const bool> gone, std::function<void(const AddOutcome&)> done);

// The user has cancelled the browser's download before the browser could hand it over: the record leaves the list. One
// that was not taken over in this run, is finished, or was paused here, stays; returns why.
std::string ReleaseTaken(Program& program, MainWindow& window, const Taken& taken, std::int16_t index);

// When the program ends, before the list is saved: the browser keeps these.
void RemoveUndecided(const Program& program, MainWindow& window);

}  // namespace pellora
