#include "outlook/registration.h"

#include <array>
#include <cwchar>
#include <string>

#include "base/win32/wide.h"
#include "outlook/extensibility.h"

namespace vespro::ModRegistration {
namespace {

constexpr wchar_t kFriendlyName[] = L"Vespro";
constexpr wchar_t kDescription[] = L"Bulk mail from the compose window";
constexpr DWORD kLoadAtStart = 3;
constexpr DWORD kNeedsScreen = 0;

HKEY RootOf(Scope scope) {
  return scope == Scope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

struct Paths {
  std::wstring prog_id = L"Software\\Classes\\" + ModWide::FromUtf8(kProgId);
  std::wstring class_id = L"Software\\Classes\\CLSID\\" + ModWide::FromUtf8(kClassIdText);
  std::wstring add_in =
      L"Software\\Microsoft\\Office\\Outlook\\Addins\\" + ModWide::FromUtf8(kProgId);
};

// Writes values one after the other, until one fails.
class Writer {
 public:
  explicit Writer(HKEY root) : root_(root) {}

  LSTATUS error() const { return error_; }
  // Without a name it is the key's own value.
  void Text(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    Write(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
  }
  void Number(const std::wstring& key, const wchar_t* name, DWORD number) {
    Write(key, name, REG_DWORD, &number, sizeof(number));
  }

 private:
  void Write(const std::wstring& key, const wchar_t* name, DWORD type, const void* bytes,
             std::size_t size) {
    if (error_ != ERROR_SUCCESS) return;
    HKEY opened = nullptr;
    error_ = RegCreateKeyExW(root_, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &opened,
                             nullptr);
    if (error_ != ERROR_SUCCESS) return;
    error_ = RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(bytes),
                            static_cast<DWORD>(size));
    RegCloseKey(opened);
  }

  HKEY root_;
  LSTATUS error_ = ERROR_SUCCESS;
};

// With all keys below. Older systems have no call for that.
LSTATUS Delete(HKEY parent, const std::wstring& key) {
  HKEY opened = nullptr;
  LSTATUS error = RegOpenKeyExW(parent, key.c_str(), 0, KEY_ENUMERATE_SUB_KEYS, &opened);
  if (error == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (error != ERROR_SUCCESS) return error;
  std::array<wchar_t, 256> name;  // longer ones can't be made
  auto size = static_cast<DWORD>(name.size());
  // The first one, until there is none any more.
  while (error == ERROR_SUCCESS && RegEnumKeyExW(opened, 0, name.data(), &size, nullptr, nullptr,
                                                 nullptr, nullptr) == ERROR_SUCCESS) {
    error = Delete(opened, std::wstring(name.data(), size));
    size = static_cast<DWORD>(name.size());
  }
  RegCloseKey(opened);
  return error == ERROR_SUCCESS ? RegDeleteKeyW(parent, key.c_str()) : error;
}

}  // namespace

std::optional<Scope> ScopeOf(std::wstring_view name) {
  const std::wstring text(name);
  if (_wcsicmp(text.c_str(), L"machine") == 0) return Scope::kMachine;
  if (_wcsicmp(text.c_str(), L"user") == 0) return Scope::kUser;
  return std::nullopt;
}

LSTATUS Register(Scope scope, const std::filesystem::path& dll) {
  const Paths paths;
  const std::wstring prog_id = ModWide::FromUtf8(kProgId);
  const std::wstring server = paths.class_id + L"\\InprocServer32";
  Writer writer(RootOf(scope));
  writer.Text(paths.prog_id, nullptr, kFriendlyName);
  writer.Text(paths.prog_id + L"\\CLSID", nullptr, ModWide::FromUtf8(kClassIdText));
  writer.Text(paths.class_id, nullptr, kFriendlyName);
  writer.Text(paths.class_id + L"\\ProgID", nullptr, prog_id);
  writer.Text(server, nullptr, dll.wstring());
  writer.Text(server, L"ThreadingModel", L"Apartment");
  writer.Text(paths.add_in, L"FriendlyName", kFriendlyName);
  writer.Text(paths.add_in, L"Description", kDescription);
  writer.Number(paths.add_in, L"CommandLineSafe", kNeedsScreen);
  writer.Number(paths.add_in, L"LoadBehavior", kLoadAtStart);
  if (writer.error() != ERROR_SUCCESS) Unregister(scope);
  return writer.error();
}

LSTATUS Unregister(Scope scope) {
  const Paths paths;
  LSTATUS first_error = ERROR_SUCCESS;
  // Outlook's own list first: it must not name what is gone.
  for (const std::wstring& key : {paths.add_in, paths.prog_id, paths.class_id}) {
    const LSTATUS error = Delete(RootOf(scope), key);
    if (first_error == ERROR_SUCCESS) first_error = error;
  }
  return first_error;
}

}  // namespace vespro::ModRegistration
