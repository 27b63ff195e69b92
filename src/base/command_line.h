// base/command_line.h - what a program of ours has from its terminal. For main only.
#pragma once

#include <string>
#include <vector>

namespace vespro::ModCommandLine {

// The arguments of main as UTF-8, the program's name first; on Windows they come from the system,
// not from `argv`. What is written to the standard streams from here on arrives byte for byte, and
// a terminal takes it for UTF-8.
std::vector<std::string> Begin(int argc, char** argv);

enum class Stream { kInput, kOutput, kError };
// Whether a person is at the other end.
bool IsTerminal(Stream stream);

}  // namespace vespro::ModCommandLine
