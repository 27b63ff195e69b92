#include <unistd.h>

#include <csignal>

#include "base/command_line.h"
#include "base/text.h"

namespace vespro::ModCommandLine {

std::vector<std::string> Begin(int argc, char** argv) {
  // A file that may not grow any more is a failed write, as on a full disk, and no death.
  std::signal(SIGXFSZ, SIG_IGN);
  return {argv, argv + argc};
}

bool IsTerminal(Stream stream) {
  switch (stream) {
    case Stream::kInput:
      return isatty(STDIN_FILENO) == 1;
    case Stream::kOutput:
      return isatty(STDOUT_FILENO) == 1;
    case Stream::kError:
      return isatty(STDERR_FILENO) == 1;
  }
  return false;
}

std::string ForShell(std::string_view word) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./:=@%+,";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string_view::npos) {
    return std::string(word);
  }
  return "'" + ModText::ReplaceAll(word, "'", "'\\''") + "'";
}

namespace platform {
const char kVesproProgram[] = "vespro";
const char kPathSeparator = ':';
}  // namespace platform

}  // namespace vespro::ModCommandLine
