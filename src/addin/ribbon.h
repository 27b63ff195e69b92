// addin/ribbon.h - the add-in's commands on ribbons: their description, in Office's XML, and what
// is kept for as long as the host has them. Text is UTF-8. One thread: the mail client's own.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "addin/commands.h"
#include "host/command_bars.h"
#include "host/ribbon.h"

namespace vespro {

enum class RibbonKind { kMainWindow, kComposeWindow };

// Of the host's name for it; nothing for those that the add-in leaves alone.
std::optional<RibbonKind> RibbonKindOf(std::string_view ribbon_id);

// Names by which the description has the host call back.
namespace ribbon_callback {
inline constexpr char kMainLoad[] = "MainRibbon_Load";
inline constexpr char kComposeLoad[] = "ComposeRibbon_Load";
inline constexpr char kGetVisible[] = "Ribbon_GetVisible";
inline constexpr char kGetImage[] = "Ribbon_GetImage";
inline constexpr char kOnAction[] = "Ribbon_OnAction";
inline constexpr char kGetEnabled[] = "Ribbon_GetEnabled";
inline constexpr char kGetItemCount[] = "Ribbon_GetItemCount";
inline constexpr char kGetItemLabel[] = "Ribbon_GetItemLabel";
inline constexpr char kGetText[] = "Ribbon_GetText";
inline constexpr char kOnChange[] = "Ribbon_OnChange";
}  // namespace ribbon_callback

// Controls that are no commands; a command is called by its name.
inline constexpr char kRibbonGroup[] = "VesproGroup";  // all of ours
inline constexpr char kRibbonMenu[] = "VesproMenu";
inline constexpr char kRibbonMergeList[] = "CmdMergeDataList";

std::string RibbonXml(RibbonKind kind, std::span<const Command> commands);

struct RibbonPicture {
  const char* resource;
  PictureKind kind;
};
// Of the command or menu of that name; nothing where it has none.
std::optional<RibbonPicture> RibbonPictureOf(std::string_view id,
                                             std::span<const Command> commands);

// The ribbons of one connection.
class Ribbons {
 public:
  // The host has asked for a description and got one: from then on our commands are there, and not
  // on bars.
  void Give() { given_ = true; }
  bool given() const { return given_; }
  // The host has made them. Without a description there are none of ours.
  void Load(RibbonKind kind, std::shared_ptr<Ribbon> ribbon);
  void InvalidateControl(RibbonKind kind, std::string_view id) const;
  // Gives away what is held of the host's.
  std::vector<std::shared_ptr<Ribbon>> Release();
  // The connection is over. The host asks anew, if it does.
  void End() {
    given_ = false;
    Release();
  }

 private:
  bool given_ = false;
  std::map<RibbonKind, std::shared_ptr<Ribbon>> loaded_;
};

// The merge list on a ribbon: the host asks for what a box on a bar is told.
class RibbonComboBox final : public CommandBarComboBox {
 public:
  // `changed` has the host ask again.
  explicit RibbonComboBox(std::function<void()> changed) : changed_(std::move(changed)) {}

  const std::vector<std::string>& items() const { return items_; }
  // What the user has chosen or typed, and sees already.
  void SetChosen(std::string_view text) { text_ = text; }

  ControlType Type() const override { return ControlType::kComboBox; }
  int Id() const override { return 1; }
  std::string Caption() const override { return caption_; }
  std::string Tag() const override { return {}; }
  bool Enabled() const override { return enabled_; }
  bool Visible() const override { return true; }
  std::string Text() const override { return text_; }

  Status SetCaption(std::string_view text) override { return Set(caption_, std::string(text)); }
  Status SetEnabled(bool enabled) override { return Set(enabled_, enabled); }
  Status SetText(std::string_view text) override { return Set(text_, std::string(text)); }
  Status Clear() override { return Set(items_, {}); }
  Status AddItem(std::string_view text) override;

  // The description says the rest, and the host tells the window itself of a choice.
  Status SetTag(std::string_view) override { return {}; }
  Status SetOnAction(std::string_view) override { return {}; }
  Status SetTooltipText(std::string_view) override { return {}; }
  Status SetBeginGroup(bool) override { return {}; }
  Status SetVisible(bool) override { return {}; }
  Status Execute() override { return {}; }
  Status Delete() override { return {}; }
  void OnChange(std::function<void()>) override {}

 private:
  template <class T>
  Status Set(T& into, T value) {
    into = std::move(value);
    Changed();
    return {};
  }
  void Changed() {
    if (const auto changed = changed_) changed();
  }

  const std::function<void()> changed_;
  std::string caption_, text_;
  std::vector<std::string> items_;
  bool enabled_ = true;
};

}  // namespace vespro
