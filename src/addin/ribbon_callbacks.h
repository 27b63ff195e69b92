// addin/ribbon_callbacks.h - what a host calls by the names in the description of our ribbons. Each
// host turns the values into its own. One thread: the mail client's own.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "addin/my_addin.h"
#include "addin/ribbon.h"

namespace vespro {

using RibbonValue = std::variant<std::monostate, bool, std::int32_t, std::string, RibbonPicture>;

struct RibbonCall {
  std::string id;  // of the control
  // Of the window that it is in; nullptr when the add-in has nothing there.
  std::shared_ptr<MyAddIn> window;
  std::int32_t index = 0;  // of an entry, from 0
  std::string text;        // that the user has chosen or typed
};

struct RibbonCallback {
  enum class Takes { kRibbon, kControl, kControlAndIndex, kControlAndText };

  const char* name;
  Takes takes = Takes::kControl;
  // Nothing when there is no such control in that window, or no such entry. nullptr for those that
  // take a ribbon: Connect::RibbonLoad is to get it.
  std::optional<RibbonValue> (*answer)(const RibbonCall&) = nullptr;
  RibbonKind kind = RibbonKind::kMainWindow;  // of the ribbon
};

std::span<const RibbonCallback> RibbonCallbacks();

}  // namespace vespro
