// outlook/office_bars.h - Office's menus and toolbars behind host/command_bars.h. One thread:
// Outlook's own. Calls hold what they work with: their object may go below them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/command_bars.h"
#include "outlook/host_context.h"

namespace vespro {

class OfficeBar final : public CommandBar {
 public:
  explicit OfficeBar(HostObject bar) : bar_(std::move(bar)) {}

  std::string Name() const override;
  std::shared_ptr<CommandBarControl> Find(const ControlQuery& query) override;
  Result<std::shared_ptr<CommandBarControl>> Add(ControlType type) override;
  std::shared_ptr<CommandBarControl> FindByCaption(std::string_view caption) override;
  Status SetVisible(bool visible) override;

 private:
  HostObject bar_;
};

class OfficeBars final : public CommandBars {
 public:
  explicit OfficeBars(HostObject bars) : bars_(std::move(bars)) {}

  std::shared_ptr<CommandBar> Item(std::string_view name) override;
  // The menu bar that shows; nullptr where there is none.
  std::shared_ptr<CommandBar> ActiveMenuBar();
  // A command of Office's own, by the name that it has on the ribbon, in all languages. Versions
  // before 2007 know none.
  Status ExecuteByName(std::string_view name);

 private:
  HostObject bars_;
};

// Those of a window, "CommandBars" of an explorer or inspector; nullptr where it has none.
std::shared_ptr<OfficeBars> BarsOf(HostObject window);

}  // namespace vespro
