// win32/guard.h - the edge to Windows. No exception may cross a procedure that Windows calls: the
// frames below it are not ours, and not all of our compilers can unwind through them.
#pragma once

#include <exception>
#include <utility>

namespace vespro {

// Says in the debugger's output that `where` came to nothing. Any thread.
void ReportAtEdge(const char* where, const char* what) noexcept;

// What every window procedure, hook and thread start does its work in. An exception is reported and
// becomes T(): 0.
template <class Work>
auto AtEdge(const char* where, Work&& work) noexcept -> decltype(work()) {
  try {
    return std::forward<Work>(work)();
  } catch (const std::exception& error) {
    ReportAtEdge(where, error.what());
  } catch (...) {
    ReportAtEdge(where, "an exception of no known kind");
  }
  return decltype(work())();
}

}  // namespace vespro
