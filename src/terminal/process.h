// terminal/process.h - programs started from the command line.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"

namespace vespro::ModProcess {

// The program takes this one's place: same terminal, same signals, and its exit code is ours. On
// Linux it returns only when it could not be started (kUnavailable); on Windows the program runs
// beside us and its exit code is the value.
Result<int> Exec(const std::filesystem::path& program, const std::vector<std::string>& arguments);

// The same for a program that has a window of its own where it has no console (on Windows only): it
// is started with that, and the value is 0 as soon as it runs.
Result<int> ExecInWindow(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments);

// A program that runs on its own. Dropping the object leaves it running.
class Detached {
 public:
  virtual ~Detached() = default;
  // Its exit code, once it has ended (128 and the signal where one ended it).
  virtual std::optional<int> ExitCode() = 0;
};

// Starts the program on its own: it lives on when the terminal is closed. What it says goes to
// `log`. kUnavailable when it can't be started.
Result<std::unique_ptr<Detached>> StartDetached(const std::filesystem::path& program,
                                                const std::vector<std::string>& arguments,
                                                const std::filesystem::path& log);

}  // namespace vespro::ModProcess
