#include "win32/win32_view.h"

#include <commctrl.h>

#include <algorithm>

#include "base/win32/wide.h"
#include "win32/guard.h"
#include "win32/keys.h"
#include "win32/resolution.h"
#include "win32/visual_styles.h"
#include "win32/win32_measure.h"
#include "win32/win32_renderer.h"

namespace vespro {
namespace {

constexpr UINT kTold = WM_APP + 1;  // what, and which control
constexpr UINT kArrange = WM_APP + 2;
constexpr DWORD kExtendedStyle = WS_EX_DLGMODALFRAME | WS_EX_CONTROLPARENT;
constexpr UINT kResolutionChanged = 0x02E0;  // WM_DPICHANGED, of Windows 8.1
constexpr int kTooltipWidth = 400;           // pixels at 96 dots per inch; longer ones are broken
constexpr int kTooltipSeconds = 20;
constexpr DWORD kLoadingUnseen = 200;  // milliseconds; a form that is quicker opens complete
constexpr UINT kInPlace = SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE;

DWORD Style(const Form& form) {
  return WS_POPUP | WS_CAPTION | (form.closable() ? WS_SYSMENU : 0U) |
         (form.resizable() ? WS_THICKFRAME : 0U);
}

Size ClientSize(HWND window) {
  RECT area{};
  GetClientRect(window, &area);
  return {static_cast<int>(area.right), static_cast<int>(area.bottom)};
}

Size Larger(const Size& one, const Size& other) {
  return {std::max(one.width, other.width), std::max(one.height, other.height)};
}

// Whatever is painted in `on` with a brush that shows `of` continues what is seen there.
void AlignBrush(HDC dc, HWND of, HWND on) {
  POINT origin{};
  MapWindowPoints(of, on, &origin, 1);
  LPtoDP(dc, &origin, 1);
  SetBrushOrgEx(dc, static_cast<int>(origin.x), static_cast<int>(origin.y), nullptr);
}

Size Scaled(const Size& size, UINT to_dpi, UINT from_dpi) {
  const auto to = static_cast<int>(to_dpi);
  const auto from = static_cast<int>(from_dpi);
  return {MulDiv(size.width, to, from), MulDiv(size.height, to, from)};
}

// Whether it is not hidden itself.
bool IsShown(HWND control) { return (GetWindowLongPtrW(control, GWL_STYLE) & WS_VISIBLE) != 0; }

RECT WorkArea(HWND near_to) {
  MONITORINFO monitor{};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromWindow(near_to, MONITOR_DEFAULTTONEAREST), &monitor);
  return monitor.rcWork;
}

}  // namespace

// While the form sets something, natively.
class Win32View::Showing {
 public:
  explicit Showing(Win32View& view) : view_(view) { ++view_.showing_; }
  Showing(const Showing&) = delete;
  Showing& operator=(const Showing&) = delete;
  ~Showing() { --view_.showing_; }

 private:
  Win32View& view_;
};

Win32View::Win32View(Win32Renderer& renderer, Form& form, HWND owner)
    : renderer_(renderer), form_(form), fonts_(ModResolution::Of(owner)) {
  const Showing showing(*this);
  MakeWindow(owner);
  renderer_.Add(*this);
}

Win32View::~Win32View() {
  Hide();
  renderer_.Remove(*this);
  if (!window_) return;
  // What windows say while they go is of no interest.
  const Showing showing(*this);
  SetWindowLongPtrW(window(), GWLP_USERDATA, 0);
  tooltips_.Reset();
  window_.Reset();
}

void Win32View::MakeWindow(HWND owner) {
  WNDCLASSEXW wanted{};
  wanted.cbSize = sizeof(wanted);
  wanted.lpfnWndProc = Procedure;
  wanted.hInstance = OurModule();
  wanted.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  wanted.hbrBackground = GetSysColorBrush(COLOR_3DFACE);
  wanted.lpszClassName = Win32Renderer::kWindowClass;
  RegisterClassExW(&wanted);  // fails when it is registered already, which is as good
  window_.Reset(CreateWindowExW(kExtendedStyle, Win32Renderer::kWindowClass,
                                ModWide::FromUtf8(form_.caption()).c_str(), Style(form_), 0, 0, 0,
                                0, owner, nullptr, OurModule(), this));
}

void Win32View::MakeControls() {
  if (std::exchange(made_, true)) return;
  const VisualStyles::InUse new_look(renderer_.styles());
  tooltips_.Reset(CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr,
                                  WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX, 0, 0, 0, 0, window(),
                                  nullptr, OurModule(), nullptr));
  SendMessageW(tooltips_.get(), TTM_SETMAXTIPWIDTH, 0,
               ModResolution::Scale(kTooltipWidth, fonts_.dpi()));
  SendMessageW(tooltips_.get(), TTM_SETDELAYTIME, TTDT_AUTOPOP, kTooltipSeconds * 1000);
  for (Control* control : form_.controls()) {
    std::unique_ptr<NativeControl> native = NativeControl::Make(*this, *control);
    in_order_.push_back(native.get());
    ShowTooltip(*native);
    natives_[control] = std::move(native);
  }
  // Under the controls on their pages, the innermost last.
  for (auto native = in_order_.rbegin(); native != in_order_.rend(); ++native) {
    if ((*native)->control().kind() != ControlKind::kTabStrip) continue;
    SetWindowPos((*native)->window(), HWND_BOTTOM, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  }
  // Access keys and the focus can be seen from the beginning.
  SendMessageW(window(), WM_CHANGEUISTATE, MAKEWPARAM(UIS_CLEAR, UISF_HIDEACCEL | UISF_HIDEFOCUS),
               0);
}

// What the form wants -----------------------------------------------------------------------------

void Win32View::ShowLoading() {
  if (!window_) return;
  loading_ = true;
  loading_since_ = GetTickCount();
  renderer_.Shown(*this);
}

void Win32View::ShowIfLoading() {
  if (!window_ || !loading_ || made_ || GetTickCount() - loading_since_ < kLoadingUnseen) return;
  const Showing showing(*this);
  MakeControls();
  Arrange(true);
  MoveToOwner();
  ShowWindow(window(), SW_SHOWNA);
  RedrawWindow(window(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

void Win32View::Show() {
  if (!window_) return;
  const Showing showing(*this);
  renderer_.Shown(*this);
  if (loading_ || !IsWindowVisible(window())) {
    MakeControls();
    Arrange(true);
    MoveToOwner();
    opening_ = true;
  }
  loading_ = false;
  ShowWindow(window(), SW_SHOW);
  SetForegroundWindow(window());
  BringWindowToTop(window());
  RedrawWindow(window(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

void Win32View::Hide() {
  renderer_.Hidden(*this);
  if (!window_) return;
  ShowWindow(window(), SW_HIDE);
  // A program that waits in its message loop has to look up.
  PostMessageW(window(), WM_NULL, 0, 0);
}

void Win32View::SetTakesInput(bool takes_input) { EnableWindow(window(), takes_input); }

void Win32View::Update(const Control& control, Change change, std::size_t row) {
  if (!window_ || !made_) return;
  const Showing showing(*this);
  NativeControl& native = *natives_.at(&control);
  native.Update(change, row);
  if (change == Change::kTooltip) ShowTooltip(native);
  if (change == Change::kVisible || change == Change::kCaption) {
    ArrangeLater(change == Change::kVisible);
  }
  // The program may go on working without a pause. Rows come in numbers, and can wait.
  if (change != Change::kRowInserted) UpdateWindow(native.window());
}

void Win32View::UpdateCaption() {
  SetWindowTextW(window(), ModWide::FromUtf8(form_.caption()).c_str());
}

void Win32View::SetFocus(const Control* control) {
  if (!window_ || !made_) return;
  ArrangeNow();
  const HWND wanted = control == nullptr ? window() : WindowOf(*control);
  if (std::exchange(opening_, false) || GetFocus() != wanted) {
    if (control != nullptr) ScrollTo(*control);
    GiveFocus(wanted);
    const bool is_line = control != nullptr && control->kind() == ControlKind::kTextBox &&
                         !static_cast<const TextBox*>(control)->multi_line();
    if (is_line) SendMessageW(wanted, EM_SETSEL, 0, -1);
  }
  ShowDefaultButton();
}

void Win32View::GiveFocus(HWND window) {
  const Showing showing(*this);
  ::SetFocus(window);
}

void Win32View::SetOwner(HWND owner) {
  if (window_) SetWindowLongPtrW(window(), GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(owner));
}

// Enter presses the button that has the focus, if it is one.
void Win32View::ShowDefaultButton() {
  const Control* pressed = form_.focus();
  if (pressed == nullptr || pressed->kind() != ControlKind::kButton) {
    pressed = form_.default_button();
  }
  for (NativeControl* native : in_order_) native->SetDefault(&native->control() == pressed);
}

void Win32View::ShowTooltip(const NativeControl& native) {
  std::wstring text = ModWide::FromUtf8(native.control().tooltip());
  TOOLINFOW tool{};
  tool.cbSize = sizeof(tool);
  tool.uFlags = TTF_IDISHWND;
  tool.hwnd = window();
  tool.uId = reinterpret_cast<UINT_PTR>(native.window());
  tool.lpszText = text.data();
  SendMessageW(tooltips_.get(), TTM_DELTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
  if (!text.empty()) {
    SendMessageW(tooltips_.get(), TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
  }
}

// Sizes and places --------------------------------------------------------------------------------

// Before any further input is looked at.
void Win32View::ArrangeLater(bool may_shrink) {
  may_shrink_ = may_shrink_ || may_shrink;
  if (!std::exchange(arrange_pending_, true)) PostMessageW(window(), kArrange, 0, 0);
}

void Win32View::ArrangeNow() {
  if (!arrange_pending_) return;
  const Showing showing(*this);
  Arrange(may_shrink_);
}

void Win32View::Arrange(bool may_shrink) {
  arrange_pending_ = may_shrink_ = false;
  const Win32Measure measure(fonts_);
  const Size margin = measure.Margin();
  const MeasureOnce once(measure);
  needed_ = NaturalSize(form_.layout(), once);
  // The title has its room, too: it is written larger than the controls, and has a button.
  const SIZE title = fonts_.Extent(fonts_.text(), form_.caption(), 0, false);
  needed_.width = std::max(needed_.width, static_cast<int>(title.cx) * 5 / 4 + fonts_.Across(24));
  needed_ = {needed_.width + 2 * margin.width, needed_.height + 2 * margin.height};
  inner_ = may_shrink && !form_.resizable() ? needed_ : Larger(needed_, inner_);
  Resize();
  Place(once, margin);
}

// What does not fit onto the screen is scrolled.
SIZE Win32View::Fitted(const Size& inner) const {
  const RECT screen = WorkArea(Beside());
  const LONG room = screen.bottom - screen.top;
  const SIZE outer = Outer(inner);
  if (outer.cy <= room) return outer;
  return {outer.cx + ModResolution::Metric(SM_CXVSCROLL, fonts_.dpi()), room};
}

void Win32View::Resize() {
  const SIZE outer = Fitted(inner_);
  ShowScrollBar(window(), SB_VERT, outer.cy < Outer(inner_).cy);
  SetWindowPos(window(), nullptr, 0, 0, outer.cx, outer.cy,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

SIZE Win32View::Outer(const Size& inner) const {
  return ModResolution::Outer({inner.width, inner.height}, Style(form_), kExtendedStyle,
                              fonts_.dpi());
}

Size Win32View::Beyond() const {
  return {inner_.width - needed_.width, inner_.height - needed_.height};
}

// All at once, so that nothing is painted where it does not stay.
void Win32View::Place(const Measure& measure, const Size& margin) {
  SCROLLINFO scroll{};
  scroll.cbSize = sizeof(scroll);
  scroll.fMask = SIF_PAGE | SIF_POS | SIF_RANGE;
  scroll.nMax = inner_.height - 1;
  scroll.nPage = static_cast<UINT>(ClientSize(window()).height);
  scrolled_ = std::clamp(scrolled_, 0, ScrollRange());
  scroll.nPos = scrolled_;
  if ((GetWindowLongPtrW(window(), GWL_STYLE) & WS_VSCROLL) != 0) {
    SetScrollInfo(window(), SB_VERT, &scroll, TRUE);
  }
  moves_ = BeginDeferWindowPos(static_cast<int>(in_order_.size()));
  for (const Placed& placed :
       vespro::Place(form_.layout(), measure,
                     {margin.width, margin.height - scrolled_, inner_.width - 2 * margin.width,
                      inner_.height - 2 * margin.height})) {
    natives_.at(placed.control)->Place(placed.where);
  }
  for (NativeControl* native : in_order_) {
    if (!native->control().IsVisible() && IsShown(native->window())) {
      Move(native->window(), {}, kInPlace | SWP_HIDEWINDOW);
    }
  }
  if (const HDWP moves = std::exchange(moves_, nullptr)) EndDeferWindowPos(moves);
}

void Win32View::OnMouse(const MSG& message) {
  MSG told = message;
  SendMessageW(tooltips_.get(), TTM_RELAYEVENT, 0, reinterpret_cast<LPARAM>(&told));
}

void Win32View::MoveTo(HWND control, const Rectangle& where) {
  RECT now{};
  GetWindowRect(control, &now);
  MapWindowPoints(nullptr, window(), reinterpret_cast<POINT*>(&now), 2);
  const RECT wanted = {where.x, where.y, where.x + where.width, where.y + where.height};
  if (IsShown(control) && EqualRect(&now, &wanted)) return;
  // What was drawn for another width may have been broken into other lines.
  Move(control, where, SWP_NOZORDER | SWP_NOACTIVATE | SWP_SHOWWINDOW | SWP_NOCOPYBITS);
}

void Win32View::Move(HWND control, const Rectangle& where, UINT flags) {
  if (moves_ != nullptr) {
    moves_ = DeferWindowPos(moves_, control, nullptr, where.x, where.y, where.width, where.height,
                            flags);
  }
  if (moves_ == nullptr) {
    SetWindowPos(control, nullptr, where.x, where.y, where.width, where.height, flags);
  }
}

int Win32View::ScrollRange() const {
  return std::max(0, inner_.height - ClientSize(window()).height);
}

void Win32View::ScrollTo(int y) {
  const int before = std::exchange(scrolled_, std::clamp(y, 0, ScrollRange()));
  if (before == scrolled_) return;
  SetScrollPos(window(), SB_VERT, scrolled_, TRUE);
  ScrollWindowEx(window(), 0, before - scrolled_, nullptr, nullptr, nullptr, nullptr,
                 SW_SCROLLCHILDREN | SW_INVALIDATE | SW_ERASE);
}

void Win32View::ScrollTo(const Control& control) {
  RECT area{};
  GetWindowRect(WindowOf(control), &area);
  MapWindowPoints(nullptr, window(), reinterpret_cast<POINT*>(&area), 2);
  const int gap = fonts_.Down(7);
  const int above = std::min(0, static_cast<int>(area.top) - gap);
  const int below = std::max(0, static_cast<int>(area.bottom) + gap - ClientSize(window()).height);
  ScrollTo(scrolled_ + (above < 0 ? above : below));
}

HWND Win32View::Beside() const {
  const HWND owner = GetWindow(window(), GW_OWNER);
  return owner == nullptr || placed_ ? window() : owner;
}

void Win32View::MoveToOwner() {
  const RECT screen = WorkArea(Beside());
  if (std::exchange(placed_, true)) return;
  const HWND owner = GetWindow(window(), GW_OWNER);
  RECT around = screen;
  if (owner != nullptr && IsWindowVisible(owner) && !IsIconic(owner)) {
    GetWindowRect(owner, &around);
  }
  RECT self{};
  GetWindowRect(window(), &self);
  const LONG width = self.right - self.left;
  const LONG height = self.bottom - self.top;
  const LONG x = (around.left + around.right - width) / 2;
  const LONG y = (around.top + around.bottom - height) / 2;
  SetWindowPos(window(), nullptr,
               static_cast<int>(std::max(screen.left, std::min(x, screen.right - width))),
               static_cast<int>(std::max(screen.top, std::min(y, screen.bottom - height))), 0, 0,
               SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void Win32View::UseResolution(UINT dpi) {
  if (!window_) return;
  const Showing showing(*this);
  if (form_.resizable()) inner_ = Scaled(inner_, dpi, fonts_.dpi());
  fonts_ = Fonts(dpi);
  for (NativeControl* native : in_order_) native->UseFonts();
  if (!made_) return;
  Arrange(true);
  RedrawWindow(window(), nullptr, nullptr,
               RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
}

// By the user.
void Win32View::OnSized() {
  if (!made_ || showing() || IsIconic(window())) return;
  inner_ = Larger(needed_, ClientSize(window()));
  const Win32Measure measure(fonts_);
  Place(MeasureOnce(measure), measure.Margin());
}

void Win32View::LimitSize(MINMAXINFO& limits) const {
  const SIZE least = Fitted(needed_);
  limits.ptMinTrackSize = {least.cx, least.cy};
  limits.ptMaxTrackSize.x = std::max(limits.ptMaxTrackSize.x, Fitted(inner_).cx);
}

void Win32View::OnScroll(WORD code) {
  const int page = ClientSize(window()).height;
  switch (code) {
    case SB_LINEUP:
      ScrollTo(scrolled_ - fonts_.line_height());
      break;
    case SB_LINEDOWN:
      ScrollTo(scrolled_ + fonts_.line_height());
      break;
    case SB_PAGEUP:
      ScrollTo(scrolled_ - page);
      break;
    case SB_PAGEDOWN:
      ScrollTo(scrolled_ + page);
      break;
    case SB_TOP:
      ScrollTo(0);
      break;
    case SB_BOTTOM:
      ScrollTo(inner_.height);
      break;
    case SB_THUMBTRACK: {
      SCROLLINFO scroll{};
      scroll.cbSize = sizeof(scroll);
      scroll.fMask = SIF_TRACKPOS;
      GetScrollInfo(window(), SB_VERT, &scroll);
      ScrollTo(scroll.nTrackPos);
      break;
    }
    default:
      break;
  }
}

// What the user does ------------------------------------------------------------------------------

IconLibrary& Win32View::icons() { return renderer_.icons(); }

const IconLibrary& Win32View::shown_icons() const { return renderer_.icons(); }

bool Win32View::Tell(const UserAction& action) { return form_.Do(action); }

void Win32View::TellLater(NativeControl& control, Later what) {
  // What the form sets is not told to it; rows are for us alone.
  if ((showing() && what != Later::kRows) || control.pending(what)) return;
  const auto found = std::find(in_order_.begin(), in_order_.end(), &control);
  if (found == in_order_.end()) return;  // still being made
  control.set_pending(what, true);
  PostMessageW(window(), kTold, static_cast<WPARAM>(what), found - in_order_.begin());
}

void Win32View::OnTold(Later what, std::size_t index) {
  if (index >= in_order_.size()) return;
  NativeControl& native = *in_order_[index];
  native.set_pending(what, false);
  if (what == Later::kSelection) return native.TellSelection();
  if (what == Later::kRows) return ShowRowsOf(native);
  // While the mouse button is down it is not over: the click will be told, or the button's going
  // up.
  const bool still_there = GetFocus() == native.window() && GetCapture() != native.window();
  if (still_there && !native.IsListOpen()) Tell(UserAction::Focus(native.control()));
}

void Win32View::ShowRowsOf(NativeControl& native) {
  const Showing showing(*this);
  native.ShowRows();
}

bool Win32View::TakesKey(NativeControl* native, UINT message, WPARAM wparam) {
  switch (message) {
    case WM_KEYDOWN:
      return TakesKeyDown(native, wparam);
    case WM_CHAR:
      return std::exchange(swallowed_, 0) == wparam && wparam != 0;
    case WM_SYSCHAR:
      return wparam > ' ' && wparam < 0x7F &&
             Tell(UserAction::Press(Key::kAccess, static_cast<char>(wparam)));
    default:
      return false;
  }
}

bool Win32View::TakesKeyDown(NativeControl* native, WPARAM virtual_key) {
  swallowed_ = 0;
  const std::optional<Key> key = ModKeys::FromKeyDown(virtual_key);
  if (!key.has_value() || (native != nullptr && native->IsListOpen())) return false;
  const Control* control = native == nullptr ? nullptr : &native->control();
  // The character that the key becomes waits already, and may come before the form is through.
  swallowed_ = ModKeys::Character(*key);
  if (Tell(UserAction::Press(*key))) return true;
  const bool is_box = control != nullptr && control->kind() == ControlKind::kTextBox &&
                      static_cast<const TextBox*>(control)->multi_line();
  // Where nobody wants them, a native control could only beep at these, or do what the form
  // refused.
  const bool never_native =
      ModKeys::Character(*key) == L'\t' || *key == Key::kEscape || (*key == Key::kEnter && !is_box);
  if (!never_native) swallowed_ = 0;
  return never_native;
}

// Messages ----------------------------------------------------------------------------------------

LRESULT CALLBACK Win32View::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* made = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made->lpCreateParams));
  }
  auto* view = reinterpret_cast<Win32View*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  // The first messages come before the window's handle has reached its owner.
  if (view == nullptr || view->window() != window) {
    return DefWindowProcW(window, message, wparam, lparam);
  }
  return AtEdge("a form", [&] { return view->Handle(message, wparam, lparam); });
}

LRESULT Win32View::Default(UINT message, WPARAM wparam, LPARAM lparam) {
  return DefWindowProcW(window(), message, wparam, lparam);
}

LRESULT Win32View::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  if (TakesKey(nullptr, message, wparam)) return 0;
  switch (message) {
    case WM_CLOSE:
      Tell(UserAction::Close());
      return 0;
    case WM_SETFOCUS:
      // The user comes back from elsewhere; what is marked in a box stays so.
      if (made_ && form_.focus() != nullptr) GiveFocus(WindowOf(*form_.focus()));
      return 0;
    case WM_COMMAND:
      if (NativeControl* native = Native(reinterpret_cast<HWND>(lparam))) {
        native->OnCommand(HIWORD(wparam));
        return 0;
      }
      break;
    case WM_NOTIFY: {
      auto& header = *reinterpret_cast<NMHDR*>(lparam);
      if (NativeControl* native = Native(header.hwndFrom)) return native->OnNotify(header);
      break;
    }
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORLISTBOX:
      return OnColor(message, wparam, lparam);
    case WM_ERASEBKGND: {
      const LRESULT erased = Default(message, wparam, lparam);
      EraseBehindPages(reinterpret_cast<HDC>(wparam));
      return erased;
    }
    case WM_SETCURSOR:
      if (!renderer_.hourglass() && !loading_) break;
      SetCursor(LoadCursorW(nullptr, IDC_WAIT));
      return TRUE;
    case kResolutionChanged: {
      const auto& proposed = *reinterpret_cast<const RECT*>(lparam);
      SetWindowPos(window(), nullptr, proposed.left, proposed.top, 0, 0,
                   SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
      UseResolution(HIWORD(wparam));
      return 0;
    }
    case WM_SIZE:
      OnSized();
      return 0;
    case WM_GETMINMAXINFO:
      Default(message, wparam, lparam);
      LimitSize(*reinterpret_cast<MINMAXINFO*>(lparam));
      return 0;
    case WM_VSCROLL:
      OnScroll(LOWORD(wparam));
      return 0;
    case WM_MOUSEWHEEL:
      // Three lines a notch, as in lists.
      ScrollTo(scrolled_ - GET_WHEEL_DELTA_WPARAM(wparam) * 3 * fonts_.line_height() / WHEEL_DELTA);
      return 0;
    case WM_SETTINGCHANGE:
      UseResolution(fonts_.dpi());  // the system's font, perhaps
      break;
    case kArrange:
      ArrangeNow();
      return 0;
    case kTold:
      OnTold(static_cast<Later>(wparam), static_cast<std::size_t>(lparam));
      return 0;
    case WM_NCDESTROY:
      OnDestroyed();
      return 0;
    default:
      break;
  }
  return Default(message, wparam, lparam);
}

LRESULT Win32View::OnColor(UINT message, WPARAM wparam, LPARAM lparam) {
  const auto dc = reinterpret_cast<HDC>(wparam);
  const LRESULT otherwise = Default(message, wparam, lparam);
  NativeControl* native = Native(reinterpret_cast<HWND>(lparam));
  const HBRUSH brush = native == nullptr ? nullptr : native->Color(dc);
  return brush == nullptr ? otherwise : reinterpret_cast<LRESULT>(brush);
}

HBRUSH Win32View::Behind(const NativeControl& native, HDC dc) {
  for (const Control* on = native.control().parent(); on != nullptr; on = on->parent()) {
    NativeControl& outer = *natives_.at(on);
    const HBRUSH body = outer.Body();
    if (body == nullptr) continue;
    AlignBrush(dc, outer.window(), native.window());
    SetBkMode(dc, TRANSPARENT);
    return body;
  }
  return nullptr;
}

// Through frames the form's own background is seen; and controls ask for it with a device of their
// own.
void Win32View::EraseBehindPages(HDC dc) {
  for (NativeControl* native : in_order_) {
    if (!IsWindowVisible(native->window())) continue;
    const HBRUSH body = native->Body();
    if (body == nullptr) continue;
    RECT area{};
    GetWindowRect(native->window(), &area);
    MapWindowPoints(nullptr, window(), reinterpret_cast<POINT*>(&area), 2);
    AlignBrush(dc, native->window(), window());
    FillRect(dc, &area, body);
  }
}

// Not by us: with the window that it stood in front of.
void Win32View::OnDestroyed() {
  Default(WM_NCDESTROY, 0, 0);
  window_.Forget();
  tooltips_.Forget();
  renderer_.Lost(*this);
}

NativeControl* Win32View::Native(HWND window) const {
  const auto found = std::find_if(in_order_.begin(), in_order_.end(),
                                  [&](const NativeControl* n) { return n->window() == window; });
  return found == in_order_.end() || window == nullptr ? nullptr : *found;
}

}  // namespace vespro
