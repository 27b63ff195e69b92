// host/memory_command_bars.h - for tests: command bars that behave as Office's where it matters. A
// click reaches every control with the same tag in all windows of one MemoryOffice; a deleted
// control fails; what is set in a combo box raises no change.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "host/command_bars.h"

namespace vespro {

// What a control of any kind is.
struct MemoryControlState {
  virtual ~MemoryControlState() = default;

  ControlType type = ControlType::kButton;
  int id = 1;
  std::string caption, tag, on_action, tooltip, text;
  std::vector<std::string> items;
  bool enabled = true, visible = true, begin_group = false, has_face = false, deleted = false;
  ButtonStyle style = ButtonStyle::kAutomatic;
  int executed = 0;
  std::function<void()> handler;
};

// All windows' controls, for the events.
class MemoryOffice {
 public:
  void Add(std::weak_ptr<MemoryControlState> control) { controls_.push_back(std::move(control)); }
  // What the user does: a click or a choice on any control with this tag.
  void Raise(const std::string& tag) {
    const auto controls = controls_;  // handlers add some and drop some
    for (const auto& weak : controls) {
      const auto control = weak.lock();
      if (control == nullptr || control->deleted || control->tag != tag) continue;
      if (const auto handler = control->handler) handler();
    }
  }

 private:
  std::vector<std::weak_ptr<MemoryControlState>> controls_;
};

template <class Interface>
class MemoryControlOf : public Interface, public MemoryControlState {
 public:
  explicit MemoryControlOf(MemoryOffice& office) : office_(office) {}

  ControlType Type() const override { return type; }
  int Id() const override { return id; }
  std::string Caption() const override { return caption; }
  std::string Tag() const override { return tag; }
  bool Enabled() const override { return enabled; }
  bool Visible() const override { return visible; }
  Status SetCaption(std::string_view value) override { return Set(caption, std::string(value)); }
  Status SetTag(std::string_view value) override { return Set(tag, std::string(value)); }
  Status SetOnAction(std::string_view value) override { return Set(on_action, std::string(value)); }
  Status SetTooltipText(std::string_view value) override {
    return Set(tooltip, std::string(value));
  }
  Status SetBeginGroup(bool value) override { return Set(begin_group, value); }
  Status SetEnabled(bool value) override { return Set(enabled, value); }
  Status SetVisible(bool value) override { return Set(visible, value); }
  Status Execute() override {
    Status status = Set(executed, executed + 1);
    if (status.ok()) office_.Raise(tag);
    return status;
  }
  Status Delete() override { return Set(deleted, true); }

 protected:
  static Status Gone() { return Status(Code::kUnavailable, "the control is gone"); }
  template <class T>
  Status Set(T& into, T value) {
    if (deleted) return Gone();
    into = std::move(value);
    return {};
  }

 private:
  MemoryOffice& office_;
};

class MemoryButton final : public MemoryControlOf<CommandBarButton> {
 public:
  using MemoryControlOf::MemoryControlOf;
  Status SetStyle(ButtonStyle value) override { return Set(style, value); }
  Status PasteFace() override { return Set(has_face, true); }
  void OnClick(std::function<void()> on_click) override { handler = std::move(on_click); }
};

class MemoryComboBox final : public MemoryControlOf<CommandBarComboBox> {
 public:
  using MemoryControlOf::MemoryControlOf;
  Status Clear() override { return Set(items, {}); }
  Status AddItem(std::string_view item) override {
    if (deleted) return Gone();
    items.emplace_back(item);
    return {};
  }
  std::string Text() const override { return text; }
  Status SetText(std::string_view value) override { return Set(text, std::string(value)); }
  void OnChange(std::function<void()> on_change) override { handler = std::move(on_change); }
};

class MemoryBar;

class MemoryPopup final : public MemoryControlOf<CommandBarPopup> {
 public:
  inline explicit MemoryPopup(MemoryOffice& office);
  inline std::shared_ptr<CommandBar> Bar() override;

 private:
  std::shared_ptr<MemoryBar> bar_;
};

class MemoryBar final : public CommandBar {
 public:
  MemoryBar(MemoryOffice& office, std::string name) : office_(office), name_(std::move(name)) {}

  std::string Name() const override { return name_; }
  std::shared_ptr<CommandBarControl> Find(const ControlQuery& query) override {
    for (const auto& control : controls_) {
      const auto& state = dynamic_cast<const MemoryControlState&>(*control);
      if (state.deleted) continue;
      if ((!query.type || *query.type == state.type) && (!query.id || *query.id == state.id) &&
          (query.tag.empty() || query.tag == state.tag)) {
        return control;
      }
      auto* popup = dynamic_cast<CommandBarPopup*>(control.get());
      if (!query.recursive || popup == nullptr) continue;
      if (auto found = popup->Bar()->Find(query)) return found;
    }
    return nullptr;
  }
  Result<std::shared_ptr<CommandBarControl>> Add(ControlType type) override {
    switch (type) {
      case ControlType::kPopup:
        return Keep<MemoryPopup>(type);
      case ControlType::kComboBox:
      case ControlType::kDropDown:
        return Keep<MemoryComboBox>(type);
      default:
        return Keep<MemoryButton>(type);
    }
  }
  std::shared_ptr<CommandBarControl> FindByCaption(std::string_view caption) override {
    const auto plain = [](std::string_view text) {
      std::string letters;
      for (const char c : text) {
        if (c != '&') letters += static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
      }
      return letters;
    };
    for (const auto& control : controls_) {
      const auto& state = dynamic_cast<const MemoryControlState&>(*control);
      if (!state.deleted && plain(state.caption) == plain(caption)) return control;
    }
    return nullptr;
  }
  Status SetVisible(bool value) override {
    visible = value;
    return {};
  }
  bool visible = true;
  // All that were ever added.
  const std::vector<std::shared_ptr<CommandBarControl>>& controls() const { return controls_; }

 private:
  template <class T>
  std::shared_ptr<CommandBarControl> Keep(ControlType type) {
    auto control = std::make_shared<T>(office_);
    control->type = type;
    office_.Add(control);
    controls_.push_back(control);
    return control;
  }

  MemoryOffice& office_;
  std::string name_;
  std::vector<std::shared_ptr<CommandBarControl>> controls_;
};

MemoryPopup::MemoryPopup(MemoryOffice& office)
    : MemoryControlOf(office), bar_(std::make_shared<MemoryBar>(office, "")) {}
std::shared_ptr<CommandBar> MemoryPopup::Bar() { return bar_; }

// A window's, with the bars that a test has made.
class MemoryCommandBars final : public CommandBars {
 public:
  explicit MemoryCommandBars(MemoryOffice& office) : office_(office) {}
  std::shared_ptr<MemoryBar> AddBar(const std::string& name) {
    return bars_[name] = std::make_shared<MemoryBar>(office_, name);
  }
  std::shared_ptr<CommandBar> Item(std::string_view name) override {
    const auto found = bars_.find(std::string(name));
    return found == bars_.end() ? nullptr : found->second;
  }

 private:
  MemoryOffice& office_;
  std::map<std::string, std::shared_ptr<MemoryBar>> bars_;
};

}  // namespace vespro
