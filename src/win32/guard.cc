#include "win32/guard.h"

#include <windows.h>

namespace vespro {

void ReportAtEdge(const char* where, const char* what) noexcept {
  OutputDebugStringA("vespro: ");
  OutputDebugStringA(where);
  OutputDebugStringA(": ");
  OutputDebugStringA(what);
  OutputDebugStringA("\n");
}

}  // namespace vespro
