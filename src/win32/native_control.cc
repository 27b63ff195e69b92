#include "win32/native_control.h"

#include "base/win32/wide.h"
#include "win32/guard.h"
#include "win32/visual_styles.h"

namespace vespro {
namespace {

constexpr COLORREF kSilver = RGB(192, 192, 192);

// What shows the form, or the page it lies on, around its own letters.
bool IsSeenThrough(const Control& control) {
  switch (control.kind()) {
    case ControlKind::kLabel:
    case ControlKind::kOptionButton:
    case ControlKind::kCheckBox:
    case ControlKind::kFrame:
    case ControlKind::kImage:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::unique_ptr<NativeControl> NativeControl::Make(NativeHost& host, Control& control) {
  switch (control.kind()) {
    case ControlKind::kComboBox:
    case ControlKind::kListBox:
    case ControlKind::kListView:
    case ControlKind::kTabStrip:
      return MakeList(host, control);
    default:
      return MakeSimple(host, control);
  }
}

NativeControl::~NativeControl() { Detach(); }

void NativeControl::MakeWindow(const wchar_t* class_name, DWORD style, DWORD extended_style) {
  // As in the system's dialogs nobody clips anybody: frames lie over what is in them.
  const DWORD disabled = control_.IsEnabled() ? 0 : WS_DISABLED;
  window_ = CreateWindowExW(extended_style, class_name, L"", style | WS_CHILD | disabled, 0, 0, 0,
                            0, host_.window(), nullptr, OurModule(), nullptr);
  if (window_ == nullptr) return;
  // Not SetWindowSubclass, which looks for its own in a list by name, twice for each message.
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  native_ = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrW(window_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Procedure)));
  UseFonts();
}

std::string NativeControl::Text() const {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window_)) + 1, L'\0');
  const int size = GetWindowTextW(window_, text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(size));
  return ModWide::ToUtf8(text);
}

void NativeControl::SetText(std::string_view text) {
  SetWindowTextW(window_, ModWide::FromUtf8(text).c_str());
}

void NativeControl::Update(Change change, std::size_t) {
  switch (change) {
    case Change::kCaption:
      SetText(control_.caption());
      break;
    case Change::kEnabled:
      EnableWindow(window_, control_.IsEnabled());
      break;
    case Change::kBackground:
      InvalidateRect(window_, nullptr, TRUE);
      break;
    default:
      break;
  }
}

void NativeControl::UseFonts() {
  Send(WM_SETFONT, reinterpret_cast<WPARAM>(host_.fonts().Of(control_)), FALSE);
}

void NativeControl::Place(const Rectangle& where) { host_.MoveTo(window_, where); }

HBRUSH NativeControl::Color(HDC dc) {
  switch (control_.background()) {
    case Background::kDefault:
      return IsSeenThrough(control_) ? host_.Behind(*this, dc) : nullptr;
    case Background::kWindow:
      SetBkColor(dc, GetSysColor(COLOR_WINDOW));
      return GetSysColorBrush(COLOR_WINDOW);
    case Background::kSilver:
      break;
  }
  if (!silver_) silver_.Reset(CreateSolidBrush(kSilver));
  SetBkColor(dc, kSilver);
  return silver_.get();
}

LRESULT NativeControl::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  if (host_.TakesKey(this, message, wparam)) return 0;
  if (message >= WM_MOUSEFIRST && message <= WM_MOUSELAST) {
    host_.OnMouse({window_, message, wparam, lparam, 0, {}});
  }
  const LRESULT result = Native(message, wparam, lparam);
  const bool may_have_moved =
      message == WM_SETFOCUS || message == WM_LBUTTONUP || message == WM_CAPTURECHANGED;
  if (may_have_moved) host_.TellLater(*this, NativeHost::Later::kFocus);
  return result;
}

LRESULT NativeControl::Native(UINT message, WPARAM wparam, LPARAM lparam) {
  return CallWindowProcW(native_, window_, message, wparam, lparam);
}

LRESULT NativeControl::Send(UINT message, WPARAM wparam, LPARAM lparam) const {
  return SendMessageW(window_, message, wparam, lparam);
}

LRESULT NativeControl::SendText(UINT message, WPARAM wparam, std::string_view text) const {
  return Send(message, wparam, reinterpret_cast<LPARAM>(ModWide::FromUtf8(text).c_str()));
}

LRESULT CALLBACK NativeControl::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* control = reinterpret_cast<NativeControl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (control == nullptr) return DefWindowProcW(window, message, wparam, lparam);
  if (message == WM_NCDESTROY) {
    const LRESULT result = control->Native(message, wparam, lparam);
    control->Detach();
    return result;
  }
  return AtEdge("a control", [&] { return control->Handle(message, wparam, lparam); });
}

void NativeControl::Detach() {
  if (window_ != nullptr) SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
  window_ = nullptr;
}

}  // namespace vespro
