// host/ribbon.h - what a mail client with ribbons gives in place of menus and toolbars: it asks for
// a description once for each kind of window, and from then on for what the controls are to show,
// which it keeps until it is told to ask again. One thread: the mail client's own.
#pragma once

#include <string_view>

#include "base/status.h"

namespace vespro {

// The ribbons of all windows of a kind.
class Ribbon {
 public:
  virtual ~Ribbon() = default;
  // What the host knows of that control is out of date: in every window it asks again.
  virtual Status InvalidateControl(std::string_view id) = 0;
};

}  // namespace vespro
