#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/files.h"
#include "base/files_platform.h"

namespace vespro {
namespace fs = std::filesystem;
namespace platform = ModFiles::platform;

namespace {

using platform::kClosed;

int Fd(std::intptr_t handle) { return static_cast<int>(handle); }

const char* KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  return S_ISFIFO(mode) ? "a pipe" : "a device";
}

Status Fail(Code code, const char* what, const fs::path& path) {
  return platform::Failure(code, what, path, platform::LastError());
}

Status Lock(int fd, bool wait, const fs::path& path) {
  while (flock(fd, wait ? LOCK_EX : LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno == EWOULDBLOCK) return Fail(Code::kResumable, "another program holds", path);
    return Fail(Code::kCannotWrite, "cannot lock", path);
  }
  return {};
}

}  // namespace

Result<File> File::Open(const fs::path& path, Mode mode, Access access) {
  int flags = O_CLOEXEC;
  switch (mode) {
    // Without O_NONBLOCK, opening a named pipe would wait for its writer.
    case Mode::kRead:
      flags |= O_RDONLY | O_NONBLOCK;
      break;
    case Mode::kReplace:
      flags |= O_WRONLY | O_CREAT | O_TRUNC;
      break;
    case Mode::kCreateNew:
      flags |= O_WRONLY | O_CREAT | O_EXCL;
      break;
    case Mode::kAppend:
      flags |= O_WRONLY | O_CREAT | O_APPEND;
      break;
  }
  const bool reading = mode == Mode::kRead;
  const int fd = open(path.c_str(), flags, access == Access::kPrivate ? 0600 : 0666);
  if (fd < 0) {
    return Fail(reading ? Code::kNotFound : Code::kCannotWrite,
                reading ? "cannot read" : "cannot write", path);
  }
  File file(fd, path);
  if (reading) {
    struct stat info {};
    if (fstat(fd, &info) != 0) return Fail(Code::kNotFound, "cannot read", path);
    if (!S_ISREG(info.st_mode)) {
      return Status(Code::kBadInput,
                    "'" + ModFiles::ToUtf8(path) + "' is " + KindOf(info.st_mode) + ", not a file");
    }
  }
  return file;
}

File::~File() {
  if (handle_ != kClosed) close(Fd(handle_));
}

Result<std::size_t> File::Read(char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = read(Fd(handle_), buffer, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return Fail(Code::kNotFound, "cannot read", path_);
  }
}

Result<std::size_t> File::ReadAt(std::uint64_t offset, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = pread(Fd(handle_), buffer, size, static_cast<off_t>(offset));
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return Fail(Code::kNotFound, "cannot read", path_);
  }
}

Status File::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(Fd(handle_), bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return Fail(Code::kCannotWrite, "cannot write", path_);
    }
  }
  return {};
}

Status File::Sync() {
  // Pipes and devices can't be synchronised, and need not be.
  if (fsync(Fd(handle_)) == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return Fail(Code::kCannotWrite, "cannot write", path_);
}

Status File::Close() {
  const int fd = Fd(handle_);
  handle_ = kClosed;
  // After EINTR the descriptor is closed on Linux; closing again could hit another file.
  if (close(fd) == 0 || errno == EINTR) return {};
  return Fail(Code::kCannotWrite, "cannot write", path_);
}

Result<std::uint64_t> File::Size() const {
  struct stat info {};
  if (fstat(Fd(handle_), &info) != 0) return Fail(Code::kNotFound, "cannot read", path_);
  return static_cast<std::uint64_t>(info.st_size);
}

bool File::IsInPlace() const {
  struct stat open {
  }, there{};
  return fstat(Fd(handle_), &open) == 0 && stat(path_.c_str(), &there) == 0 &&
         open.st_dev == there.st_dev && open.st_ino == there.st_ino;
}

Result<File> File::OpenLocked(const fs::path& path, Access access) {
  Result<File> file = Open(path, Mode::kAppend, access);
  if (!file.ok()) return file;
  if (Status locked = Lock(Fd(file->handle_), false, path); !locked.ok()) return locked;
  if (file->IsInPlace()) return file;
  return platform::Failure(Code::kResumable, "another program holds", path, EWOULDBLOCK);
}

Result<FileLock> FileLock::Take(const fs::path& path, Wait wait) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return Fail(Code::kCannotWrite, "cannot write", path);
  FileLock lock(fd);
  if (Status locked = Lock(fd, wait == Wait::kUntilFree, path); !locked.ok()) return locked;
  return lock;
}

Result<FileLock> FileLock::TakeFolder(const fs::path& folder) {
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return Fail(Code::kNotFound, "cannot read", folder);
  FileLock lock(fd);
  const Status locked = Lock(fd, false, folder);
  if (locked.code() == Code::kResumable) return locked;
  return lock;
}

FileLock::FileLock(FileLock&& other) noexcept : handle_(other.handle_) { other.handle_ = kClosed; }

FileLock::~FileLock() {
  if (handle_ != kClosed) close(Fd(handle_));
}

namespace ModFiles {

namespace platform {

std::string ErrorText(std::uint32_t native) { return std::strerror(static_cast<int>(native)); }

std::uint32_t LastError() { return static_cast<std::uint32_t>(errno); }

Status ReplaceByRename(const fs::path& from, const fs::path& to) {
  if (rename(from.c_str(), to.c_str()) == 0) return {};
  return Fail(Code::kCannotWrite, "cannot write", to);
}

namespace {

constexpr std::string_view kAccessList = "system.posix_acl_access";

void CopyAttribute(const fs::path& from, const fs::path& to, const char* name) {
  const ssize_t size = getxattr(from.c_str(), name, nullptr, 0);
  if (size < 0) return;
  std::string value(static_cast<std::size_t>(size), '\0');
  if (getxattr(from.c_str(), name, value.data(), value.size()) != size) return;
  setxattr(to.c_str(), name, value.data(), value.size(), 0);
}

// The list of who else may do what, and the user's own notes. Not the system's: a capability must
// not pass to another file.
void CopyAttributes(const fs::path& from, const fs::path& to) {
  const ssize_t size = listxattr(from.c_str(), nullptr, 0);
  if (size <= 0) return;
  std::string names(static_cast<std::size_t>(size), '\0');
  if (listxattr(from.c_str(), names.data(), names.size()) != size) return;
  for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    const std::string_view name = names.c_str() + at;
    if (name.starts_with("user.") || name == kAccessList) CopyAttribute(from, to, name.data());
  }
}

}  // namespace

void CopyPermissions(const fs::path& from, const fs::path& to) {
  struct stat info {};
  if (stat(from.c_str(), &info) != 0) return;
  // The owner first: a change of owner clears the set-id bits. It fails for all but root, whose
  // edit must not take a user's file away.
  const bool owner_kept = chown(to.c_str(), info.st_uid, info.st_gid) == 0;
  const mode_t mode = info.st_mode & 07777;
  // The folder may have given it a list of its own, which chmod would activate.
  removexattr(to.c_str(), kAccessList.data());
  chmod(to.c_str(), owner_kept ? mode : mode & 0777);
  CopyAttributes(from, to);
}

bool MakeFolder(const fs::path& path, bool is_private) {
  return mkdir(path.c_str(), is_private ? 0700 : 0777) == 0;
}

}  // namespace platform

Status SyncFolder(const fs::path& folder) {
  const int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // With write permission only it can't be waited for either.
  if (fd < 0) return errno == EACCES ? Status() : Fail(Code::kNotFound, "cannot read", folder);
  // Any other failure says that this file system can't do it.
  const bool lost = fsync(fd) != 0 && (errno == EIO || errno == ENOSPC || errno == EDQUOT);
  Status status = lost ? Fail(Code::kCannotWrite, "cannot write", folder) : Status();
  close(fd);
  return status;
}

Entry EntryAt(const fs::path& path) {
  struct statx facts {};
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_BTIME, &facts) != 0) {
    return {};
  }
  Entry entry{S_ISREG(facts.stx_mode), S_ISDIR(facts.stx_mode), {}};
  if ((facts.stx_mask & STATX_BTIME) != 0) {
    entry.created = std::chrono::system_clock::from_time_t(facts.stx_btime.tv_sec);
  }
  return entry;
}

Status SetHidden(const fs::path&) { return {}; }

fs::path ProgramPath() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error);
}

std::string PathKey(std::string_view path) { return std::string(path); }

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace ModFiles
}  // namespace vespro
