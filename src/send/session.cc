#include "send/session.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

#include "base/files.h"
#include "base/text.h"
#include "host/add_in.h"

namespace vespro::ModSession {
namespace {

constexpr int kMaxTries = 300;
constexpr std::chrono::milliseconds kPause{50};

}  // namespace

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

std::filesystem::path JobFileIn(const std::filesystem::path& session_folder) {
  return session_folder / (std::string(kModuleName) + ".cfg");
}

Result<std::string> TakeSession(const std::filesystem::path& data_folder, const Clock& clock,
                                int& session_counter) {
  const std::filesystem::path sessions = SessionsFolder(data_folder);
  ModFiles::EnsureFolder(sessions);
  for (int tries = 0; tries < kMaxTries; ++tries) {
    if (tries > 0 && tries % 10 == 0) std::this_thread::sleep_for(kPause);
    const std::string name =
        SessionName(ModClock::ToLocal(clock.Now()), NextDigit(session_counter));
    const std::filesystem::path folder = sessions / name;
    if (ModFiles::MakeNewFolder(folder)) return name;
    if (ModFiles::IsFolder(folder)) continue;
    ModFiles::EnsureFolder(sessions / (name + "x"));
    return Status(Code::kCannotWrite, "cannot make the session folder '" +
                                          ModFiles::ToUtf8(folder) +
                                          "': check that its parent is a folder you may write to");
  }
  return Status(Code::kResumable,
                "too many sends at once: every session name of this second is "
                "taken, send again");
}

std::string ForwardSlashes(const std::filesystem::path& path) {
  return ModText::ReplaceAll(ModFiles::ToUtf8(path), "\\", "/");
}

}  // namespace vespro::ModSession
