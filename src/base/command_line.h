// base/command_line.h - what a program of ours has from its terminal, and the commands that it
// names to a person there. Begin and IsTerminal are for main only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vespro::ModCommandLine {

// The arguments of main as UTF-8, the program's name first; on Windows they come from the system,
// not from `argv`. Standard streams that are closed lead nowhere from here on. What is written to
// the standard streams from here on arrives byte for byte, and a terminal takes it for UTF-8.
std::vector<std::string> Begin(int argc, char** argv);

enum class Stream { kInput, kOutput, kError };
// Whether a person is at the other end.
bool IsTerminal(Stream stream);

// A word as a person types it into the system's shell: quoted where it has to be. UTF-8.
std::string ForShell(std::string_view word);

// A command of the command line with these arguments, to be copied into a shell. The program is
// there with its folder unless the shell finds it without.
std::string VesproCommand(const std::vector<std::string>& arguments);

// What differs from system to system.
namespace platform {
extern const char kVesproProgram[];  // the command line's file name
extern const char kPathSeparator;    // between the folders of PATH
}  // namespace platform

}  // namespace vespro::ModCommandLine
