// win32/icons.h - where a form's small pictures come from. One thread.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <utility>

#include "forms/control.h"
#include "win32/owned.h"

namespace vespro {

// Keeps what it gave until it goes away.
class IconLibrary {
 public:
  // A picture of `size` pixels in both directions; nullptr for Icon::Kind::kNone and unknown names.
  // What is named "X", "?", "!" and "i" is as in the system's message boxes; other names are
  // resources of our module (pictures/).
  HICON Find(const Icon& icon, int size);
  // Which one it gave; nullptr when it is not one of its own.
  const Icon* What(HICON picture) const;

 private:
  static Owned<HICON> Load(const Icon& icon, int size);

  struct Kept {
    Icon icon;
    Owned<HICON> picture;
  };
  std::map<std::pair<std::string, int>, Kept> icons_;
};

}  // namespace vespro
