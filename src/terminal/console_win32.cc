#include <windows.h>
// After windows.h, on which it depends.
#include <shellapi.h>

#include <iostream>

#include "base/code_page.h"
#include "base/text.h"
#include "base/win32/wide.h"
#include "terminal/console.h"

namespace vespro::ModConsole {
namespace {

bool IsConsole(DWORD which) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

}  // namespace

bool CanAsk() { return IsConsole(STD_INPUT_HANDLE) && IsConsole(STD_ERROR_HANDLE); }

std::string ReadLine() {
  std::string line;
  std::getline(std::cin, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return ModText::IsUtf8(line) ? line : ModCodePage::ToUtf8(line);
}

std::vector<std::string> Arguments(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 0; wide != nullptr && i < count; ++i) {
    arguments.push_back(ModWide::ToUtf8(wide[i]));
  }
  LocalFree(wide);
  return arguments;
}

}  // namespace vespro::ModConsole
