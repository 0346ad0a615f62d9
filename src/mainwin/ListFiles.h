// ListFiles: local files of addresses, Metalinks and texts, which are recognised by their names.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "async/Task.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {

class Files;
class Program;

// With any number of slashes that RFC 8089 allows: "file:///path", "file://localhost/path" and "file:/path".
bool IsFileUrl(std::string_view text);

// The path of a local file of addresses, given as it is or as a URL; nothing for anything else.
std::optional<std::string> ListFileOf(std::string_view text);

bool IsMetalinkFile(std::string_view path);

// As much of it as is taken from a list, and one byte more. It takes its time.
std::string BeginningOf(Files& files, const std::string& path);

// Passes what the file names to `add`, which returns why something was refused, with the other values of `wanted`. Then
// `done` gets all reasons, or why the file cannot be read.
Task<> AddFromListFile(Program* program, ScriptedAdd wanted, std::string path,
                       std::function<std::string(const ScriptedAdd& one)> add,
                       std::function<void(const std::string& reason)> done);

}  // namespace pellora
