#include "base/win32/system_info.h"

#include <windows.h>
// After windows.h, on which they depend.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "base/win32/system_programs.h"
#include "base/win32/wide.h"

namespace vespro::ModSystemInfo {
namespace {

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (*this) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

class Library {
 public:
  explicit Library(const wchar_t* name)
      : module_(LoadLibraryW(ModSystemPrograms::PathOf(name).c_str())) {}
  ~Library() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // nullptr when the library or the function is not there.
  template <class Function>
  Function* Find(const char* name) const {
    if (module_ == nullptr) return nullptr;
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

 private:
  HMODULE module_;
};

std::vector<DWORD> ProcessIds(decltype(EnumProcesses)& enumerate) {
  std::vector<DWORD> ids(1024);
  for (;;) {
    const auto bytes = static_cast<DWORD>(ids.size() * sizeof(DWORD));
    DWORD used = 0;
    if (!enumerate(ids.data(), bytes, &used)) return {};
    if (used < bytes) {
      ids.resize(used / sizeof(DWORD));
      return ids;
    }
    ids.resize(2 * ids.size());  // it may have left some out
  }
}

}  // namespace

WindowsVersion ThisWindows() {
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof info;
  // What takes its place needs a list of the versions that one expects.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  if (!GetVersionExW(&info)) return {};
#pragma GCC diagnostic pop
  const wchar_t* text = info.szCSDVersion;
  const wchar_t* end = std::find(std::begin(info.szCSDVersion), std::end(info.szCSDVersion), L'\0');
  return {info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber,
          ModWide::ToUtf8({text, static_cast<std::size_t>(end - text)})};
}

std::optional<FileVersion> VersionOf(const std::filesystem::path& file) {
  DWORD unused = 0;
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &unused);
  if (size == 0) return std::nullopt;
  std::vector<BYTE> block(size);
  void* found = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(file.c_str(), 0, size, block.data()) ||
      !VerQueryValueW(block.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
    return std::nullopt;
  }
  VS_FIXEDFILEINFO fixed{};
  std::memcpy(&fixed, found, sizeof fixed);
  return FileVersion{fixed.dwFileVersionMS, fixed.dwFileVersionLS};
}

std::vector<std::string> ProcessPaths() {
  const Library psapi(L"psapi.dll");
  auto* const processes = psapi.Find<decltype(EnumProcesses)>("EnumProcesses");
  auto* const modules = psapi.Find<decltype(EnumProcessModules)>("EnumProcessModules");
  auto* const name_of = psapi.Find<decltype(GetModuleFileNameExW)>("GetModuleFileNameExW");
  std::vector<std::string> paths;
  if (processes == nullptr || modules == nullptr || name_of == nullptr) return paths;
  for (const DWORD id : ProcessIds(*processes)) {
    const Handle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id));
    HMODULE first = nullptr;
    DWORD needed = 0;
    if (!process || !modules(process.get(), &first, sizeof first, &needed)) continue;
    std::wstring path(32768, L'\0');
    path.resize(name_of(process.get(), first, path.data(), static_cast<DWORD>(path.size())));
    paths.push_back(ModWide::ToUtf8(path));
  }
  return paths;
}

std::vector<std::string> ProcessNames() {
  const Library kernel(L"kernel32.dll");
  auto* const snapshot_of =
      kernel.Find<decltype(CreateToolhelp32Snapshot)>("CreateToolhelp32Snapshot");
  auto* const first = kernel.Find<decltype(Process32FirstW)>("Process32FirstW");
  auto* const next = kernel.Find<decltype(Process32NextW)>("Process32NextW");
  std::vector<std::string> names;
  if (snapshot_of == nullptr || first == nullptr || next == nullptr) return names;
  const Handle snapshot(snapshot_of(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) return names;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = first(snapshot.get(), &entry); more; more = next(snapshot.get(), &entry)) {
    CharLowerW(entry.szExeFile);
    names.push_back(ModWide::ToUtf8(entry.szExeFile));
  }
  return names;
}

}  // namespace vespro::ModSystemInfo
