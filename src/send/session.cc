#include "send/session.h"

#include <array>
#include <cstdio>

#include "base/files.h"
#include "base/text.h"

namespace vespro::ModSession {

int NextDigit(int& session_counter) {
  if (++session_counter > 9) session_counter = 0;
  return session_counter;
}

std::string SessionName(const LocalTime& now, int digit) {
  std::array<char, 96> name;
  std::snprintf(name.data(), name.size(), "%02d%02d%02d%02d%02d%02d%d", now.day, now.month,
                now.year % 100, now.hour, now.minute, now.second, digit);
  return name.data();
}

std::filesystem::path SessionsFolder(const std::filesystem::path& data_folder) {
  return data_folder / "session";
}

Status MakeSessionFolder(const std::filesystem::path& data_folder, const std::string& name) {
  const std::filesystem::path sessions = SessionsFolder(data_folder);
  const std::filesystem::path folder = sessions / name;
  ModFiles::EnsureFolder(sessions);
  if (ModFiles::EnsureFolder(folder)) return {};
  // The job itself can't use it, but it shows in the log folder that a send was tried.
  ModFiles::EnsureFolder(sessions / (name + "x"));
  return Status(Code::kCannotWrite, "cannot make the session folder '" + ModFiles::ToUtf8(folder) +
                                        "': check that its parent is a folder you may write to");
}

std::string ForwardSlashes(const std::filesystem::path& path) {
  return ModText::ReplaceAll(ModFiles::ToUtf8(path), "\\", "/");
}

}  // namespace vespro::ModSession
