#include "outlook/installed.h"

#include "base/files.h"
#include "base/user.h"
#include "base/win32/wide.h"

namespace vespro::standin {
namespace {

constexpr const char* kProcessor = sizeof(void*) == 8 ? "x64" : "x86";

std::filesystem::path OwnFolder(const std::string& name) {
  return std::filesystem::temp_directory_path() /
         ("Vespro " + name + " " + std::to_string(GetCurrentProcessId()));
}

Status Register(const std::filesystem::path& dll) {
  const HMODULE module = LoadLibraryW(dll.c_str());
  if (module == nullptr) {
    return Status(Code::kNotFound, ModFiles::ToUtf8(dll) + " can't be loaded", GetLastError());
  }
  using Install = HRESULT(STDAPICALLTYPE*)(BOOL, PCWSTR);
  const auto install =
      reinterpret_cast<Install>(reinterpret_cast<void*>(GetProcAddress(module, "DllInstall")));
  const HRESULT result = install == nullptr ? E_NOTIMPL : install(TRUE, L"user");
  FreeLibrary(module);
  if (SUCCEEDED(result)) return {};
  return Status(Code::kUnavailable, "the DLL can't register itself",
                static_cast<std::uint32_t>(result));
}

}  // namespace

Hive::Hive(HKEY root, const std::string& name) : place_(name), root_(root) {
  RegCreateKeyExW(HKEY_CURRENT_USER, ModWide::FromUtf8(place_.path).c_str(), 0, nullptr, 0,
                  KEY_ALL_ACCESS, nullptr, &key_, nullptr);
  RegOverridePredefKey(root_, key_);
}

Hive::~Hive() {
  RegOverridePredefKey(root_, nullptr);
  RegCloseKey(key_);
}

Installed::Installed(const char* name) : Installed(OwnFolder(name)) {}

Installed::Installed(const std::filesystem::path& into)
    : folder(into),
      dll(folder / kProcessor / "Vespro.dll"),
      user_(HKEY_CURRENT_USER, "StandIn" + std::to_string(GetCurrentProcessId())) {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  std::filesystem::create_directories(dll.parent_path(), error);
  const auto built = ModFiles::ProgramPath().parent_path() / kProcessor / "Vespro.dll";
  std::filesystem::copy_file(built, dll, error);
  status_ =
      error ? Status(Code::kNotFound, ModFiles::ToUtf8(built) + " can't be copied") : Register(dll);
}

Installed::~Installed() {
  std::error_code left;  // what is still open, such as an engine that runs
  std::filesystem::remove_all(folder, left);
}

std::filesystem::path Installed::data_folder() const {
  const std::string user = ModUser::Name();
  return folder / ModFiles::FromUtf8(user.empty() ? "unknown" : user);
}

}  // namespace vespro::standin
