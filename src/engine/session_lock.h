// engine/session_lock.h - one engine at a time works on a job. One thread.
#pragma once

#include <filesystem>

#include "base/files.h"
#include "base/status.h"

namespace vespro::engine {

// In the session's folder, locked while an engine works there. A user may remove it at any time.
inline constexpr char kJournalLock[] = "journal.lock";

// Locks the folder as well as the file in it, where the system can do that. The journal has a lock
// of its own, which lasts where this one does not (Journal::Open).
class SessionLock {
 public:
  // kResumable while an engine is at work; those who only look (IsHeld) are waited for.
  static Result<SessionLock> Take(const std::filesystem::path& session_folder);
  static bool IsHeld(const std::filesystem::path& session_folder);

 private:
  SessionLock(FileLock file, FileLock folder)
      : file_(std::move(file)), folder_(std::move(folder)) {}
  static Result<SessionLock> TryTake(const std::filesystem::path& session_folder);

  FileLock file_, folder_;
};

}  // namespace vespro::engine
