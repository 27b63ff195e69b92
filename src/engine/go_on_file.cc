#include "engine/go_on_file.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "base/command_line.h"
#include "base/files.h"
#include "base/text.h"

namespace vespro::engine::ModGoOnFile {
namespace {

namespace fs = std::filesystem;

constexpr char kSeparator = static_cast<char>(fs::path::preferred_separator);

// "..\\..\\", from the session's folder up to the program's, where it lies below that; otherwise
// empty. Names on the way are in no script then, so no code page can spoil them.
std::string WayUp(const fs::path& session_folder, const fs::path& program_folder) {
  const std::string from = ModFiles::PathKey(ModFiles::ToUtf8(session_folder));
  const std::string to = ModFiles::PathKey(ModFiles::ToUtf8(program_folder)) + kSeparator;
  if (!from.starts_with(to)) return {};
  std::string way = "..\\";
  for (const char c : std::string_view(from).substr(to.size())) {
    if (c == kSeparator) way += "..\\";
  }
  return way;
}

// As a word between double quotes in a batch file; no file name has a quote in it.
std::string ForBatch(const fs::path& path) {
  return ModText::ReplaceAll(ModText::ReplaceAll(ModFiles::ToUtf8(path), "/", "\\"), "%", "%%");
}

std::string ForSh(const fs::path& path) {
  return "'" + ModText::ReplaceAll(ModFiles::ToUtf8(path), "'", "'\\''") + "'";
}

}  // namespace

std::string WindowsScript(const fs::path& session_folder, const fs::path& program) {
  const std::string way_up = WayUp(session_folder, program.parent_path());
  const std::string file = ForBatch(program.filename());
  const std::string command = way_up.empty() ? ForBatch(program) : "%~dp0" + way_up + file;
  std::string script =
      "@echo off\r\n"
      "rem This mailing is not finished. A double click on this file goes on with it where it\r\n"
      "rem ended; nobody gets the mail twice. The file goes when the mailing is finished.\r\n"
      "setlocal EnableExtensions DisableDelayedExpansion\r\n";
  // The console reads the file in its own code page, which is another one on each machine.
  if (!ModText::IsAscii(command)) script += "chcp 65001 >nul\r\n";
  // The dot keeps the folder's last backslash from the quote.
  return script + "\"" + command + "\" run --window \"%~dp0.\"\r\n" +
         "if not \"%errorlevel%\"==\"0\" pause\r\n";
}

std::string ShellScript(const fs::path& session_folder, const fs::path& program) {
  return "#!/bin/sh\n"
         "# This mailing is not finished. Running this file goes on with it where it ended; "
         "nobody\n"
         "# gets the mail twice. The file goes when the mailing is finished.\n"
         "program=" +
         ForSh(program) + "\nsession=" + ForSh(session_folder) +
         "\n"
         "# Without a terminal its progress would be seen by nobody.\n"
         "if ! [ -t 1 ] && [ \"$1\" != shown ] && [ -n \"$DISPLAY$WAYLAND_DISPLAY\" ]; then\n"
         "  for terminal in x-terminal-emulator konsole xfce4-terminal xterm; do\n"
         "    if command -v \"$terminal\" >/dev/null; then\n"
         "      exec \"$terminal\" -e sh \"$session/" +
         platform::kName +
         "\" shown\n"
         "    fi\n"
         "  done\n"
         "fi\n"
         "\"$program\" run --window \"$session\"\n"
         "code=$?\n"
         "if [ -t 0 ] && [ -t 1 ]; then\n"
         "  printf '\\nPress Enter to close this window. '\n"
         "  read -r _\n"
         "fi\n"
         "exit \"$code\"\n";
}

fs::path PathIn(const fs::path& session_folder) {
  return ModFiles::FullPath(session_folder) / platform::kName;
}

bool IsThere(const fs::path& session_folder) { return ModFiles::IsFile(PathIn(session_folder)); }

Status Write(const fs::path& session_folder) {
  const fs::path file = PathIn(session_folder);
  const fs::path program =
      ModFiles::ProgramPath().parent_path() / ModCommandLine::platform::kVesproProgram;
  Status written =
      ModFiles::ReplaceWith(file, platform::Script(file.parent_path(), program), Access::kPrivate);
  if (!written.ok()) return written;
  std::error_code error;
  fs::permissions(file, fs::perms::owner_all, error);
  if (!error) return {};
  return Status(Code::kCannotWrite,
                "cannot make '" + ModFiles::ToUtf8(file) + "' runnable: " + error.message());
}

Status Remove(const fs::path& session_folder) { return ModFiles::Remove(PathIn(session_folder)); }

std::string HowTo(const fs::path& session_folder) {
  const fs::path file = PathIn(session_folder);
  return "To go on with it, open the folder \"" + ModFiles::ToUtf8(file.parent_path()) + "\" and " +
         platform::kHowTo + " Nobody gets the mail twice.";
}

}  // namespace vespro::engine::ModGoOnFile
