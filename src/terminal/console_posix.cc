#include <unistd.h>

#include <iostream>

#include "terminal/console.h"

namespace vespro::ModConsole {

bool CanAsk() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

std::string ReadLine() {
  std::string line;
  std::getline(std::cin, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

std::vector<std::string> Arguments(int argc, char** argv) { return {argv, argv + argc}; }

}  // namespace vespro::ModConsole
