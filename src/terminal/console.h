// terminal/console.h - the terminal that the command line talks on. Answers and data are UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace vespro {

// What may be asked, and what is answered when nothing may.
struct ConsoleRules {
  bool no_input = false;    // never ask
  bool assume_yes = false;  // a question is answered Yes
};

namespace ModConsole {

// Whether a person can be asked: standard input and standard error are a terminal.
bool CanAsk();
// A text of the command line as UTF-8: as it is where it is UTF-8, else from the locale's
// charset. Not for paths, whose bytes name a file.
std::string ArgumentText(const std::string& text);
// A line from standard input without its line end; empty at its end.
std::string ReadLine();
// The same after `prompt` on standard error, but what asks the program to end, such as Ctrl-C, ends
// the input instead: whoever has asked can put things in order.
std::string Ask(std::string_view prompt);

}  // namespace ModConsole

// What console_posix.cc and console_win32.cc provide: the handler that a signal has ends a read
// that waits, as it does on Windows anyway.
namespace platform {
void EndReadsOn(int signal);
}  // namespace platform

}  // namespace vespro
