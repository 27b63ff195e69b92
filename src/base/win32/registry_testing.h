// base/win32/registry_testing.h - for tests only.
#pragma once

#include <windows.h>

#include <string>

#include "base/win32/wide.h"

namespace vespro {

// A place of the test's own below HKEY_CURRENT_USER: nothing is there at first, nor afterwards.
class TestKey {
 public:
  explicit TestKey(const std::string& name) : path("Software\\Tandrelix\\VesproTest\\" + name) {
    Remove();
  }
  ~TestKey() { Remove(); }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;

  const std::string path;

 private:
  void Remove() const { RegDeleteTreeW(HKEY_CURRENT_USER, ModWide::FromUtf8(path).c_str()); }
};

}  // namespace vespro
