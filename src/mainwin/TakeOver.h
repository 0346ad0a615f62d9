// TakeOver: a download that a browser has begun continues here.
//
// The browser keeps its own until the web engine has got the same answer as the browser and has a file for what comes.
// If that does not happen soon, the record leaves the list again, and the browser continues as if nothing had been.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "async/Task.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class MainWindow;
class Program;

// Serials of records that browsers still hold as well.
using Undecided = std::set<std::uint32_t>;

// `done` gets the record, or the reason why the browser is to keep its download, in English. It is called once, unless
// the program ends first. `wanted` says what is expected. Nothing is ever asked.
Task<> TakeOver(Program* program, MainWindow* window, Undecided* undecided, ScriptedAdd wanted,
                std::function<void(const AddOutcome&)> done);

// When the program ends, before the list is saved: the browser keeps these.
void RemoveUndecided(const Program& program, MainWindow& window, const Undecided& undecided);

}  // namespace pellora
