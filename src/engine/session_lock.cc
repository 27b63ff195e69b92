#include "engine/session_lock.h"

#include <chrono>
#include <thread>
#include <utility>

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr int kTries = 100;
constexpr std::chrono::milliseconds kPause{5};

bool IsBusy(const Result<FileLock>& lock) { return lock.status().code() == Code::kResumable; }

}  // namespace

Result<SessionLock> SessionLock::TryTake(const fs::path& session_folder) {
  Result<FileLock> file = FileLock::Take(session_folder / kJournalLock, FileLock::Wait::kNo);
  if (!file.ok()) return file.status();
  Result<FileLock> folder = FileLock::TakeFolder(session_folder);
  if (!folder.ok()) return folder.status();
  return SessionLock(std::move(file).value(), std::move(folder).value());
}

Result<SessionLock> SessionLock::Take(const fs::path& session_folder) {
  for (int tries = 0;; ++tries) {
    Result<SessionLock> lock = TryTake(session_folder);
    if (lock.ok() || lock.status().code() != Code::kResumable || tries == kTries) return lock;
    std::this_thread::sleep_for(kPause);
  }
}

bool SessionLock::IsHeld(const fs::path& session_folder) {
  const fs::path file = session_folder / kJournalLock;
  if (ModFiles::IsFile(file) && IsBusy(FileLock::Take(file, FileLock::Wait::kNo))) return true;
  return IsBusy(FileLock::TakeFolder(session_folder));
}

}  // namespace vespro::engine
