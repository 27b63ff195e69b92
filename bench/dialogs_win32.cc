// bench_dialogs: with real windows.
#include <cstdio>

#include "dialogs.h"
#include "win32/win32_desktop.h"

int main() {
  vespro::Win32Desktop desktop(
      [] { return HWND{}; },
      [](std::string_view line) { std::fprintf(stderr, "%s\n", std::string(line).c_str()); });
  return vespro::TimeDialogs(desktop.renderer(), desktop, {120, 50});
}
