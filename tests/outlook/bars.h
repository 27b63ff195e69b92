// outlook/bars.h - Office's menus and toolbars. A click reaches the sinks of all controls with the
// same tag, in all windows; controls that were deleted, or whose window is gone, refuse calls.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "outlook/automation.h"
#include "win32/owned.h"

namespace vespro::standin {

class Bar;
class Bars;
class Control;

// MsoControlType, as far as Controls.Add takes them.
enum ControlType { kButton = 1, kEdit = 2, kDropDown = 3, kComboBox = 4, kPopup = 10 };

// Built-in controls.
inline constexpr int kCustomId = 1;
inline constexpr int kPasteId = 22;
inline constexpr int kAddressId = 1740;
inline constexpr int kEditMenuId = 30003;

// What all windows' bars share.
class Office {
 public:
  void Add(Control& control) { controls_.push_back(&control); }
  // As a person's click on a button, or choice in a box.
  void Raise(Control& used);

 private:
  std::vector<Control*> controls_;
};

// A button, box or popup; the kind says which members it has.
class Control final : public Object {
 public:
  Control(Ledger& ledger, Office& office, Bar& parent, int type, int id);

  // What a person does. False when nobody could: it is hidden or can't be used.
  bool Click();
  // An entry from 1.
  bool Choose(int entry);
  bool IsUsable() const { return !ended() && enabled && visible; }
  // As it is drawn: without the "&" of the access key.
  std::string PlainCaption() const;
  void Take(Bars& bars);  // it and what it opens go with their window

  int type;
  int id;
  bool built_in;
  std::string caption, tag, on_action, tooltip, parameter, description, text;
  std::vector<std::string> items;
  bool begin_group = false, enabled = true, visible = true;
  int style = 0, state = 0, face_id = 0, width = 0, list_index = 0, drop_down_lines = 0;
  Bar* bar = nullptr;      // what a popup opens
  Owned<HBITMAP> face;     // what was pasted
  std::string face_looks;  // such as "16x16"

 private:
  static const Kind& KindOf(int type);

  HRESULT Caption(Call& call);
  HRESULT Tooltip(Call& call);
  HRESULT Parent(Call& call);
  HRESULT InstanceId(Call& call);
  HRESULT Index(Call& call);
  HRESULT Delete(Call& call);
  HRESULT Execute(Call& call);
  HRESULT PasteFace(Call& call);
  HRESULT PopupBar(Call& call);
  HRESULT PopupControls(Call& call);
  HRESULT AddItem(Call& call);
  HRESULT Clear(Call& call);
  HRESULT RemoveItem(Call& call);
  HRESULT List(Call& call);
  HRESULT ListCount(Call& call);
  HRESULT ListIndex(Call& call);

  Office& office_;
  Bar& parent_;
};

// The controls of a bar, as an object of their own.
class Controls final : public Object {
 public:
  Controls(Ledger& ledger, Bar& bar);

 private:
  static const Kind& KindOf();
  HRESULT Item(Call& call);
  HRESULT Add(Call& call);
  HRESULT Count(Call& call);
  HRESULT Parent(Call& call);

  Bar& bar_;
};

class Bar final : public Object {
 public:
  Bar(Ledger& ledger, Office& office, Bars& parent, std::string_view name);

  // At the end, or in front of one (from 1).
  Control& Add(int type, int id, std::string_view caption = {}, int before = 0);
  void Remove(Control& control) { std::erase(list, &control); }
  Control* Find(const std::function<bool(const Control&)>& fits, bool recursive) const;
  Controls& controls() const { return controls_; }
  Bars& parent() const { return parent_; }
  void Take();  // goes with its window

  std::string bar_name;
  bool enabled = true, visible = true;
  std::vector<Control*> list;

 private:
  friend class Bars;
  static const Kind& KindOf();
  HRESULT ControlsOf(Call& call);
  HRESULT FindControl(Call& call);
  HRESULT Parent(Call& call);
  HRESULT Type(Call& call);

  Office& office_;
  Bars& parent_;
  Controls& controls_;
};

// All bars of one window.
class Bars final : public Object {
 public:
  // `built_in` does what the command of that control does; false: it can't. `by_name` does the
  // ribbon's command of that name; nullptr: this version has no ribbons.
  Bars(Ledger& ledger, Office& office, std::function<bool(Control&)> built_in,
       std::function<bool(std::string_view)> by_name);

  Bar& Add(std::string_view name);
  // By the English name, without regard to case; nullptr when there is none.
  Bar* Find(std::string_view name) const;
  bool RunBuiltIn(Control& control) { return built_in_(control); }
  void Take();  // goes with its window
  // What is to be drawn anew, if anything.
  std::function<void()> on_change;

  std::vector<Bar*> list;

 private:
  static const Kind& KindOf(bool has_ribbons);
  HRESULT Item(Call& call);
  HRESULT ExecuteMso(Call& call);
  HRESULT AddBar(Call& call);
  HRESULT ActiveMenuBar(Call& call);
  HRESULT Count(Call& call);
  HRESULT FindControl(Call& call);

  Office& office_;
  std::function<bool(Control&)> built_in_;
  std::function<bool(std::string_view)> by_name_;
};

// Captions are alike without regard to "&" and case.
std::string PlainCaption(std::string_view caption);
bool AreAlike(std::string_view one, std::string_view other);

}  // namespace vespro::standin
