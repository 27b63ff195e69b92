// outlook/com_edge.h - the edge to COM. What Outlook calls does its work in AtComEdge: no exception
// leaves it, since not all of our compilers can unwind through Outlook's frames.
#pragma once

#include <windows.h>

#include <exception>
#include <new>
#include <utility>

#include "win32/guard.h"

namespace vespro {

// The HRESULT of `work`. Memory that ran out is E_OUTOFMEMORY; any other exception is reported and
// becomes E_UNEXPECTED.
template <class Work>
HRESULT AtComEdge(const char* where, Work&& work) noexcept {
  try {
    return std::forward<Work>(work)();
  } catch (const std::bad_alloc&) {
    ReportAtEdge(where, "out of memory");
    return E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    ReportAtEdge(where, error.what());
  } catch (...) {
    ReportAtEdge(where, "an exception of no known kind");
  }
  return E_UNEXPECTED;
}

}  // namespace vespro
