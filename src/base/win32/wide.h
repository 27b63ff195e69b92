// base/win32/wide.h - UTF-16 for Windows' wide calls. Include only from platform files.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace vespro::ModWide {

// What can't be converted becomes U+FFFD, or "?" in a code page without it.
inline std::wstring From(std::string_view bytes, UINT code_page) {
  if (bytes.empty()) return {};
  const int in = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(code_page, 0, bytes.data(), in, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(code_page, 0, bytes.data(), in, wide.data(), size);
  return wide;
}

inline std::string To(std::wstring_view wide, UINT code_page) {
  if (wide.empty()) return {};
  const int in = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(code_page, 0, wide.data(), in, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(code_page, 0, wide.data(), in, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

inline std::wstring FromUtf8(std::string_view text) { return From(text, CP_UTF8); }
inline std::string ToUtf8(std::wstring_view wide) { return To(wide, CP_UTF8); }

}  // namespace vespro::ModWide
