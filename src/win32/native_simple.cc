// Controls without rows: labels, boxes to type in, buttons, choices, frames and pictures.
#include "win32/native_control.h"

#include <commctrl.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "base/text.h"
#include "base/win32/wide.h"
#include "win32/visual_styles.h"

namespace vespro {
namespace {

int Brightness(COLORREF color) {
  return (GetRValue(color) * 3 + GetGValue(color) * 6 + GetBValue(color)) / 10;
}

// Some colour schemes forget about links.
COLORREF LinkColor() {
  const COLORREF color = GetSysColor(COLOR_HOTLIGHT);
  const int contrast = Brightness(color) - Brightness(GetSysColor(COLOR_3DFACE));
  return std::abs(contrast) > 60 ? color : RGB(0, 90, 180);
}

class NativeLabel : public NativeControl {
 public:
  NativeLabel(NativeHost& host, Control& control, DWORD style = 0) : NativeControl(host, control) {
    // Without SS_NOTIFY the mouse, and so the tooltip, would not know of it.
    MakeWindow(WC_STATICW, SS_LEFT | SS_NOTIFY | style);
    SetText(control.caption());
  }
};

// A text that can be pressed. Not the system's own kind, which knows neither our captions' access
// keys nor, on old systems, itself.
class NativeLink final : public NativeLabel {
 public:
  NativeLink(NativeHost& host, Control& control) : NativeLabel(host, control, WS_TABSTOP) {}

  void OnCommand(WORD code) override {
    if (code == STN_CLICKED || code == STN_DBLCLK) host_.Tell(UserAction::Click(control()));
  }
  HBRUSH Color(HDC dc) override {
    if (control().IsEnabled()) SetTextColor(dc, LinkColor());
    if (const HBRUSH brush = NativeLabel::Color(dc)) return brush;
    SetBkColor(dc, GetSysColor(COLOR_3DFACE));
    return GetSysColorBrush(COLOR_3DFACE);
  }

 protected:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    if (message == WM_SETCURSOR) {
      SetCursor(LoadCursorW(nullptr, IDC_HAND));
      return TRUE;
    }
    const LRESULT result = NativeLabel::Handle(message, wparam, lparam);
    if (message == WM_SETFOCUS || message == WM_KILLFOCUS) {
      InvalidateRect(window(), nullptr, TRUE);
    } else if (message == WM_PAINT && GetFocus() == window()) {
      DrawFocus();
    }
    return result;
  }

 private:
  void DrawFocus() const {
    const HDC dc = GetDC(window());
    RECT area{};
    GetClientRect(window(), &area);
    DrawFocusRect(dc, &area);
    ReleaseDC(window(), dc);
  }
};

class NativeTextBox final : public NativeControl {
 public:
  NativeTextBox(NativeHost& host, TextBox& box) : NativeControl(host, box), box_(box) {
    MakeWindow(WC_EDITW, Style(box), WS_EX_CLIENTEDGE);
    if (box.style() == TextBox::Style::kMasked) Send(EM_SETPASSWORDCHAR, '*');
    Send(EM_SETLIMITTEXT, 0x7FFFFFFE);
    ShowText();
  }

  void Update(Change change, std::size_t row) override {
    if (change == Change::kText) {
      ShowText();
    } else {
      NativeControl::Update(change, row);
    }
    if (change == Change::kBackground) {
      RedrawWindow(window(), nullptr, nullptr, RDW_FRAME | RDW_INVALIDATE);
    }
  }
  void OnCommand(WORD code) override {
    if (code == EN_CHANGE && !host_.showing()) host_.Tell(UserAction::Text(box_, Text()));
  }
  void UseFonts() override {
    NativeControl::UseFonts();
    if (above_ + below_ == 0) return;  // it has no size yet
    SetWindowPos(window(), nullptr, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
  }

 protected:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    if (MarksAll(message, wparam)) return 0;
    const LRESULT result = NativeControl::Handle(message, wparam, lparam);
    if (box_.multi_line()) return result;
    switch (message) {
      case WM_NCCALCSIZE:
        CentreLine(*reinterpret_cast<RECT*>(lparam));
        break;
      case WM_NCPAINT:
        PaintAroundLine();
        break;
      case WM_NCHITTEST:
        if (result == HTNOWHERE || result == HTBORDER) return HTCLIENT;
        break;
      case WM_ENABLE:
        RedrawWindow(window(), nullptr, nullptr, RDW_FRAME | RDW_INVALIDATE);
        break;
      default:
        break;
    }
    return result;
  }

 private:
  // Ctrl+A, which native boxes of several lines do not know.
  bool MarksAll(UINT message, WPARAM wparam) const {
    constexpr WPARAM kCtrlA = 1;
    if (message == WM_CHAR) return wparam == kCtrlA;
    const bool pressed = message == WM_KEYDOWN && wparam == 'A' && GetKeyState(VK_CONTROL) < 0 &&
                         GetKeyState(VK_MENU) >= 0;
    if (pressed) Send(EM_SETSEL, 0, -1);
    return pressed;
  }
  // The native box writes its line at its top: so its inner part is made one line high, and the
  // rest is painted here. `inner` is the first of what WM_NCCALCSIZE gives in either form.
  void CentreLine(RECT& inner) {
    const int spare = static_cast<int>(inner.bottom - inner.top) - host_.fonts().line_height();
    above_ = std::max(0, spare / 2);
    below_ = std::max(0, spare - above_);
    inner.top += above_;
    inner.bottom -= below_;
  }
  void PaintAroundLine() const {
    RECT outer{}, line{};
    GetWindowRect(window(), &outer);
    GetClientRect(window(), &line);
    MapWindowPoints(window(), nullptr, reinterpret_cast<POINT*>(&line), 2);
    OffsetRect(&line, -static_cast<int>(outer.left), -static_cast<int>(outer.top));
    const HDC dc = GetWindowDC(window());
    const UINT asked = IsWindowEnabled(window()) ? WM_CTLCOLOREDIT : WM_CTLCOLORSTATIC;
    const auto brush = reinterpret_cast<HBRUSH>(SendMessageW(
        host_.window(), asked, reinterpret_cast<WPARAM>(dc), reinterpret_cast<LPARAM>(window())));
    const RECT above = {line.left, line.top - above_, line.right, line.top};
    const RECT below = {line.left, line.bottom, line.right, line.bottom + below_};
    FillRect(dc, &above, brush);
    FillRect(dc, &below, brush);
    ReleaseDC(window(), dc);
  }
  static DWORD Style(const TextBox& box) {
    if (!box.multi_line()) {
      const bool masked = box.style() == TextBox::Style::kMasked;
      return WS_TABSTOP | ES_AUTOHSCROLL | static_cast<DWORD>(masked ? ES_PASSWORD : 0);
    }
    return WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_AUTOVSCROLL | ES_WANTRETURN |
           static_cast<DWORD>(box.read_only() ? ES_READONLY : 0);
  }
  // The native box wants CR LF.
  void ShowText() {
    const std::string text =
        ModText::ReplaceAll(ModText::ReplaceAll(box_.text(), "\r\n", "\n"), "\n", "\r\n");
    if (Text() != text) SetText(text);
  }

  TextBox& box_;
  int above_ = 0;  // the line, in pixels
  int below_ = 0;
};

class NativeButton final : public NativeControl {
 public:
  NativeButton(NativeHost& host, Control& control) : NativeControl(host, control) {
    MakeWindow(WC_BUTTONW, BS_PUSHBUTTON | WS_TABSTOP);
    SetText(control.caption());
  }
  void OnCommand(WORD code) override {
    if (code == BN_CLICKED && !host_.showing()) host_.Tell(UserAction::Click(control()));
  }
  void SetDefault(bool is_default) override {
    if (std::exchange(is_default_, is_default) == is_default) return;
    Send(BM_SETSTYLE, is_default ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON, TRUE);
  }

 private:
  bool is_default_ = false;
};

// Not the kinds that check themselves: the form does.
class NativeChoice final : public NativeControl {
 public:
  NativeChoice(NativeHost& host, Choice& choice) : NativeControl(host, choice), choice_(choice) {
    const bool is_option = choice.kind() == ControlKind::kOptionButton;
    MakeWindow(WC_BUTTONW, static_cast<DWORD>(is_option ? BS_RADIOBUTTON : BS_CHECKBOX) |
                               WS_TABSTOP | (choice.columns() > 0 ? BS_MULTILINE : 0U));
    SetText(choice.caption());
    ShowChecked();
  }
  void Update(Change change, std::size_t row) override {
    if (change == Change::kChecked) {
      ShowChecked();
    } else {
      NativeControl::Update(change, row);
    }
  }
  // An option also says so when it gets the focus, of which the form hears anyway.
  void OnCommand(WORD code) override {
    if (code == BN_CLICKED && !host_.showing()) host_.Tell(UserAction::Click(control()));
  }

 private:
  void ShowChecked() { Send(BM_SETCHECK, choice_.checked() ? BST_CHECKED : BST_UNCHECKED); }

  Choice& choice_;
};

class NativeFrame final : public NativeControl {
 public:
  NativeFrame(NativeHost& host, Control& control) : NativeControl(host, control) {
    if (HasLine()) {
      MakeWindow(WC_BUTTONW, BS_GROUPBOX);
    } else {
      MakeWindow(WC_STATICW, SS_LEFT);
    }
    SetText(control.caption());
  }
  // Without a line it has no room: it would lie over what is in it.
  void Place(const Rectangle& where) override {
    NativeControl::Place(HasLine() ? where : Rectangle{where.x, where.y, 0, 0});
  }

 private:
  bool HasLine() const { return !control().caption().empty(); }
};

class NativeImage final : public NativeControl {
 public:
  NativeImage(NativeHost& host, Image& image) : NativeControl(host, image), image_(image) {
    MakeWindow(WC_STATICW, SS_ICON | SS_REALSIZECONTROL | SS_NOTIFY);
  }
  void Update(Change change, std::size_t row) override {
    if (change == Change::kIcon) {
      ShowIcon();
    } else {
      NativeControl::Update(change, row);
    }
  }
  void Place(const Rectangle& where) override {
    side_ = std::min(where.width, where.height);
    ShowIcon();
    NativeControl::Place({where.x, where.y, side_, side_});
  }

 private:
  void ShowIcon() {
    const HICON icon = side_ > 0 ? host_.icons().Find(image_.icon(), side_) : nullptr;
    Send(STM_SETICON, reinterpret_cast<WPARAM>(icon));
  }

  Image& image_;
  int side_ = 0;
};

}  // namespace

std::unique_ptr<NativeControl> MakeSimple(NativeHost& host, Control& control) {
  switch (control.kind()) {
    case ControlKind::kLabel:
      if (static_cast<Label&>(control).style() == Label::Style::kLink) {
        return std::make_unique<NativeLink>(host, control);
      }
      return std::make_unique<NativeLabel>(host, control);
    case ControlKind::kTextBox:
      return std::make_unique<NativeTextBox>(host, static_cast<TextBox&>(control));
    case ControlKind::kButton:
      return std::make_unique<NativeButton>(host, control);
    case ControlKind::kOptionButton:
    case ControlKind::kCheckBox:
      return std::make_unique<NativeChoice>(host, static_cast<Choice&>(control));
    case ControlKind::kImage:
      return std::make_unique<NativeImage>(host, static_cast<Image&>(control));
    default:
      return std::make_unique<NativeFrame>(host, control);
  }
}

}  // namespace vespro
