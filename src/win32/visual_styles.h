// win32/visual_styles.h - common controls 6 for our windows, in a process that may not ask for
// them. Their manifest is a resource of the module that this is linked into.
#pragma once

#include <windows.h>

namespace vespro {

// One thread. Where the system has no such thing, or the manifest is missing, windows simply look
// the old way.
class VisualStyles {
 public:
  VisualStyles();
  VisualStyles(const VisualStyles&) = delete;
  VisualStyles& operator=(const VisualStyles&) = delete;
  ~VisualStyles();

  // Windows made while one exists look the new way.
  class InUse {
   public:
    explicit InUse(const VisualStyles& styles);
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
    ~InUse();

   private:
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
  };

 private:
  HANDLE context_ = INVALID_HANDLE_VALUE;
};

// The module - program or DLL - that our code is in; resources are looked for there.
HINSTANCE OurModule();

}  // namespace vespro
