#include <windows.h>
// After windows.h, on which it depends.
#include <shellapi.h>

#include "base/open_document.h"
#include "base/win32/wide.h"

namespace vespro {

int OpenDocument(const DocumentToOpen& document) {
  const auto wide = [](const std::string& text) { return ModWide::FromUtf8(text); };
  const std::wstring operation = wide(document.operation), file = wide(document.file),
                     parameters = wide(document.parameters), directory = wide(document.directory);
  const auto given = [](const std::wstring& text) { return text.empty() ? nullptr : text.c_str(); };
  const HINSTANCE result =
      ShellExecuteW(reinterpret_cast<HWND>(document.owner), given(operation), file.c_str(),
                    given(parameters), given(directory), document.show);
  return static_cast<int>(reinterpret_cast<INT_PTR>(result));
}

}  // namespace vespro
