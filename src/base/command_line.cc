#include "base/command_line.h"

#include "base/files.h"
#include "base/text.h"

namespace vespro::ModCommandLine {
namespace {

namespace fs = std::filesystem;

// Its name is enough where the shell looks into its folder.
std::string ProgramForShell() {
  const fs::path folder = ModFiles::ProgramPath().parent_path();
  const std::string path = ModFiles::Environment("PATH");
  for (const std::string_view part : ModText::Split(path, platform::kPathSeparator)) {
    if (ModFiles::FromUtf8(part) == folder) return platform::kVesproProgram;
  }
  return ForShell(ModFiles::ToUtf8(folder / platform::kVesproProgram));
}

}  // namespace

std::string VesproCommand(const std::vector<std::string>& arguments) {
  std::string command = ProgramForShell();
  for (const std::string& argument : arguments) command.append(" ").append(ForShell(argument));
  return command;
}

}  // namespace vespro::ModCommandLine
