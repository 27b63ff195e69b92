#include <windows.h>
// After windows.h, on which it depends.
#include <aclapi.h>

#include <algorithm>

#include "base/files.h"
#include "base/files_platform.h"
#include "base/win32/wide.h"

namespace vespro {
namespace fs = std::filesystem;
namespace platform = ModFiles::platform;

namespace {

using platform::kClosed;

HANDLE AsHandle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

Status Fail(Code code, const char* what, const fs::path& path) {
  return platform::Failure(code, what, path, platform::LastError());
}

// One byte, at `offset_high` times 4 gigabytes.
Status Lock(HANDLE handle, DWORD flags, DWORD offset_high, const fs::path& path) {
  OVERLAPPED at{};
  at.OffsetHigh = offset_high;
  if (LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | flags, 0, 1, 0, &at)) return {};
  if (GetLastError() == ERROR_LOCK_VIOLATION) {
    return Fail(Code::kResumable, "another program holds", path);
  }
  return Fail(Code::kCannotWrite, "cannot lock", path);
}

}  // namespace

Result<File> File::Open(const fs::path& path, Mode mode, Access) {
  DWORD rights = GENERIC_READ;
  DWORD creation = OPEN_EXISTING;
  switch (mode) {
    case Mode::kRead:
      break;
    case Mode::kReplace:
      rights = GENERIC_WRITE, creation = CREATE_ALWAYS;
      break;
    case Mode::kCreateNew:
      rights = GENERIC_WRITE, creation = CREATE_NEW;
      break;
    case Mode::kAppend:
      rights = FILE_APPEND_DATA | SYNCHRONIZE, creation = OPEN_ALWAYS;
      break;
  }
  const bool reading = mode == Mode::kRead;
  if (reading && ModFiles::IsFolder(path)) {
    return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(path) + "' is a folder, not a file");
  }
  const HANDLE handle =
      CreateFileW(path.c_str(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    return Fail(reading ? Code::kNotFound : Code::kCannotWrite,
                reading ? "cannot read" : "cannot write", path);
  }
  File file(reinterpret_cast<std::intptr_t>(handle), path);
  if (reading && GetFileType(handle) != FILE_TYPE_DISK) {
    return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(path) + "' is a device, not a file");
  }
  return file;
}

File::~File() {
  if (handle_ != kClosed) CloseHandle(AsHandle(handle_));
}

Result<std::size_t> File::Read(char* buffer, std::size_t size) {
  DWORD count = 0;
  const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(size, 1U << 30));
  if (!ReadFile(AsHandle(handle_), buffer, wanted, &count, nullptr)) {
    return Fail(Code::kNotFound, "cannot read", path_);
  }
  return std::size_t{count};
}

Result<std::size_t> File::ReadAt(std::uint64_t offset, char* buffer, std::size_t size) {
  DWORD count = 0;
  const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(size, 1U << 30));
  OVERLAPPED from{};
  from.Offset = static_cast<DWORD>(offset);
  from.OffsetHigh = static_cast<DWORD>(offset >> 32);
  if (!ReadFile(AsHandle(handle_), buffer, wanted, &count, &from) &&
      GetLastError() != ERROR_HANDLE_EOF) {
    return Fail(Code::kNotFound, "cannot read", path_);
  }
  return std::size_t{count};
}

Status File::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1U << 30));
    if (!WriteFile(AsHandle(handle_), bytes.data(), wanted, &count, nullptr)) {
      return Fail(Code::kCannotWrite, "cannot write", path_);
    }
    bytes.remove_prefix(count);
  }
  return {};
}

Status File::Sync() {
  if (FlushFileBuffers(AsHandle(handle_))) return {};
  return Fail(Code::kCannotWrite, "cannot write", path_);
}

Status File::Close() {
  const HANDLE handle = AsHandle(handle_);
  handle_ = kClosed;
  if (CloseHandle(handle)) return {};
  return Fail(Code::kCannotWrite, "cannot write", path_);
}

Result<std::uint64_t> File::Size() const {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(AsHandle(handle_), &size)) return Fail(Code::kNotFound, "cannot read", path_);
  return static_cast<std::uint64_t>(size.QuadPart);
}

bool File::IsInPlace() const {
  const Result<File> there = Open(path_, Mode::kRead);
  BY_HANDLE_FILE_INFORMATION a{}, b{};
  return there.ok() && GetFileInformationByHandle(AsHandle(handle_), &a) &&
         GetFileInformationByHandle(AsHandle(there.value().handle_), &b) &&
         a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
         a.nFileIndexLow == b.nFileIndexLow;
}

// No FILE_SHARE_DELETE: it keeps its name. FILE_READ_DATA is for the lock.
Result<File> File::OpenLocked(const fs::path& path, Access) {
  const HANDLE handle = CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return Fail(Code::kCannotWrite, "cannot write", path);
  File file(reinterpret_cast<std::intptr_t>(handle), path);
  // Locked bytes can't be read by others; none are so far out.
  constexpr DWORD kFarOut = 0x7FFFFFFF;
  const Status locked = Lock(handle, LOCKFILE_FAIL_IMMEDIATELY, kFarOut, path);
  if (!locked.ok()) return locked;
  return file;
}

Result<FileLock> FileLock::Take(const fs::path& path, Wait wait) {
  const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return Fail(Code::kCannotWrite, "cannot write", path);
  FileLock lock(reinterpret_cast<std::intptr_t>(handle));
  const DWORD flags = wait == Wait::kNo ? LOCKFILE_FAIL_IMMEDIATELY : 0;
  if (Status locked = Lock(handle, flags, 0, path); !locked.ok()) return locked;
  return lock;
}

Result<FileLock> FileLock::TakeFolder(const fs::path& folder) {
  if (ModFiles::IsFolder(folder)) return FileLock(kClosed);
  return platform::Failure(Code::kNotFound, "cannot read", folder, ERROR_PATH_NOT_FOUND);
}

FileLock::FileLock(FileLock&& other) noexcept : handle_(other.handle_) { other.handle_ = kClosed; }

FileLock::~FileLock() {
  if (handle_ != kClosed) CloseHandle(AsHandle(handle_));
}

namespace ModFiles {

namespace platform {

std::string ErrorText(std::uint32_t native) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, native, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string out = length > 0 ? ModWide::ToUtf8({text, length}) : "error";
  LocalFree(text);
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r' || out.back() == '.')) {
    out.pop_back();
  }
  return out;
}

std::uint32_t LastError() { return GetLastError(); }

// Nobody can take the place of a file that is open, if only for the moment in which another program
// reads it or looks for viruses in it.
Status ReplaceByRename(const fs::path& from, const fs::path& to) {
  constexpr int kTries = 50;
  constexpr DWORD kPause = 10;  // milliseconds
  for (int tries = 1;; ++tries) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return {};
    }
    const DWORD error = GetLastError();
    const bool is_busy = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
    if (!is_busy || tries == kTries) return Fail(Code::kCannotWrite, "cannot write", to);
    Sleep(kPause);
  }
}

namespace {

// Entries that come from the folder are left to the system, which finds them anew.
void CopyAccessList(const fs::path& from, const fs::path& to) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(from.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                            nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
    return;
  }
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  GetSecurityDescriptorControl(descriptor, &control, &revision);
  const DWORD inherits = (control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                            : UNPROTECTED_DACL_SECURITY_INFORMATION;
  std::wstring name = to.wstring();
  SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | inherits, nullptr,
                        nullptr, list, nullptr);
  LocalFree(descriptor);
}

}  // namespace

void CopyPermissions(const fs::path& from, const fs::path& to) {
  CopyAccessList(from, to);
  const DWORD attributes = GetFileAttributesW(from.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(to.c_str(), attributes);
}

bool MakeFolder(const fs::path& path, bool) { return CreateDirectoryW(path.c_str(), nullptr) != 0; }

}  // namespace platform

// MOVEFILE_WRITE_THROUGH and FlushFileBuffers have done it.
Status SyncFolder(const fs::path&) { return {}; }

Entry EntryAt(const fs::path& path) {
  WIN32_FILE_ATTRIBUTE_DATA facts{};
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &facts)) return {};
  const auto is = [&](DWORD attribute) { return (facts.dwFileAttributes & attribute) != 0; };
  const bool is_link = is(FILE_ATTRIBUTE_REPARSE_POINT);
  const bool is_folder = is(FILE_ATTRIBUTE_DIRECTORY);
  Entry entry{!is_link && !is_folder && !is(FILE_ATTRIBUTE_DEVICE), !is_link && is_folder, {}};
  // Tenths of a microsecond since 1601; a file system without creation times says 0.
  const std::uint64_t ticks =
      std::uint64_t{facts.ftCreationTime.dwHighDateTime} << 32 | facts.ftCreationTime.dwLowDateTime;
  constexpr std::int64_t kFrom1601To1970 = 11644473600;  // seconds
  if (ticks != 0) {
    entry.created = std::chrono::system_clock::from_time_t(
        static_cast<time_t>(static_cast<std::int64_t>(ticks / 10000000) - kFrom1601To1970));
  }
  return entry;
}

Status SetHidden(const fs::path& path) {
  if (SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_HIDDEN)) return {};
  return Fail(Code::kCannotWrite, "cannot hide", path);
}

fs::path ProgramPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::string PathKey(std::string_view path) {
  std::wstring wide = ModWide::FromUtf8(path);
  std::replace(wide.begin(), wide.end(), L'/', L'\\');
  const int size = static_cast<int>(wide.size());
  std::wstring key = wide;
  LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, wide.data(), size, key.data(), size);
  return ModWide::ToUtf8(key);
}

std::string Environment(const char* name) {
  std::wstring value(32768, L'\0');
  const std::wstring wide = ModWide::FromUtf8(name);
  value.resize(
      GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size())));
  return ModWide::ToUtf8(value);
}

}  // namespace ModFiles
}  // namespace vespro
