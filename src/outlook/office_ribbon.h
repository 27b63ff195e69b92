// outlook/office_ribbon.h - Office's ribbons behind host/ribbon.h, and the controls on them. One
// thread: Outlook's own.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "host/ribbon.h"
#include "outlook/host_context.h"
#include "outlook/outlook_windows.h"

namespace vespro {

class OfficeRibbon final : public Ribbon {
 public:
  explicit OfficeRibbon(HostObject ribbon) : ribbon_(std::move(ribbon)) {}

  Status InvalidateControl(std::string_view id) override;

 private:
  HostObject ribbon_;
};

// A control of ours that Office asks about, in one window.
struct RibbonControl {
  std::string id;
  std::shared_ptr<OutlookInspector> window;  // nullptr: a main window
};
// kBadInput when it is in no window of mails.
Result<RibbonControl> ReadRibbonControl(const HostObject& control);

}  // namespace vespro
