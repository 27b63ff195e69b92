#include "win32/file_picker.h"

#include <commdlg.h>

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "base/win32/wide.h"

namespace vespro::ModFilePicker {
namespace {

constexpr std::size_t kLongestPath = 32768;  // characters, as the system counts them

}  // namespace

std::wstring SystemFilter(std::string_view filter) {
  std::vector<std::string_view> parts = ModText::Split(filter, '|');
  if (!parts.empty() && parts.back().empty()) parts.pop_back();  // after the last "|"
  if (parts.size() % 2 != 0) parts.push_back("*.*");
  std::wstring system;
  for (const std::string_view part : parts) {
    // An empty text would end the list.
    system += ModWide::FromUtf8(part.empty() ? " " : part);
    system.push_back(L'\0');
  }
  system.push_back(L'\0');
  return system;
}

Result<std::string> Ask(HWND owner, const FileQuestion& question) {
  const std::wstring filter = SystemFilter(question.filter);
  const std::wstring title = ModWide::FromUtf8(question.title);
  std::wstring folder = ModWide::FromUtf8(question.folder);
  std::replace(folder.begin(), folder.end(), L'/', L'\\');
  std::wstring path(kLongestPath, L'\0');

  OPENFILENAMEW asked{};
  asked.lStructSize = sizeof(asked);
  asked.hwndOwner = owner;
  asked.lpstrFilter = question.filter.empty() ? nullptr : filter.c_str();
  asked.nFilterIndex = 1;
  asked.lpstrFile = path.data();
  asked.nMaxFile = static_cast<DWORD>(path.size());
  asked.lpstrInitialDir = folder.empty() ? nullptr : folder.c_str();
  asked.lpstrTitle = title.empty() ? nullptr : title.c_str();
  asked.Flags =
      OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  if (GetOpenFileNameW(&asked)) return ModWide::ToUtf8(path.c_str());
  const DWORD error = CommDlgExtendedError();
  if (error == 0) return std::string();
  return Status(Code::kUnavailable, "the dialog for choosing a file cannot be shown", error);
}

}  // namespace vespro::ModFilePicker
