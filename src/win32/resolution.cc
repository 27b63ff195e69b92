#include "win32/resolution.h"

#include <cstddef>

namespace vespro::ModResolution {
namespace {

// Functions that came with Windows 10: looked for, so that older systems load us, too.
template <class Function>
Function Newer(const char* name) {
  const HMODULE user = GetModuleHandleW(L"user32.dll");
  if (user == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(user, name)));
}

UINT OfScreen() {
  const HDC screen = GetDC(nullptr);
  const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : 96;
}

int FromScreen(int pixels, UINT dpi) {
  return MulDiv(pixels, static_cast<int>(dpi), static_cast<int>(OfScreen()));
}

}  // namespace

UINT Of(HWND window) {
  using Function = UINT(WINAPI*)(HWND);
  static const auto of_window = Newer<Function>("GetDpiForWindow");
  const UINT dpi = window != nullptr && of_window != nullptr ? of_window(window) : 0;
  return dpi != 0 ? dpi : OfScreen();
}

int Metric(int index, UINT dpi) {
  using Function = int(WINAPI*)(int, UINT);
  static const auto at_resolution = Newer<Function>("GetSystemMetricsForDpi");
  if (at_resolution != nullptr) return at_resolution(index, dpi);
  return FromScreen(GetSystemMetrics(index), dpi);
}

SIZE Outer(SIZE inner, DWORD style, DWORD extended_style, UINT dpi) {
  using Function = BOOL(WINAPI*)(RECT*, DWORD, BOOL, DWORD, UINT);
  static const auto at_resolution = Newer<Function>("AdjustWindowRectExForDpi");
  RECT around = {0, 0, inner.cx, inner.cy};
  if (at_resolution != nullptr) {
    at_resolution(&around, style, FALSE, extended_style, dpi);
  } else {
    AdjustWindowRectEx(&around, style, FALSE, extended_style);
  }
  return {around.right - around.left, around.bottom - around.top};
}

LOGFONTW MessageFont(UINT dpi) {
  using Function = BOOL(WINAPI*)(UINT, UINT, void*, UINT, UINT);
  static const auto at_resolution = Newer<Function>("SystemParametersInfoForDpi");
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof(metrics);
  if (at_resolution != nullptr &&
      at_resolution(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0, dpi)) {
    return metrics.lfMessageFont;
  }
  // Systems before Vista know the structure without its last member.
  if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0)) {
    metrics.cbSize = offsetof(NONCLIENTMETRICSW, iPaddedBorderWidth);
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, metrics.cbSize, &metrics, 0);
  }
  metrics.lfMessageFont.lfHeight = FromScreen(metrics.lfMessageFont.lfHeight, dpi);
  return metrics.lfMessageFont;
}

}  // namespace vespro::ModResolution
