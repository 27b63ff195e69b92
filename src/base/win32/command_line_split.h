// base/win32/command_line_split.h - a Windows command line as its words. Any thread.
#pragma once

#include <string>
#include <vector>

namespace vespro::ModCommandLine {

// The words of `line`, the program first. Windows' own rules, but the path of a program that has
// blanks need not be in quotes where it is `program`, the full path of the one that was started:
// some start it so. UTF-8.
std::vector<std::string> Split(const std::wstring& line, const std::wstring& program);

}  // namespace vespro::ModCommandLine
