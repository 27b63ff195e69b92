#include "outlook/frame.h"

#include <windowsx.h>

#include <algorithm>

#include "base/text.h"
#include "base/win32/wide.h"
#include "win32/guard.h"

namespace vespro::standin {
namespace {

constexpr int kTo = 101, kSubject = 102, kBody = 103;  // the boxes' numbers
constexpr int kRow = 26;                               // pixels: one bar, one box
constexpr int kGap = 8;
constexpr int kWidth = 760, kHeight = 420;

HFONT Font() { return static_cast<HFONT>(GetStockObject(DEFAULT_GUI_FONT)); }

std::string TextOf(HWND window) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(
      static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return ModWide::ToUtf8(text);
}

void SetText(HWND window, std::string_view text) {
  SetWindowTextW(window, ModWide::FromUtf8(text).c_str());
}

int Width(HDC dc, std::string_view text) {
  const std::wstring wide = ModWide::FromUtf8(text);
  SIZE size{};
  GetTextExtentPoint32W(dc, wide.c_str(), static_cast<int>(wide.size()), &size);
  return static_cast<int>(size.cx);
}

bool IsBox(const Control& control) { return control.type != kButton && control.type != kPopup; }

// MsoButtonStyle: 1 shows the picture only, 2 the caption only.
bool ShowsFace(const Control& control) { return control.face && control.style != 2; }
bool ShowsCaption(const Control& control) { return !ShowsFace(control) || control.style != 1; }

}  // namespace

Frame::Frame(std::string_view title, Bars& bars, bool has_item, Told told)
    : bars_(bars), has_item_(has_item), told_(std::move(told)) {
  WNDCLASSEXW wanted{};
  wanted.cbSize = sizeof(wanted);
  wanted.lpfnWndProc = Procedure;
  wanted.hInstance = GetModuleHandleW(nullptr);
  wanted.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  wanted.hbrBackground = GetSysColorBrush(COLOR_3DFACE);
  wanted.lpszClassName = L"StandInWindow";
  RegisterClassExW(&wanted);  // fails when it is registered already, which is as good
  window_.Reset(CreateWindowExW(0, wanted.lpszClassName, ModWide::FromUtf8(title).c_str(),
                                WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                                kWidth, kHeight, nullptr, nullptr, wanted.hInstance, this));
  MakeBoxes();
  bars_.on_change = [this] { InvalidateRect(window_.get(), nullptr, TRUE); };
}

Frame::~Frame() {
  bars_.on_change = nullptr;
  SetWindowLongPtrW(window(), GWLP_USERDATA, 0);
}

void Frame::Show() {
  ShowWindow(window(), SW_SHOW);
  SetForegroundWindow(window());
}

std::string Frame::Title() const { return TextOf(window()); }

void Frame::MakeBoxes() {
  const auto make = [&](int number, DWORD style) {
    const HWND box = CreateWindowExW(
        WS_EX_CLIENTEDGE, L"EDIT", L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | style, 0, 0, 0, 0,
        window(), reinterpret_cast<HMENU>(static_cast<INT_PTR>(number)), nullptr, nullptr);
    SendMessageW(box, WM_SETFONT, reinterpret_cast<WPARAM>(Font()), TRUE);
    SendMessageW(box, EM_SETLIMITTEXT, 0, 0);
  };
  if (has_item_) {
    make(kTo, ES_AUTOHSCROLL);
    make(kSubject, ES_AUTOHSCROLL);
  }
  make(kBody, ES_MULTILINE | ES_AUTOVSCROLL | ES_WANTRETURN | WS_VSCROLL |
                  (has_item_ ? 0U : static_cast<DWORD>(ES_READONLY)));
  Arrange();
}

void Frame::Arrange() {
  RECT area{};
  GetClientRect(window(), &area);
  int top = kRow;
  top += 2 * kRow;  // the bars below the menu
  if (has_item_) {
    for (const int number : {kTo, kSubject}) {
      MoveWindow(Child(number), 70, top, std::max<int>(0, area.right - 74), kRow - 2, TRUE);
      top += kRow;
    }
  }
  MoveWindow(Child(kBody), 4, top, std::max<int>(0, area.right - 8),
             std::max<int>(0, area.bottom - top - 4), TRUE);
}

Frame::Written Frame::Read() const {
  return {TextOf(Child(kTo)), TextOf(Child(kSubject)), TextOf(Child(kBody))};
}

void Frame::Write(const Written& written) {
  writing_ = true;
  const Written before = Read();
  if (before.to != written.to) SetText(Child(kTo), written.to);
  if (before.subject != written.subject) SetText(Child(kSubject), written.subject);
  if (before.body != written.body) {
    SetText(Child(kBody), written.body);
    SendMessageW(Child(kBody), EM_SETSEL, 0x7FFFFFFF, -1);  // at the end
  }
  writing_ = false;
}

bool Frame::Paste() {
  if (!IsClipboardFormatAvailable(CF_UNICODETEXT)) return false;
  SendMessageW(Child(kBody), WM_PASTE, 0, 0);
  return true;
}

void Frame::ShowText(std::string_view text) { SetText(Child(kBody), text); }

LRESULT CALLBACK Frame::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* made = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made->lpCreateParams));
  }
  auto* frame = reinterpret_cast<Frame*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (frame == nullptr || frame->window() != window) {
    return DefWindowProcW(window, message, wparam, lparam);
  }
  return AtEdge("a window", [&] { return frame->Handle(message, wparam, lparam); });
}

// What is told may do away with this frame, so it is the last thing that is done.
LRESULT Frame::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  const HWND self = window();
  switch (message) {
    case WM_ACTIVATE:
      if (LOWORD(wparam) != WA_INACTIVE && told_.activated) told_.activated();
      break;
    case WM_CLOSE:
      if (told_.closed) told_.closed();
      return 0;
    case WM_SIZE:
      Arrange();
      break;
    case WM_COMMAND:
      if (HIWORD(wparam) == EN_CHANGE && !writing_ && told_.edited) told_.edited();
      return 0;
    case WM_LBUTTONUP:
      ClickAt({GET_X_LPARAM(lparam), GET_Y_LPARAM(lparam)});
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      Paint(BeginPaint(self, &paint));
      EndPaint(self, &paint);
      return 0;
    }
    default:
      break;
  }
  return DefWindowProcW(self, message, wparam, lparam);
}

std::vector<Frame::Place> Frame::Places(HDC dc) const {
  std::vector<Place> places;
  int top = 0;
  for (const Bar* bar : bars_.list) {
    if (!bar->visible) continue;
    int left = 4;
    for (Control* control : bar->list) {
      if (!control->visible) continue;
      if (control->begin_group) left += kGap;
      int width = 2 * kGap;
      if (ShowsFace(*control)) width += 20;
      if (ShowsCaption(*control)) width += Width(dc, control->PlainCaption());
      if (IsBox(*control)) width += 200;
      places.push_back({{left, top, left + width, top + kRow}, control});
      left += width;
    }
    top += kRow;
  }
  return places;
}

void Frame::Paint(HDC dc) {
  const HGDIOBJ before = SelectObject(dc, Font());
  SetBkMode(dc, TRANSPARENT);
  for (const Place& place : Places(dc)) {
    const Control& control = *place.control;
    RECT area = place.area;
    InflateRect(&area, -2, -2);
    if (control.type == kButton) DrawEdge(dc, &area, BDR_RAISEDINNER, BF_RECT);
    int left = area.left + kGap - 2;
    if (ShowsFace(control)) {
      const Owned<HDC> memory(CreateCompatibleDC(dc));
      const HGDIOBJ kept = SelectObject(memory.get(), control.face.get());
      BitBlt(dc, left, area.top + 3, 16, 16, memory.get(), 0, 0, SRCCOPY);
      SelectObject(memory.get(), kept);
      left += 20;
    }
    SetTextColor(dc, GetSysColor(control.enabled ? COLOR_BTNTEXT : COLOR_GRAYTEXT));
    if (ShowsCaption(control)) {
      const std::wstring text = ModWide::FromUtf8(control.PlainCaption());
      TextOutW(dc, left, area.top + 4, text.c_str(), static_cast<int>(text.size()));
      left += Width(dc, control.PlainCaption()) + kGap;
    }
    if (!IsBox(control)) continue;
    RECT box{left, area.top + 1, area.right, area.bottom - 1};
    FillRect(dc, &box, GetSysColorBrush(COLOR_WINDOW));
    DrawEdge(dc, &box, BDR_SUNKENOUTER, BF_RECT);
    InflateRect(&box, -4, -2);
    DrawTextW(dc, ModWide::FromUtf8(control.text).c_str(), -1, &box,
              DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX);
  }
  if (has_item_) {
    TextOutW(dc, 12, 3 * kRow + 5, L"To...", 5);
    TextOutW(dc, 12, 4 * kRow + 5, L"Subject:", 8);
  }
  SelectObject(dc, before);
}

void Frame::ClickAt(POINT point) {
  const HDC dc = GetDC(window());
  const HGDIOBJ before = SelectObject(dc, Font());
  const std::vector<Place> places = Places(dc);
  SelectObject(dc, before);
  ReleaseDC(window(), dc);
  for (const Place& place : places) {
    if (!PtInRect(&place.area, point)) continue;
    POINT below{place.area.left, place.area.bottom};
    ClientToScreen(window(), &below);
    Control& control = *place.control;
    if (control.bar != nullptr) {
      Open(control, below);
    } else if (IsBox(control)) {
      OpenList(control, below);
    } else {
      control.Click();
    }
    return;
  }
}

void Frame::Open(const Control& popup, POINT where) {
  std::vector<Control*> entries;
  const std::function<HMENU(const Bar&)> make = [&](const Bar& bar) {
    const HMENU menu = CreatePopupMenu();
    for (Control* control : bar.list) {
      if (!control->visible) continue;
      const UINT state = control->enabled ? MF_ENABLED : static_cast<UINT>(MF_GRAYED);
      const std::wstring caption = ModWide::FromUtf8(control->caption);
      if (control->bar != nullptr) {
        AppendMenuW(menu, MF_POPUP | state, reinterpret_cast<UINT_PTR>(make(*control->bar)),
                    caption.c_str());
      } else {
        entries.push_back(control);
        AppendMenuW(menu, MF_STRING | state, entries.size(), caption.c_str());
      }
    }
    return menu;
  };
  const HMENU menu = make(*popup.bar);
  const auto chosen = static_cast<std::size_t>(
      TrackPopupMenu(menu, TPM_RETURNCMD | TPM_LEFTALIGN, where.x, where.y, 0, window(), nullptr));
  DestroyMenu(menu);
  if (chosen != 0) entries[chosen - 1]->Click();
}

void Frame::OpenList(Control& box, POINT where) {
  const HMENU menu = CreatePopupMenu();
  for (std::size_t i = 0; i < box.items.size(); ++i) {
    const std::string item = ModText::ReplaceAll(box.items[i], "&", "&&");
    AppendMenuW(menu, MF_STRING, i + 1, ModWide::FromUtf8(item).c_str());
  }
  const int chosen =
      TrackPopupMenu(menu, TPM_RETURNCMD | TPM_LEFTALIGN, where.x, where.y, 0, window(), nullptr);
  DestroyMenu(menu);
  if (chosen != 0) box.Choose(chosen);
}

}  // namespace vespro::standin
