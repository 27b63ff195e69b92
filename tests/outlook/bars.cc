#include "outlook/bars.h"

#include <algorithm>

#include "base/text.h"
#include "base/win32/wide.h"
#include "forms/control.h"

namespace vespro::standin {
namespace {

constexpr IID Office2000(unsigned long number) {
  return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}
constexpr IID kButtonEvents = Office2000(0x000C0351);
constexpr IID kComboBoxEvents = Office2000(0x000C0354);
constexpr DISPID kUsed = 1;  // Click and Change
constexpr HRESULT kBadArgument = E_INVALIDARG;

// All numbers of the controls' members; each kind counts its own from another beginning.
constexpr DISPID kControl = 0x60040000;
constexpr DISPID kOwn = 0x60050000;

bool IsBox(int type) { return type == kComboBox || type == kDropDown || type == kEdit; }

// What FindControl looks for; the arguments are (Type, Id, Tag, Visible).
std::function<bool(const Control&)> Query(const Call& call) {
  const int type = call.IntAt(0, 0);
  const int id = call.IntAt(1, 0);
  const bool by_tag = call.Has(2);
  return [=, tag = call.TextAt(2), visible_only = call.BoolAt(3, false)](const Control& control) {
    return (type == 0 || type == control.type) && (id == 0 || id == control.id) &&
           (!by_tag || tag == control.tag) && (!visible_only || control.visible);
  };
}

const std::vector<Takes> kQuery = {Takes::kInt, Takes::kInt, Takes::kText, Takes::kBool};
const std::vector<Takes> kQueryBelow = {Takes::kInt, Takes::kInt, Takes::kText, Takes::kBool,
                                        Takes::kBool};

// A copy of the picture that lies on the clipboard, if there is one.
Owned<HBITMAP> PictureFromClipboard() {
  Owned<HBITMAP> copy;
  if (!OpenClipboard(nullptr)) return copy;
  if (const HANDLE picture = GetClipboardData(CF_BITMAP)) {
    copy.Reset(static_cast<HBITMAP>(CopyImage(picture, IMAGE_BITMAP, 0, 0, 0)));
  }
  CloseClipboard();
  return copy;
}

}  // namespace

std::string PlainCaption(std::string_view caption) { return ModCaption::Plain(caption); }

bool AreAlike(std::string_view one, std::string_view other) {
  const auto plain = [](std::string_view text) {
    std::wstring wide = ModWide::FromUtf8(PlainCaption(text));
    CharLowerBuffW(wide.data(), static_cast<DWORD>(wide.size()));
    return wide;
  };
  return plain(one) == plain(other);
}

// Handlers add controls, delete some, and close windows.
void Office::Raise(Control& used) {
  const std::vector<Control*> all = controls_;
  const bool is_box = IsBox(used.type);
  for (Control* control : all) {
    const bool is_meant = control == &used || (!used.tag.empty() && control->tag == used.tag);
    if (!is_meant || control->ended() || IsBox(control->type) != is_box) continue;
    if (is_box) {
      control->Raise(kComboBoxEvents, kUsed, &used);
    } else {
      control->RaiseCancellable(kButtonEvents, kUsed, &used);
    }
  }
}

// Controls ---------------------------------------------------------------------------------------

const Kind& Control::KindOf(int type) {
  static const std::vector<Member> common = {
      {L"BeginGroup", kControl, kGetPut, On<&Control::begin_group>},
      {L"BuiltIn", kControl + 0x02, kGet, On<&Control::built_in>},
      {L"Caption", kControl + 0x03, kGetPut, On<&Control::Caption>},
      {L"Delete", kControl + 0x07, kMethod, On<&Control::Delete>, {Takes::kBool}, 1},
      {L"DescriptionText", kControl + 0x08, kGetPut, On<&Control::description>},
      {L"Enabled", kControl + 0x0A, kGetPut, On<&Control::enabled>},
      {L"Execute", kControl + 0x0C, kMethod, On<&Control::Execute>},
      {L"Id", kControl + 0x13, kGet, On<&Control::id>},
      {L"Index", kControl + 0x14, kGet, On<&Control::Index>},
      {L"InstanceId", kControl + 0x15, kGet, On<&Control::InstanceId>},
      {L"OnAction", kControl + 0x1A, kGetPut, On<&Control::on_action>},
      {L"Parent", kControl + 0x1C, kGet, On<&Control::Parent>},
      {L"Parameter", kControl + 0x1D, kGetPut, On<&Control::parameter>},
      {L"Tag", kControl + 0x23, kGetPut, On<&Control::tag>},
      {L"TooltipText", kControl + 0x25, kGetPut, On<&Control::Tooltip>},
      {L"Type", kControl + 0x28, kGet, On<&Control::type>},
      {L"Visible", kControl + 0x29, kGetPut, On<&Control::visible>},
      {L"Width", kControl + 0x2B, kGetPut, On<&Control::width>},
  };
  static const Kind button{"CommandBarButton",
                           Joined(common,
                                  {
                                      {L"FaceId", kOwn + 0x03, kGetPut, On<&Control::face_id>},
                                      {L"PasteFace", kOwn + 0x05, kMethod, On<&Control::PasteFace>},
                                      {L"State", kOwn + 0x08, kGetPut, On<&Control::state>},
                                      {L"Style", kOwn + 0x0A, kGetPut, On<&Control::style>},
                                  }),
                           {kButtonEvents}};
  static const Kind popup{"CommandBarPopup",
                          Joined(common,
                                 {
                                     {L"CommandBar", kOwn, kGet, On<&Control::PopupBar>},
                                     {L"Controls", kOwn + 0x01, kGet, On<&Control::PopupControls>},
                                 }),
                          {}};
  static const Kind box{
      "CommandBarComboBox",
      Joined(common,
             {
                 {L"AddItem", kOwn, kMethod, On<&Control::AddItem>, {Takes::kText, Takes::kInt}, 1},
                 {L"Clear", kOwn + 0x01, kMethod, On<&Control::Clear>},
                 {L"DropDownLines", kOwn + 0x02, kGetPut, On<&Control::drop_down_lines>},
                 {L"List", kOwn + 0x06, kGetPut, On<&Control::List>, {Takes::kInt}},
                 {L"ListCount", kOwn + 0x08, kGet, On<&Control::ListCount>},
                 {L"ListIndex", kOwn + 0x0B, kGetPut, On<&Control::ListIndex>},
                 {L"RemoveItem", kOwn + 0x0D, kMethod, On<&Control::RemoveItem>, {Takes::kInt}},
                 {L"Style", kOwn + 0x0E, kGetPut, On<&Control::style>},
                 {L"Text", kOwn + 0x10, kGetPut, On<&Control::text>},
             }),
      {kComboBoxEvents}};
  if (type == kPopup) return popup;
  return IsBox(type) ? box : button;
}

Control::Control(Ledger& ledger, Office& office, Bar& parent, int control_type, int control_id)
    : Object(ledger, KindOf(control_type)),
      type(control_type),
      id(control_id),
      built_in(control_id != kCustomId),
      office_(office),
      parent_(parent) {
  if (type == kPopup) bar = &ledger.Make<Bar>(office, parent.parent(), "");
  office.Add(*this);
}

std::string Control::PlainCaption() const { return standin::PlainCaption(caption); }

bool Control::Click() {
  if (!IsUsable()) return false;
  if (built_in) return parent_.parent().RunBuiltIn(*this);
  ledger().Happened("Click " + PlainCaption());
  office_.Raise(*this);
  return true;
}

bool Control::Choose(int entry) {
  if (!IsUsable() || entry < 1 || static_cast<std::size_t>(entry) > items.size()) return false;
  list_index = entry;
  text = items[static_cast<std::size_t>(entry) - 1];
  ledger().Happened("Choose " + text);
  office_.Raise(*this);
  return true;
}

void Control::Take(Bars&) {
  if (bar != nullptr) bar->Take();
  face.Reset();
  End();
}

HRESULT Control::Caption(Call& call) {
  if (!call.puts()) return call.Return(caption);
  const HRESULT taken = call.Take(caption);
  if (parent_.parent().on_change) parent_.parent().on_change();
  return taken;
}

HRESULT Control::Tooltip(Call& call) {
  if (call.puts()) return call.Take(tooltip);
  return call.Return(tooltip.empty() ? caption : tooltip);
}

HRESULT Control::Parent(Call& call) { return call.Return(&parent_); }

HRESULT Control::InstanceId(Call& call) {
  return call.Return(static_cast<int>(reinterpret_cast<UINT_PTR>(this) >> 4));
}

HRESULT Control::Index(Call& call) {
  const auto found = std::find(parent_.list.begin(), parent_.list.end(), this);
  return call.Return(static_cast<int>(found - parent_.list.begin()) + 1);
}

HRESULT Control::Delete(Call&) {
  parent_.Remove(*this);
  Take(parent_.parent());
  if (parent_.parent().on_change) parent_.parent().on_change();
  return S_OK;
}

HRESULT Control::Execute(Call& call) {
  if (!enabled) return call.Fail(E_FAIL, "The control is disabled.");
  if (built_in) {
    return parent_.parent().RunBuiltIn(*this) ? S_OK : call.Fail(E_FAIL, "The command failed.");
  }
  office_.Raise(*this);
  return S_OK;
}

HRESULT Control::PasteFace(Call& call) {
  Owned<HBITMAP> picture = PictureFromClipboard();
  BITMAP info{};
  if (!picture || GetObjectW(picture.get(), sizeof(info), &info) == 0) {
    return call.Fail(E_FAIL, "There is no picture on the clipboard.");
  }
  face = std::move(picture);
  face_looks = std::to_string(info.bmWidth) + "x" + std::to_string(info.bmHeight);
  return S_OK;
}

HRESULT Control::PopupBar(Call& call) { return call.Return(bar); }

HRESULT Control::PopupControls(Call& call) { return call.Return(&bar->controls()); }

HRESULT Control::AddItem(Call& call) {
  if (built_in) return call.Fail(E_FAIL, "A built-in list can't be changed.");
  const int before = call.IntAt(1, static_cast<int>(items.size()) + 1);
  if (before < 1 || static_cast<std::size_t>(before) > items.size() + 1) {
    return call.Fail(kBadArgument, "There is no such entry.");
  }
  items.insert(items.begin() + before - 1, call.TextAt(0));
  return S_OK;
}

HRESULT Control::Clear(Call& call) {
  if (built_in) return call.Fail(E_FAIL, "A built-in list can't be changed.");
  items.clear();
  list_index = 0;
  return S_OK;
}

HRESULT Control::RemoveItem(Call& call) {
  const int entry = call.IntAt(0, 0);
  if (entry < 1 || static_cast<std::size_t>(entry) > items.size()) {
    return call.Fail(kBadArgument, "There is no such entry.");
  }
  items.erase(items.begin() + entry - 1);
  return S_OK;
}

HRESULT Control::List(Call& call) {
  const int entry = call.IntAt(0, 0);
  if (entry < 1 || static_cast<std::size_t>(entry) > items.size()) {
    return call.Fail(kBadArgument, "There is no such entry.");
  }
  std::string& item = items[static_cast<std::size_t>(entry) - 1];
  return call.puts() ? call.Take(item) : call.Return(item);
}

HRESULT Control::ListCount(Call& call) { return call.Return(static_cast<int>(items.size())); }

HRESULT Control::ListIndex(Call& call) {
  if (!call.puts()) return call.Return(list_index);
  int entry = 0;
  const HRESULT taken = call.Take(entry);
  if (FAILED(taken)) return taken;
  if (entry < 0 || static_cast<std::size_t>(entry) > items.size()) {
    return call.Fail(kBadArgument, "There is no such entry.");
  }
  list_index = entry;
  if (entry == 0) {
    text.clear();
    return S_OK;
  }
  // As the person's choice.
  text = items[static_cast<std::size_t>(entry) - 1];
  office_.Raise(*this);
  return S_OK;
}

Controls::Controls(Ledger& ledger, Bar& bar) : Object(ledger, KindOf()), bar_(bar) {}

const Kind& Controls::KindOf() {
  static const Kind kind{
      "CommandBarControls",
      {
          {L"Item", DISPID_VALUE, kGet, On<&Controls::Item>, {Takes::kVariant}},
          {L"Add",
           0x60030000,
           kMethod,
           On<&Controls::Add>,
           {Takes::kInt, Takes::kInt, Takes::kVariant, Takes::kInt, Takes::kBool},
           5},
          {L"Count", 0x60030001, kGet, On<&Controls::Count>},
          {L"Parent", 0x60030004, kGet, On<&Controls::Parent>},
      },
      {}};
  return kind;
}

HRESULT Controls::Item(Call& call) {
  if (call.At(0).type() == VT_BSTR) {
    const std::string caption = call.TextAt(0);
    for (Control* control : bar_.list) {
      if (AreAlike(control->caption, caption)) return call.Return(control);
    }
  } else {
    const int index = call.IntAt(0, 0);
    if (index >= 1 && static_cast<std::size_t>(index) <= bar_.list.size()) {
      return call.Return(bar_.list[static_cast<std::size_t>(index) - 1]);
    }
  }
  return call.Fail(kBadArgument, "There is no such control.");
}

HRESULT Controls::Add(Call& call) {
  const int type = call.IntAt(0, kButton);
  const bool is_known = type == kPopup || (type >= kButton && type <= kComboBox);
  if (!is_known) return call.Fail(kBadArgument, "Controls of this type can't be added.");
  const int before = call.IntAt(3, 0);
  if (before < 0 || static_cast<std::size_t>(before) > bar_.list.size()) {
    return call.Fail(kBadArgument, "There is no control to put it before.");
  }
  if (!call.BoolAt(4, false)) ledger().Happened("a control that is not temporary was added");
  return call.Return(&bar_.Add(type, call.IntAt(1, kCustomId), {}, before));
}

HRESULT Controls::Count(Call& call) { return call.Return(static_cast<int>(bar_.list.size())); }

HRESULT Controls::Parent(Call& call) { return call.Return(&bar_); }

// Bars -------------------------------------------------------------------------------------------

Bar::Bar(Ledger& ledger, Office& office, Bars& parent, std::string_view name)
    : Object(ledger, KindOf()),
      bar_name(name),
      office_(office),
      parent_(parent),
      controls_(ledger.Make<Controls>(*this)) {}

const Kind& Bar::KindOf() {
  static const Kind kind{
      "CommandBar",
      {
          {L"Controls", 0x60040003, kGet, On<&Bar::ControlsOf>},
          {L"Enabled", 0x60040005, kGetPut, On<&Bar::enabled>},
          {L"FindControl", 0x60040007, kMethod, On<&Bar::FindControl>, kQueryBelow, 5},
          {L"Name", 0x6004000E, kGetPut, On<&Bar::bar_name>},
          {L"Parent", 0x60040012, kGet, On<&Bar::Parent>},
          {L"Type", 0x6004001D, kGet, On<&Bar::Type>},
          {L"Visible", 0x6004001E, kGetPut, On<&Bar::visible>},
      },
      {}};
  return kind;
}

Control& Bar::Add(int type, int id, std::string_view caption, int before) {
  Control& control = ledger().Make<Control>(office_, *this, type, id);
  control.caption = caption;
  list.insert(before == 0 ? list.end() : list.begin() + before - 1, &control);
  if (parent_.on_change) parent_.on_change();
  return control;
}

Control* Bar::Find(const std::function<bool(const Control&)>& fits, bool recursive) const {
  for (Control* control : list) {
    if (fits(*control)) return control;
    if (!recursive || control->bar == nullptr) continue;
    if (Control* inner = control->bar->Find(fits, true)) return inner;
  }
  return nullptr;
}

void Bar::Take() {
  for (Control* control : list) control->Take(parent_);
  controls_.End();
  End();
}

HRESULT Bar::ControlsOf(Call& call) { return call.Return(&controls_); }

HRESULT Bar::FindControl(Call& call) {
  return call.Return(Find(Query(call), call.BoolAt(4, false)));
}

HRESULT Bar::Parent(Call& call) { return call.Return(&parent_); }

HRESULT Bar::Type(Call& call) { return call.Return(bar_name == "Menu Bar" ? 1 : 0); }

Bars::Bars(Ledger& ledger, Office& office, std::function<bool(Control&)> built_in,
           std::function<bool(std::string_view)> by_name)
    : Object(ledger, KindOf(by_name != nullptr)),
      office_(office),
      built_in_(std::move(built_in)),
      by_name_(std::move(by_name)) {}

const Kind& Bars::KindOf(bool has_ribbons) {
  static const Kind kind{
      "CommandBars",
      {
          {L"Item", DISPID_VALUE, kGet, On<&Bars::Item>, {Takes::kVariant}},
          {L"ActiveMenuBar", 0x60030001, kGet, On<&Bars::ActiveMenuBar>},
          {L"Add",
           0x60030002,
           kMethod,
           On<&Bars::AddBar>,
           {Takes::kText, Takes::kInt, Takes::kBool, Takes::kBool},
           4},
          {L"Count", 0x60030003, kGet, On<&Bars::Count>},
          {L"FindControl", 0x60030008, kMethod, On<&Bars::FindControl>, kQuery, 4},
      },
      {}};
  static const Kind with_ribbons{
      "CommandBars",
      Joined(kind.members,
             {{L"ExecuteMso", 0x60030014, kMethod, On<&Bars::ExecuteMso>, {Takes::kText}}}),
      {}};
  return has_ribbons ? with_ribbons : kind;
}

Bar& Bars::Add(std::string_view name) {
  list.push_back(&ledger().Make<Bar>(office_, *this, name));
  return *list.back();
}

Bar* Bars::Find(std::string_view name) const {
  for (Bar* bar : list) {
    if (AreAlike(bar->bar_name, name)) return bar;
  }
  return nullptr;
}

void Bars::Take() {
  for (Bar* bar : list) bar->Take();
  End();
}

HRESULT Bars::Item(Call& call) {
  Bar* bar = nullptr;
  if (call.At(0).type() == VT_BSTR) {
    bar = Find(call.TextAt(0));
  } else {
    const int index = call.IntAt(0, 0);
    if (index >= 1 && static_cast<std::size_t>(index) <= list.size()) {
      bar = list[static_cast<std::size_t>(index) - 1];
    }
  }
  return bar == nullptr ? call.Fail(kBadArgument, "There is no such bar.") : call.Return(bar);
}

HRESULT Bars::ExecuteMso(Call& call) {
  return by_name_(call.TextAt(0)) ? S_OK : call.Fail(kBadArgument, "There is no such command.");
}

HRESULT Bars::AddBar(Call& call) { return call.Return(&Add(call.TextAt(0))); }

HRESULT Bars::ActiveMenuBar(Call& call) { return call.Return(Find("Menu Bar")); }

HRESULT Bars::Count(Call& call) { return call.Return(static_cast<int>(list.size())); }

HRESULT Bars::FindControl(Call& call) {
  const auto fits = Query(call);
  for (Bar* bar : list) {
    if (Control* control = bar->Find(fits, true)) return call.Return(control);
  }
  return call.Return(nullptr);
}

}  // namespace vespro::standin
