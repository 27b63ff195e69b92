#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "base/command_line.h"
#include "base/text.h"

namespace vespro::ModCommandLine {
namespace {

// The first file to be opened would take the place of a standard stream that is closed, and what is
// said there would be written into that file.
void FillStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) != -1 || errno != EBADF) continue;
    if (open("/dev/null", O_RDWR) != stream) std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace

std::vector<std::string> Begin(int argc, char** argv) {
  FillStandardStreams();
  // Ignore SIGXFSZ: a file that may not grow is a write error, as on a full disk.
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
