#include "send/log_files.h"

#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "base/files.h"
#include "send/session.h"

namespace vespro::ModLogFiles {
namespace {

namespace fs = std::filesystem;

Status Failure(const fs::path& path, const std::string& reason, Code code = Code::kCannotWrite) {
  return Status(code, "cannot remove '" + ModFiles::ToUtf8(path) + "': " + reason);
}

Result<std::vector<fs::path>> List(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> paths = ModFiles::PathsIn(folder, &error);
  if (error) return Failure(folder, error.message());
  return paths;
}

Status RemoveOne(const fs::path& path) {
  std::error_code error;
  if (ModFiles::EntryAt(path).is_file &&
      (fs::status(path, error).permissions() & fs::perms::owner_write) == fs::perms::none) {
    return Failure(path, "it is read-only");
  }
  fs::remove(path, error);
  return error ? Failure(path, error.message()) : Status();
}

Status RemoveAll(const std::vector<fs::path>& paths);

Status RemoveTree(const fs::path& path) {
  if (ModFiles::EntryAt(path).is_folder) {
    const Result<std::vector<fs::path>> inside = List(path);
    if (!inside.ok()) return inside.status();
    if (Status removed = RemoveAll(inside.value()); !removed.ok()) return removed;
  }
  return RemoveOne(path);
}

Status RemoveAll(const std::vector<fs::path>& paths) {
  for (const fs::path& path : paths) {
    if (Status removed = RemoveTree(path); !removed.ok()) return removed;
  }
  return {};
}

// An engine holds the lock of its session, and the folder's where the system can do that; while we
// hold them, none begins there.
Status RemoveSession(const fs::path& session) {
  const Result<std::vector<fs::path>> inside = List(session);
  if (!inside.ok()) return inside.status();
  std::vector<FileLock> locks;
  const auto take = [&](Result<FileLock> lock) -> Status {
    if (lock.ok()) {
      locks.push_back(std::move(lock).value());
      return {};
    }
    if (lock.status().code() != Code::kResumable) return lock.status();
    return Failure(session, "its job is being sent", Code::kResumable);
  };
  if (Status taken = take(FileLock::TakeFolder(session)); !taken.ok()) return taken;
  std::vector<fs::path> others;
  for (const fs::path& path : inside.value()) {
    if (path.extension() != ".lock" || !ModFiles::EntryAt(path).is_file) {
      others.push_back(path);
      continue;
    }
    Status taken = take(FileLock::Take(path, FileLock::Wait::kNo));
    if (!taken.ok()) return taken;
  }
  if (Status removed = RemoveAll(others); !removed.ok()) return removed;
  locks.clear();  // Windows keeps the folder as long as a file in it is open
  return RemoveTree(session);
}

}  // namespace

Status DeleteAll(const fs::path& data_folder) {
  const fs::path folder = ModSession::SessionsFolder(data_folder);
  if (!ModFiles::IsFolder(folder)) return ModFiles::MakeFolders(folder);
  const Result<std::vector<fs::path>> inside = List(folder);
  if (!inside.ok()) return inside.status();
  for (const fs::path& path : inside.value()) {
    const bool is_session = ModFiles::EntryAt(path).is_folder;
    Status removed = is_session ? RemoveSession(path) : RemoveOne(path);
    if (!removed.ok()) return removed;
  }
  return {};
}

}  // namespace vespro::ModLogFiles
