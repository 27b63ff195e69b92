#include "base/win32/registry.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "base/win32/wide.h"

namespace vespro::ModRegistry {
namespace {

class Key {
 public:
  ~Key() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  LSTATUS Open(Root root, std::string_view path, REGSAM access) {
    return RegOpenKeyExW(Hive(root), ModWide::FromUtf8(path).c_str(), 0, access, &key_);
  }
  LSTATUS Create(Root root, std::string_view path) {
    return RegCreateKeyExW(Hive(root), ModWide::FromUtf8(path).c_str(), 0, nullptr,
                           REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key_, nullptr);
  }
  HKEY get() const { return key_; }

 private:
  static HKEY Hive(Root root) {
    return root == Root::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
  }
  HKEY key_ = nullptr;
};

}  // namespace

void CreateKey(std::string_view path, Root root) {
  Key key;
  key.Create(root, path);
}

std::int32_t WriteValue(Root root, std::string_view path, std::string_view name,
                        std::string_view value, std::uint32_t type) {
  Key key;
  LSTATUS opened = key.Open(root, path, KEY_SET_VALUE);
  if (opened == ERROR_FILE_NOT_FOUND) {
    CreateKey(path, root);
    opened = key.Open(root, path, KEY_SET_VALUE);
  }
  if (opened != ERROR_SUCCESS) return opened;
  const std::wstring wide_name = ModWide::FromUtf8(name);
  if (type == kString) {
    const std::wstring text = ModWide::FromUtf8(value);
    return RegSetValueExW(key.get(), wide_name.c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
  }
  if (type == kNumber) {
    const double wanted = ModText::LeadingNumber(value);
    const auto number = static_cast<std::int32_t>(std::clamp(wanted, -2147483648.0, 2147483647.0));
    return RegSetValueExW(key.get(), wide_name.c_str(), 0, REG_DWORD,
                          reinterpret_cast<const BYTE*>(&number), sizeof number);
  }
  return ERROR_SUCCESS;
}

Value ReadValue(Root root, std::string_view path, std::string_view name) {
  Key key;
  if (const LSTATUS status = key.Open(root, path, KEY_QUERY_VALUE); status != ERROR_SUCCESS) {
    return {"", static_cast<std::int32_t>(status)};
  }
  const std::wstring wide_name = ModWide::FromUtf8(name);
  DWORD type = 0;
  DWORD size = 0;
  LSTATUS status = RegQueryValueExW(key.get(), wide_name.c_str(), nullptr, &type, nullptr, &size);
  if (status != ERROR_SUCCESS) return {"", static_cast<std::int32_t>(status)};
  if (type != REG_SZ && type != REG_DWORD) return {"", -1};
  std::vector<BYTE> bytes(size);
  status = RegQueryValueExW(key.get(), wide_name.c_str(), nullptr, &type, bytes.data(), &size);
  if (status != ERROR_SUCCESS) return {"", static_cast<std::int32_t>(status)};
  bytes.resize(size);  // another program may have changed the value in between
  if (type == REG_DWORD) {
    std::int32_t number = 0;
    if (bytes.size() < sizeof number) return {"", -1};
    std::memcpy(&number, bytes.data(), sizeof number);
    return {std::to_string(number), 0};
  }
  const std::size_t length = bytes.size() / sizeof(wchar_t);
  std::wstring text(length, L'\0');
  std::memcpy(text.data(), bytes.data(), length * sizeof(wchar_t));
  if (!text.empty()) text.pop_back();
  return {ModWide::ToUtf8(text), 0};
}

std::vector<std::string> ListValues(Root root, std::string_view path) {
  std::vector<std::string> names;
  Key key;
  if (key.Open(root, path, KEY_ALL_ACCESS) != ERROR_SUCCESS) return names;
  DWORD count = 0;
  RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr,
                   nullptr, nullptr, nullptr);
  std::wstring name(16384, L'\0');  // the registry's longest value name and its NUL
  for (DWORD i = 0; i < count; ++i) {
    auto length = static_cast<DWORD>(name.size());
    if (RegEnumValueW(key.get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    names.push_back(ModWide::ToUtf8(std::wstring_view(name).substr(0, length)));
  }
  return names;
}

std::vector<std::string> ListKeys(Root root, std::string_view path) {
  std::vector<std::string> names;
  Key key;
  if (key.Open(root, path, KEY_ENUMERATE_SUB_KEYS) != ERROR_SUCCESS) return names;
  std::wstring name(256, L'\0');  // the registry's longest key name and its NUL
  for (DWORD i = 0;; ++i) {
    auto length = static_cast<DWORD>(name.size());
    if (RegEnumKeyExW(key.get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return names;
    }
    names.push_back(ModWide::ToUtf8(std::wstring_view(name).substr(0, length)));
  }
}

}  // namespace vespro::ModRegistry
