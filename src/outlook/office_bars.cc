#include "outlook/office_bars.h"

#include <functional>
#include <utility>

#include "base/text.h"
#include "outlook/event_sink.h"
#include "outlook/outlook_events.h"

namespace vespro {
namespace {

template <class T>
T ValueOr(Result<T> result, T otherwise) {
  return result.ok() ? std::move(result).value() : std::move(otherwise);
}

// What every kind of control has.
template <class Interface>
class OfficeControl : public Interface {
 public:
  OfficeControl(HostObject control, ControlType type) : control_(std::move(control)), type_(type) {}

  ControlType Type() const override { return type_; }
  int Id() const override { return ValueOr(object().Int(L"Id"), 0); }
  std::string Caption() const override { return ValueOr(object().Text(L"Caption"), {}); }
  std::string Tag() const override { return ValueOr(object().Text(L"Tag"), {}); }
  bool Enabled() const override { return ValueOr(object().Bool(L"Enabled"), false); }
  bool Visible() const override { return ValueOr(object().Bool(L"Visible"), false); }

  Status SetCaption(std::string_view text) override { return object().Put(L"Caption", text); }
  Status SetTag(std::string_view text) override { return object().Put(L"Tag", text); }
  Status SetOnAction(std::string_view text) override { return object().Put(L"OnAction", text); }
  Status SetTooltipText(std::string_view text) override {
    return object().Put(L"TooltipText", text);
  }
  Status SetBeginGroup(bool begins) override { return object().Put(L"BeginGroup", begins); }
  Status SetEnabled(bool enabled) override { return object().Put(L"Enabled", enabled); }
  Status SetVisible(bool visible) override { return object().Put(L"Visible", visible); }
  Status Execute() override { return object().Do(L"Execute"); }
  Status Delete() override { return object().Do(L"Delete"); }

 protected:
  const Dispatch& object() const { return control_.object; }
  const HostObject& host() const { return control_; }

 private:
  HostObject control_;
  ControlType type_;
};

// The one event of a button or a box, told to one handler.
class ControlEvent final : public EventReceiver {
 public:
  ControlEvent(REFIID events, const HostObject& control) : events_(events), control_(control) {}

  // A control that can't be heard is one that nothing happens to.
  void Set(std::function<void()> handler) {
    const bool listens = static_cast<bool>(handler);
    handler_ = std::move(handler);
    if (!listens) {
      connection_.Disconnect();
    } else if (!connection_.connected()) {
      connection_.Connect(control_.object.get(), events_, *this, *control_.context).Ignore();
    }
  }

 private:
  void OnEvent(DISPID id, const DISPPARAMS&) override {
    if (id != event_id::kClickOrChange) return;
    if (const auto handler = handler_) handler();
  }

  const IID& events_;
  HostObject control_;
  std::function<void()> handler_;
  EventConnection connection_;
};

class OfficeButton final : public OfficeControl<CommandBarButton> {
 public:
  explicit OfficeButton(HostObject control)
      : OfficeControl(std::move(control), ControlType::kButton), click_(kButtonEvents, host()) {}

  Status SetStyle(ButtonStyle style) override {
    return object().Put(L"Style", static_cast<std::int32_t>(style));
  }
  Status PasteFace() override { return object().Do(L"PasteFace"); }
  void OnClick(std::function<void()> handler) override { click_.Set(std::move(handler)); }

 private:
  ControlEvent click_;
};

class OfficeComboBox final : public OfficeControl<CommandBarComboBox> {
 public:
  OfficeComboBox(HostObject control, ControlType type)
      : OfficeControl(std::move(control), type), change_(kComboBoxEvents, host()) {}

  Status Clear() override { return object().Do(L"Clear"); }
  Status AddItem(std::string_view text) override { return object().Do(L"AddItem", {text}); }
  std::string Text() const override { return ValueOr(object().Text(L"Text"), {}); }
  Status SetText(std::string_view text) override { return object().Put(L"Text", text); }
  void OnChange(std::function<void()> handler) override { change_.Set(std::move(handler)); }

 private:
  ControlEvent change_;
};

// A bar that `owner` gives; nullptr where there is none. By value: the call may end who holds it.
std::shared_ptr<CommandBar> BarOf(HostObject owner, const wchar_t* name,
                                  Dispatch::Arguments arguments = {}) {
  Result<Dispatch> bar = owner.object.Object(name, ObjectKind::kCommandBar, arguments);
  if (!bar.ok()) return nullptr;
  return std::make_shared<OfficeBar>(owner.With(std::move(bar).value()));
}

class OfficePopup final : public OfficeControl<CommandBarPopup> {
 public:
  explicit OfficePopup(HostObject control)
      : OfficeControl(std::move(control), ControlType::kPopup) {}

  std::shared_ptr<CommandBar> Bar() override { return BarOf(host(), L"CommandBar"); }
};

using AnyControl = OfficeControl<CommandBarControl>;

// What every control has is asked for by the numbers that all kinds share; the rest by its own
// kind's.
std::shared_ptr<CommandBarControl> Wrap(const HostObject& parent, const Dispatch& control,
                                        ControlType type) {
  const auto as = [&](ObjectKind kind) {
    return parent.With(control.Other(ComPtr<IDispatch>(control.get()), kind));
  };
  switch (type) {
    case ControlType::kButton:
      return std::make_shared<OfficeButton>(as(ObjectKind::kButton));
    case ControlType::kEdit:
    case ControlType::kDropDown:
    case ControlType::kComboBox:
      return std::make_shared<OfficeComboBox>(as(ObjectKind::kComboBox), type);
    case ControlType::kPopup:
      return std::make_shared<OfficePopup>(as(ObjectKind::kPopup));
  }
  return std::make_shared<AnyControl>(as(ObjectKind::kControl), type);
}

std::shared_ptr<CommandBarControl> WrapFound(const HostObject& parent, const Dispatch& control) {
  const Result<std::int32_t> type = control.Int(L"Type");
  if (!type.ok()) return nullptr;
  return Wrap(parent, control, static_cast<ControlType>(type.value()));
}

// A caption as people see it.
std::string Plain(std::string_view caption) {
  return ModText::LowerAscii(ModText::ReplaceAll(caption, "&", ""));
}

template <class T>
Variant OrMissing(const std::optional<T>& value) {
  return value ? Variant(static_cast<std::int32_t>(*value)) : Variant::Missing();
}

}  // namespace

std::string OfficeBar::Name() const { return ValueOr(bar_.object.Text(L"Name"), {}); }

std::shared_ptr<CommandBarControl> OfficeBar::Find(const ControlQuery& query) {
  const HostObject bar = bar_;
  Result<Dispatch> found =
      bar.object.Object(L"FindControl", ObjectKind::kControl,
                        {OrMissing(query.type), OrMissing(query.id),
                         query.tag.empty() ? Variant::Missing() : Variant(query.tag),
                         Variant::Missing(), query.recursive ? Variant(true) : Variant::Missing()});
  return found.ok() ? WrapFound(bar, found.value()) : nullptr;
}

Result<std::shared_ptr<CommandBarControl>> OfficeBar::Add(ControlType type) {
  const HostObject bar = bar_;
  Result<Dispatch> controls = bar.object.Object(L"Controls", ObjectKind::kControls);
  if (!controls.ok()) return controls.status();
  Result<Dispatch> added = controls->Object(L"Add", ObjectKind::kControl,
                                            {static_cast<std::int32_t>(type), Variant::Missing(),
                                             Variant::Missing(), Variant::Missing(), true});
  if (!added.ok()) return added.status();
  return Wrap(bar, added.value(), type);
}

// One after the other, since versions of Office differ in what they take for a caption's sameness.
std::shared_ptr<CommandBarControl> OfficeBar::FindByCaption(std::string_view caption) {
  const HostObject bar = bar_;
  Result<Dispatch> controls = bar.object.Object(L"Controls", ObjectKind::kControls);
  if (!controls.ok()) return nullptr;
  const std::string wanted = Plain(caption);
  const std::int32_t count = ValueOr(controls->Int(L"Count"), 0);
  for (std::int32_t i = 1; i <= count; ++i) {
    Result<Dispatch> control = controls->Object(L"Item", ObjectKind::kControl, {i});
    if (!control.ok()) continue;
    const Result<std::string> its = control->Text(L"Caption");
    if (its.ok() && Plain(its.value()) == wanted) return WrapFound(bar, control.value());
  }
  return nullptr;
}

Status OfficeBar::SetVisible(bool visible) { return bar_.object.Put(L"Visible", visible); }

std::shared_ptr<CommandBar> OfficeBars::Item(std::string_view name) {
  return BarOf(bars_, L"Item", {name});
}

std::shared_ptr<CommandBar> OfficeBars::ActiveMenuBar() { return BarOf(bars_, L"ActiveMenuBar"); }

Status OfficeBars::ExecuteByName(std::string_view name) {
  const HostObject bars = bars_;
  return bars.object.Do(L"ExecuteMso", {name});
}

std::shared_ptr<OfficeBars> BarsOf(HostObject window) {
  Result<Dispatch> bars = window.object.Object(L"CommandBars", ObjectKind::kCommandBars);
  if (!bars.ok()) return nullptr;
  return std::make_shared<OfficeBars>(window.With(std::move(bars).value()));
}

}  // namespace vespro
