#include "support/g_shell.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "base/text.h"

namespace vespro {
namespace {

constexpr int kHidden = 0, kNormal = 1;

// Numbers that have none of their own begin after those of the object model's errors.
constexpr std::uint32_t kDefaultBase = 0x80040000 + 1048;
constexpr std::uint32_t kDefault = 0;

struct Failure {
  int shell_result;
  std::uint32_t number;
  const char* description;
};

constexpr char kOutOfMemory[] = "Out of memory";
constexpr char kOther[] =
    "An error occurred occurred whilst trying to open or print the selected file.";

constexpr Failure kFailures[] = {
    {0, 7, kOutOfMemory},
    {2, 53, "File not found"},
    {3, 76, "Path not found"},
    {5, 75, "Path/file access error"},
    {8, 7, kOutOfMemory},
    {11, kDefault, "The executable file is invalid or corrupt"},
    {26, 75, "A sharing violation occurred."},
    {27, kDefault, "This file type does not have a valid file association."},
    {28, 286, "The file could not be opened due to time out. Please try again in a moment."},
    {29, 285,
     "The file could not be opened because the DDE transaction failed. Please try again in a "
     "moment."},
    {30, 285,
     "The file could not be opened because the target application is busy. Please try again in a "
     "moment."},
    {31, kDefault, "No application is associated with this file type."},
    {32, 48, "The specified dynamic-link library was not found."},
};

}  // namespace

Status GShellError(int shell_result) {
  const auto* const known =
      std::find_if(std::begin(kFailures), std::end(kFailures),
                   [&](const Failure& failure) { return failure.shell_result == shell_result; });
  const Failure failure =
      known != std::end(kFailures) ? *known : Failure{shell_result, kDefault, kOther};
  const Code code = shell_result == 2 || shell_result == 3 ? Code::kNotFound : Code::kUnavailable;
  const std::uint32_t number = failure.number != kDefault
                                   ? failure.number
                                   : kDefaultBase + static_cast<std::uint32_t>(shell_result);
  return Status(code, failure.description, number);
}

Status GShell(Desktop& desktop, std::string_view file, int show_command,
              std::string_view parameters, std::string_view directory, std::string_view operation) {
  const bool program = ModText::FindIgnoringAsciiCase(file, ".exe") != std::string_view::npos;
  ShellRequest request{std::string(operation), std::string(file), {}, {}, kNormal};
  if (!parameters.empty() || !directory.empty()) {
    request.parameters = parameters;
    request.directory = directory;
    request.show = program ? kHidden : show_command;
  }
  const int result = desktop.Shell(request);
  return ShellSucceeded(result) ? Status() : GShellError(std::max(result, 0));
}

}  // namespace vespro
