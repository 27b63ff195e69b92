#include "win32/win32_driver.h"

#include <commctrl.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <map>

#include "base/text.h"
#include "base/win32/wide.h"
#include "forms/boxes.h"
#include "win32/guard.h"
#include "win32/keys.h"
#include "win32/win32_measure.h"
#include "win32/win32_view.h"

namespace vespro {
namespace {

constexpr std::chrono::milliseconds kPatience{30000};
constexpr std::chrono::milliseconds kButtonHeld{50};
constexpr UINT kIdleQuery = WM_APP + 1;
constexpr UINT kHoldKeys = WM_APP + 2;  // Shift, Ctrl
constexpr UINT kDoWork = WM_APP + 3;    // a function
constexpr int kPickerCombo = 0x47C;     // the box for the file's name, cmb13 or edt1
constexpr int kPickerEdit = 0x480;

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = {};
  GetClassNameW(window, name, 64);
  return name;
}

bool IsBox(HWND window) { return ClassOf(window) == L"#32770"; }

bool IsPicker(HWND box) {
  return GetDlgItem(box, kPickerCombo) != nullptr || GetDlgItem(box, kPickerEdit) != nullptr;
}

std::string TextOf(HWND window) {
  std::wstring text(static_cast<std::size_t>(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0)) + 1, 0);
  const LRESULT size =
      SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  text.resize(static_cast<std::size_t>(size));
  return ModWide::ToUtf8(text);
}

DWORD StyleOf(HWND window) { return static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE)); }

std::vector<HWND> ChildrenOf(HWND parent) {
  std::vector<HWND> children;
  for (HWND child = GetTopWindow(parent); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    children.push_back(child);
  }
  return children;
}

// The window's own colour, asked as the window asks for it.
Background BackgroundOf(HWND window, const Control& control) {
  if (control.kind() == ControlKind::kListView) {
    const LRESULT color = SendMessageW(window, LVM_GETBKCOLOR, 0, 0);
    return color == RGB(192, 192, 192) ? Background::kSilver : Background::kDefault;
  }
  const Owned<HDC> dc(CreateCompatibleDC(nullptr));
  const bool is_static = control.kind() == ControlKind::kLabel || !IsWindowEnabled(window);
  SendMessageW(GetParent(window), is_static ? WM_CTLCOLORSTATIC : WM_CTLCOLOREDIT,
               reinterpret_cast<WPARAM>(dc.get()), reinterpret_cast<LPARAM>(window));
  return GetBkColor(dc.get()) == RGB(192, 192, 192) ? Background::kSilver : Background::kDefault;
}

// Texts of a list's or combo box's rows.
std::vector<Row> ReadRows(HWND window, UINT count_message, UINT length_message, UINT text_message) {
  std::vector<Row> rows;
  const LRESULT count = SendMessageW(window, count_message, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    const auto index = static_cast<WPARAM>(i);
    std::wstring text(static_cast<std::size_t>(SendMessageW(window, length_message, index, 0)) + 1,
                      0);
    SendMessageW(window, text_message, index, reinterpret_cast<LPARAM>(text.data()));
    rows.push_back({ModWide::ToUtf8(text.c_str()), {}, {}, {}, {}});
  }
  return rows;
}

std::string ReadCell(HWND list, int row, int column) {
  std::array<wchar_t, 1024> text{};
  LVITEMW item{};
  item.iSubItem = column;
  item.pszText = text.data();
  item.cchTextMax = static_cast<int>(text.size());
  SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
  return ModWide::ToUtf8(text.data());
}

// What the list would show when the mouse rests on the row.
std::string ReadTooltip(HWND list, int row) {
  std::array<wchar_t, 1024> text{};
  NMLVGETINFOTIPW asked{};
  asked.hdr = {list, 0, static_cast<UINT>(LVN_GETINFOTIPW)};
  asked.pszText = text.data();
  asked.cchTextMax = static_cast<int>(text.size());
  asked.iItem = row;
  SendMessageW(GetParent(list), WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&asked));
  return ModWide::ToUtf8(text.data());
}

bool HasPicture(HWND list, int row) {
  LVITEMW item{};
  item.mask = LVIF_IMAGE;
  item.iItem = row;
  SendMessageW(list, LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
  return SendMessageW(list, LVM_GETIMAGELIST, LVSIL_SMALL, 0) != 0 && item.iImage >= 0;
}

std::vector<Row> ReadListView(HWND list, const RowsControl& control) {
  std::vector<Row> rows;
  const auto count = static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
  const auto header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
  const auto columns = static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
  for (int i = 0; i < count; ++i) {
    Row row{ReadCell(list, i, 0), {}, {}, ReadTooltip(list, i), {}};
    for (int column = 1; column < columns; ++column) {
      row.cells.push_back(ReadCell(list, i, column));
    }
    const auto index = static_cast<std::size_t>(i);
    if (HasPicture(list, i) && index < control.rows().size()) row.icon = control.rows()[index].icon;
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<Row> ReadTabs(HWND tabs) {
  std::vector<Row> rows;
  const LRESULT count = SendMessageW(tabs, TCM_GETITEMCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    std::array<wchar_t, 256> text{};
    TCITEMW item{};
    item.mask = TCIF_TEXT;
    item.pszText = text.data();
    item.cchTextMax = static_cast<int>(text.size());
    SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
    rows.push_back({ModWide::ToUtf8(text.data()), {}, {}, {}, {}});
  }
  return rows;
}

LRESULT CountRows(HWND window, const Control& control) {
  switch (control.kind()) {
    case ControlKind::kComboBox:
      return SendMessageW(window, CB_GETCOUNT, 0, 0);
    case ControlKind::kListBox:
    case ControlKind::kListView:
      return SendMessageW(window, LVM_GETITEMCOUNT, 0, 0);
    case ControlKind::kTabStrip:
      return SendMessageW(window, TCM_GETITEMCOUNT, 0, 0);
    default:
      return 0;
  }
}

void ReadRowsOf(HWND window, const Control& control, ControlLook& look) {
  switch (control.kind()) {
    case ControlKind::kComboBox:
      look.rows = ReadRows(window, CB_GETCOUNT, CB_GETLBTEXTLEN, CB_GETLBTEXT);
      look.selected = static_cast<int>(SendMessageW(window, CB_GETCURSEL, 0, 0));
      break;
    case ControlKind::kListBox:
    case ControlKind::kListView:
      look.rows = ReadListView(window, static_cast<const RowsControl&>(control));
      look.selected = static_cast<int>(
          SendMessageW(window, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
      break;
    case ControlKind::kTabStrip:
      look.rows = ReadTabs(window);
      look.selected = static_cast<int>(SendMessageW(window, TCM_GETCURSEL, 0, 0));
      break;
    default:
      break;
  }
}

std::string ReadBox(HWND edit) {
  const std::string text = TextOf(edit);
  const auto mask = static_cast<wchar_t>(SendMessageW(edit, EM_GETPASSWORDCHAR, 0, 0));
  if (mask == 0) return text;
  return ModWide::ToUtf8(std::wstring(ModWide::FromUtf8(text).size(), mask));
}

POINT MiddleOf(const RECT& area) {
  return {(area.left + area.right) / 2, (area.top + area.bottom) / 2};
}

LPARAM AsParameter(POINT point) { return MAKELPARAM(point.x, point.y); }

// The tooltip window lies on the screen like any other, hidden until it is needed. It hears of the
// mouse from the control's window, which has to say that the mouse is on it.
std::string TooltipOf(HWND form, HWND control) {
  RECT area{};
  GetWindowRect(control, &area);
  const POINT middle = MiddleOf(area);
  if (SendMessageW(control, WM_NCHITTEST, 0, AsParameter(middle)) == HTTRANSPARENT) return {};
  for (HWND window = GetTopWindow(nullptr); window != nullptr;
       window = GetWindow(window, GW_HWNDNEXT)) {
    if (GetWindow(window, GW_OWNER) != form || ClassOf(window) != TOOLTIPS_CLASSW) continue;
    std::array<wchar_t, 1024> text{};
    TOOLINFOW tool{};
    tool.cbSize = sizeof(tool);
    tool.hwnd = form;
    tool.uId = reinterpret_cast<UINT_PTR>(control);
    tool.lpszText = text.data();
    SendMessageW(window, TTM_GETTEXTW, text.size(), reinterpret_cast<LPARAM>(&tool));
    return ModWide::ToUtf8(text.data());
  }
  return {};
}

// Where a person would click.
POINT TargetIn(HWND window, const Control* control) {
  RECT area{};
  GetClientRect(window, &area);
  POINT target = MiddleOf(area);
  // Captions need not fill their room.
  if (control != nullptr &&
      (control->kind() == ControlKind::kLabel || control->kind() == ControlKind::kCheckBox ||
       control->kind() == ControlKind::kOptionButton)) {
    target.x = std::min(area.right / 2, 6L);
  }
  // Beside the tabs, above the page.
  if (control != nullptr && control->kind() == ControlKind::kTabStrip) {
    RECT tab{};
    SendMessageW(window, TCM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&tab));
    target = {area.right - 2, (tab.top + tab.bottom) / 2};
  }
  return target;
}

// A caption as it can be read: of one that has too little room the end is missing.
std::string ReadCaption(const Win32View& view, HWND window, const Control& control) {
  const std::string caption = TextOf(window);
  if (!IsWindowVisible(window) || control.kind() == ControlKind::kFrame) return caption;
  RECT area{};
  GetWindowRect(window, &area);
  const Size needed = Win32Measure(view.fonts()).NaturalSize(control);
  const bool has_room =
      area.right - area.left >= needed.width && area.bottom - area.top >= needed.height;
  return has_room ? caption : caption + " (cut off)";
}

bool IsMarked(HWND edit) {
  DWORD first = 0, last = 0;
  SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&first), reinterpret_cast<LPARAM>(&last));
  const auto size = static_cast<DWORD>(SendMessageW(edit, WM_GETTEXTLENGTH, 0, 0));
  return size > 0 && first == 0 && last == size;
}

// A form that is higher than the screen is scrolled as far as the control needs.
void ScrollTo(const Win32View& view, HWND window) {
  for (int tries = 0; tries < 1000; ++tries) {
    RECT area{}, inner{};
    GetWindowRect(window, &area);
    MapWindowPoints(nullptr, view.window(), reinterpret_cast<POINT*>(&area), 2);
    GetClientRect(view.window(), &inner);
    if (area.top >= 0 && area.bottom <= inner.bottom) return;
    const int before = GetScrollPos(view.window(), SB_VERT);
    const bool is_far = area.bottom < 0 || area.top > inner.bottom;
    const WPARAM up = is_far ? SB_PAGEUP : SB_LINEUP;
    const WPARAM down = is_far ? SB_PAGEDOWN : SB_LINEDOWN;
    SendMessageW(view.window(), WM_VSCROLL, area.top < 0 ? up : down, 0);
    if (GetScrollPos(view.window(), SB_VERT) == before) return;
  }
}

// What stops a person from clicking there, if anything does.
Status Reachable(const Win32View& view, HWND window, const Control& control) {
  POINT target = TargetIn(window, &control);
  MapWindowPoints(window, nullptr, &target, 1);
  RECT inner{};
  GetClientRect(view.window(), &inner);
  MapWindowPoints(view.window(), nullptr, reinterpret_cast<POINT*>(&inner), 2);
  if (!PtInRect(&inner, target)) {
    return Status(Code::kUnavailable, control.name() + " is outside of its window");
  }
  for (const Control* other : view.form().controls()) {
    const HWND above = view.WindowOf(*other);
    const bool is_below = other->kind() == ControlKind::kFrame || control.IsInside(*other);
    if (above == window || is_below || !IsWindowVisible(above)) continue;
    RECT area{};
    GetWindowRect(above, &area);
    if (PtInRect(&area, target)) {
      return Status(Code::kUnavailable, other->name() + " lies over " + control.name());
    }
  }
  return {};
}

// The name that a form would give to a button of the system's.
int ButtonNumber(std::string_view name) {
  static const std::map<std::string_view, int> kNumbers = {
      {"CmdOk", IDOK}, {"CmdCancel", IDCANCEL}, {"CmdYes", IDYES}, {"CmdNo", IDNO}};
  const auto found = kNumbers.find(name);
  return found == kNumbers.end() ? 0 : found->second;
}

HWND FindInBox(HWND box, std::string_view name) {
  if (const int number = ButtonNumber(name)) return GetDlgItem(box, number);
  for (const HWND child : ChildrenOf(box)) {
    if (!IsWindowVisible(child)) continue;
    const bool is_text = ClassOf(child) == WC_STATICW;
    const bool is_icon = is_text && (StyleOf(child) & SS_TYPEMASK) == SS_ICON;
    if (is_icon ? name == "ImageIcon" : is_text && name == "LabelText") return child;
    if (!is_text && ModCaption::Plain(TextOf(child)) == name) return child;
  }
  return nullptr;
}

const char* IconName(HWND picture) {
  const auto icon = reinterpret_cast<HICON>(SendMessageW(picture, STM_GETICON, 0, 0));
  if (icon == LoadIconW(nullptr, IDI_ERROR)) return "X";
  if (icon == LoadIconW(nullptr, IDI_QUESTION)) return "?";
  if (icon == LoadIconW(nullptr, IDI_WARNING)) return "!";
  if (icon == LoadIconW(nullptr, IDI_INFORMATION)) return "i";
  return "";
}

}  // namespace

// The desktop
// ---------------------------------------------------------------------------------------

DrivenDesktop::DrivenDesktop()
    : Win32Desktop([this] { return host; },
                   [this](std::string_view line) { log.emplace_back(line); }) {}

MessageAnswer DrivenDesktop::MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                                    std::string_view title) {
  in_box_ = true;
  const MessageAnswer answer = Win32Desktop::MsgBox(text, icon, buttons, title);
  in_box_ = false;
  return answer;
}

std::string DrivenDesktop::PickFile(const FileQuestion& question) {
  in_box_ = true;
  std::string path = Win32Desktop::PickFile(question);
  in_box_ = false;
  return path;
}

void DrivenDesktop::DoEvents() {
  working_ = true;
  Win32Desktop::DoEvents();
  working_ = false;
}

bool DrivenDesktop::IsWaiting() const {
  if (!in_box_) return !working_;
  const HWND box = GetActiveWindow();
  return box != nullptr && IsBox(box) && IsWindowVisible(box);
}

// The two threads
// -----------------------------------------------------------------------------------

void Win32Driver::Start(std::function<void()> program) {
  Run(std::move(program));
  Settle(kPatience).Ignore();  // the story sees on the screen what came of it
}

void Win32Driver::Run(std::function<void()> program) {
  assert(ended_ && "an earlier program still runs");
  ended_ = ready_ = false;
  program_ = std::thread([this, run = std::move(program)] {
    AtEdge("the program", [&] {
      RunProgram(run);
      return 0;
    });
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  });
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ready_ || ended_; });
}

void Win32Driver::RunProgram(const std::function<void()>& program) {
  WNDCLASSW wanted{};
  wanted.lpfnWndProc = Procedure;
  wanted.lpszClassName = L"VesproDriver";
  RegisterClassW(&wanted);
  helper_ = CreateWindowW(wanted.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                          nullptr);
  SetWindowLongPtrW(helper_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  {
    const std::lock_guard lock(mutex_);
    thread_id_ = GetCurrentThreadId();
    ready_ = true;
    changed_.notify_all();
  }
  program();
}

LRESULT CALLBACK Win32Driver::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* driver = reinterpret_cast<Win32Driver*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == kIdleQuery) {
    const DWORD waiting = HIWORD(GetQueueStatus(QS_POSTMESSAGE | QS_SENDMESSAGE | QS_INPUT));
    const std::lock_guard lock(driver->mutex_);
    driver->at_rest_ = waiting == 0 && driver->IsWaiting();
    driver->answered_ = static_cast<int>(wparam);
    driver->changed_.notify_all();
    return 0;
  }
  if (message == kDoWork) {
    (*reinterpret_cast<const std::function<void()>*>(lparam))();
    return 0;
  }
  if (message == kHoldKeys) {
    std::array<BYTE, 256> keys{};
    GetKeyboardState(keys.data());
    keys[VK_SHIFT] = keys[VK_LSHIFT] = wparam != 0 ? 0x80 : 0;
    keys[VK_CONTROL] = keys[VK_LCONTROL] = lparam != 0 ? 0x80 : 0;
    SetKeyboardState(keys.data());
    return 0;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

Status Win32Driver::Settle(std::chrono::milliseconds patience) {
  const auto limit = std::chrono::steady_clock::now() + patience;
  std::unique_lock lock(mutex_);
  while (!ended_ && std::chrono::steady_clock::now() < limit) {
    const int question = ++asked_;
    PostMessageW(helper_, kIdleQuery, static_cast<WPARAM>(question), 0);
    changed_.wait_until(lock, limit, [&] { return ended_ || answered_ == question; });
    if (answered_ == question && at_rest_) return {};
    if (!ended_) changed_.wait_for(lock, std::chrono::milliseconds(1), [this] { return ended_; });
  }
  if (!ended_) return Status(Code::kTimedOut, "the program does not come to rest");
  lock.unlock();
  if (program_.joinable()) program_.join();
  return {};
}

void Win32Driver::InProgram(const std::function<void()>& work) const {
  SendMessageW(helper_, kDoWork, 0, reinterpret_cast<LPARAM>(&work));
}

bool Win32Driver::Ended() {
  const std::lock_guard lock(mutex_);
  return ended_;
}

void Win32Driver::End() {
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  while (!Ended() && std::chrono::steady_clock::now() < limit) {
    const HWND top = Top();
    if (top != nullptr && IsBox(top)) {
      const bool asks = GetDlgItem(top, IDNO) != nullptr;
      PostMessageW(top, WM_COMMAND, static_cast<WPARAM>(asks ? IDNO : IDCANCEL), 0);
    } else {
      PostThreadMessageW(thread_id_, WM_QUIT, 0, 0);
    }
    Settle(kPatience).Ignore();  // Ended says
  }
  if (program_.joinable()) program_.join();
}

// What is seen
// --------------------------------------------------------------------------------------

// From the top to the bottom.
std::vector<HWND> Win32Driver::OnScreen() const {
  std::vector<HWND> windows;
  for (HWND window = GetTopWindow(nullptr); window != nullptr;
       window = GetWindow(window, GW_HWNDNEXT)) {
    if (GetWindowThreadProcessId(window, nullptr) != thread_id_ || !IsWindowVisible(window)) {
      continue;
    }
    if (IsBox(window) || ClassOf(window) == Win32Renderer::kWindowClass) windows.push_back(window);
  }
  return windows;
}

HWND Win32Driver::Top() const {
  const std::vector<HWND> windows = OnScreen();
  return windows.empty() ? nullptr : windows.front();
}

std::vector<std::string> Win32Driver::Windows() {
  std::vector<std::string> titles;
  for (const HWND window : OnScreen()) titles.insert(titles.begin(), TextOf(window));
  return titles;
}

Win32View* Win32Driver::ViewOf(HWND window) const {
  if (ClassOf(window) != Win32Renderer::kWindowClass) return nullptr;
  return reinterpret_cast<Win32View*>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

HWND Win32Driver::FocusedWindow() const {
  GUITHREADINFO info{};
  info.cbSize = sizeof(info);
  return GetGUIThreadInfo(thread_id_, &info) ? info.hwndFocus : nullptr;
}

ControlLook Win32Driver::LookAt(const Win32View& view, const Control& control) const {
  const HWND window = view.WindowOf(control);
  ControlLook look;
  look.visible = IsWindowVisible(window) != FALSE;
  look.enabled = IsWindowEnabled(window) != FALSE;
  look.focused = FocusedWindow() == window;
  look.tooltip = TooltipOf(view.window(), window);
  switch (control.kind()) {
    case ControlKind::kTextBox:
      look.text = ReadBox(window);
      look.marked = look.focused && IsMarked(window);
      break;
    case ControlKind::kOptionButton:
    case ControlKind::kCheckBox:
      look.checked = SendMessageW(window, BM_GETCHECK, 0, 0) == BST_CHECKED;
      look.caption = ReadCaption(view, window, control);
      break;
    case ControlKind::kLabel:
    case ControlKind::kButton:
    case ControlKind::kFrame:
      look.caption = ReadCaption(view, window, control);
      break;
    case ControlKind::kImage: {
      const auto icon = reinterpret_cast<HICON>(SendMessageW(window, STM_GETICON, 0, 0));
      const auto* found = view.shown_icons().What(icon);
      if (found != nullptr) look.icon = *found;
      break;
    }
    default:
      ReadRowsOf(window, control, look);
  }
  look.background = BackgroundOf(window, control);
  return look;
}

std::string Win32Driver::DrawBox(HWND box) const {
  if (IsPicker(box)) return "+- " + TextOf(box) + "\n";  // the rest is the system's affair
  const HWND text = FindInBox(box, "LabelText");
  const HWND picture = FindInBox(box, "ImageIcon");
  static constexpr std::string_view kIcons = "X?!i";
  const std::size_t icon = picture == nullptr ? 0 : kIcons.find(IconName(picture));
  return DrawMessage(
      text == nullptr ? std::string() : TextOf(text), static_cast<MessageIcon>(icon),
      GetDlgItem(box, IDYES) != nullptr ? MessageButtons::kYesNo : MessageButtons::kOk,
      TextOf(box));
}

std::string Win32Driver::Look() {
  std::string picture;
  InProgram([&] { picture = LookAtTop(); });
  return picture;
}

std::string Win32Driver::LookAtTop() const {
  const HWND top = Top();
  if (top == nullptr) return {};
  const Win32View* view = ViewOf(top);
  if (view == nullptr) return DrawBox(top);
  std::map<const Control*, ControlLook> looks;
  for (const Control* control : view->form().controls()) looks[control] = LookAt(*view, *control);
  return DrawForm(view->form(), TextOf(top),
                  [&](const Control& control) -> const ControlLook& { return looks.at(&control); },
                  {view->Beyond().width / view->fonts().average_width(),
                   view->Beyond().height / view->fonts().line_height()});
}

ControlLook Win32Driver::LookAtBox(HWND window) const {
  ControlLook look;
  look.enabled = IsWindowEnabled(window) != FALSE;
  look.focused = FocusedWindow() == window;
  look.caption = TextOf(window);
  if (ClassOf(window) != WC_STATICW) return look;
  look.caption = ModCaption::Literal(look.caption);
  if ((StyleOf(window) & SS_TYPEMASK) == SS_ICON) {
    look.icon = {Icon::Kind::kResource, IconName(window)};
  }
  return look;
}

Result<ControlLook> Win32Driver::Look(std::string_view control) {
  Result<ControlLook> look = Status(Code::kNotFound, "there is no window");
  InProgram([&] { look = LookFor(control); });
  return look;
}

Result<ControlLook> Win32Driver::LookFor(std::string_view control) const {
  Result<Found> found = Find(control);
  if (!found.ok()) return found.status();
  if (found->control == nullptr) return LookAtBox(found->window);
  return LookAt(*ViewOf(Top()), *found->control);
}

Result<Win32Driver::Found> Win32Driver::Find(std::string_view name) const {
  const HWND top = Top();
  if (top == nullptr) return Status(Code::kNotFound, "there is no window");
  Found found;
  if (const Win32View* view = ViewOf(top)) {
    for (const Control* control : view->form().controls()) {
      const HWND window = view->WindowOf(*control);
      if (control->name() == name) return Found{window, control};
      const bool is_seen = IsWindowVisible(window) && control->kind() != ControlKind::kTextBox;
      if (is_seen && ModCaption::Plain(TextOf(window)) == name) found = {window, control};
    }
  } else {
    found.window = FindInBox(top, name);
  }
  if (found.window != nullptr) return found;
  return Status(Code::kNotFound, "'" + TextOf(top) + "' has no " + std::string(name));
}

// What is done
// --------------------------------------------------------------------------------------

Result<Win32Driver::Found> Win32Driver::FindUsable(std::string_view name) const {
  Result<Found> found = Status(Code::kNotFound, "there is no window");
  InProgram([&] { found = FindUsableHere(name); });
  return found;
}

Result<Win32Driver::Found> Win32Driver::FindUsableHere(std::string_view name) const {
  Result<Found> found = Find(name);
  if (!found.ok()) return found;
  const HWND top = Top();
  const auto refuse = [&](const char* why) {
    return Status(Code::kUnavailable, std::string(name) + why);
  };
  if (!IsWindowEnabled(top)) return refuse(" is in a window that takes no input");
  if (!IsWindowVisible(found->window)) return refuse(" is not to be seen");
  if (!IsWindowEnabled(found->window)) return refuse(" can't be used");
  if (found->control != nullptr) {
    ScrollTo(*ViewOf(top), found->window);
    Status reachable = Reachable(*ViewOf(top), found->window, *found->control);
    if (!reachable.ok()) return reachable;
  }
  return found;
}

// A person holds the button for a moment, in which the program may come to rest; some lists don't
// before it is up again.
Status Win32Driver::ClickAt(HWND window, POINT point) {
  PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, AsParameter(point));
  Settle(kButtonHeld).Ignore();
  PostMessageW(window, WM_LBUTTONUP, 0, AsParameter(point));
  return Settle(kPatience);
}

Status Win32Driver::ClickOn(const Found& found) {
  return ClickAt(found.window, TargetIn(found.window, found.control));
}

Status Win32Driver::Click(std::string_view control) {
  Result<Found> found = FindUsable(control);
  return found.ok() ? ClickOn(found.value()) : found.status();
}

Status Win32Driver::Focus(std::string_view control) {
  Result<Found> found = FindUsable(control);
  if (!found.ok()) return found.status();
  POINT target = TargetIn(found->window, found->control);
  // Below the rows of a list.
  if (found->control != nullptr && (found->control->kind() == ControlKind::kListView ||
                                    found->control->kind() == ControlKind::kListBox)) {
    RECT area{};
    GetClientRect(found->window, &area);
    target.y = area.bottom - 2;
  }
  return ClickAt(found->window, target);
}

Status Win32Driver::Type(std::string_view control, std::string_view text) {
  Result<Found> found = FindUsable(control);
  if (!found.ok()) return found.status();
  const HWND box = found->window;
  if (ClassOf(box) != WC_EDITW || (StyleOf(box) & ES_READONLY) != 0) {
    return Status(Code::kUnavailable, "nothing can be typed into " + std::string(control));
  }
  if (Status clicked = ClickOn(found.value()); !clicked.ok()) return clicked;
  if (FocusedWindow() != box) return {};  // the focus was kept elsewhere
  SendMessageW(box, EM_SETSEL, 0, -1);
  if (text.empty()) PostMessageW(box, WM_CHAR, VK_BACK, 1);
  const std::wstring typed = ModWide::FromUtf8(ModText::ReplaceAll(text, "\r\n", "\n"));
  for (const wchar_t c : typed) PostMessageW(box, WM_CHAR, c == L'\n' ? VK_RETURN : c, 1);
  return Settle(kPatience);
}

Status Win32Driver::SelectInCombo(HWND combo, int row) {
  COMBOBOXINFO info{};
  info.cbSize = sizeof(info);
  GetComboBoxInfo(combo, &info);
  RECT area{};
  GetClientRect(combo, &area);
  if (Status opened = ClickAt(combo, {area.right - 4, area.bottom / 2}); !opened.ok()) {
    return opened;
  }
  if (!SendMessageW(combo, CB_GETDROPPEDSTATE, 0, 0)) return {};  // the focus was kept elsewhere
  SendMessageW(info.hwndList, LB_SETTOPINDEX, static_cast<WPARAM>(row), 0);
  SendMessageW(info.hwndList, LB_GETITEMRECT, static_cast<WPARAM>(row),
               reinterpret_cast<LPARAM>(&area));
  return ClickAt(info.hwndList, MiddleOf(area));
}

Status Win32Driver::Select(std::string_view control, int row) {
  Result<Found> found = FindUsable(control);
  if (!found.ok()) return found.status();
  if (found->control == nullptr) {
    return Status(Code::kUnavailable, std::string(control) + " has no rows");
  }
  if (row < 0 || row >= CountRows(found->window, *found->control)) {
    return Status(Code::kUnavailable, std::string(control) + " has no such row");
  }
  const auto index = static_cast<WPARAM>(row);
  RECT area{};
  const auto where = reinterpret_cast<LPARAM>(&area);
  switch (found->control->kind()) {
    case ControlKind::kComboBox:
      return SelectInCombo(found->window, row);
    case ControlKind::kListBox:
    case ControlKind::kListView:
      SendMessageW(found->window, LVM_ENSUREVISIBLE, index, FALSE);
      area.left = LVIR_LABEL;
      SendMessageW(found->window, LVM_GETITEMRECT, index, where);
      break;
    default:
      SendMessageW(found->window, TCM_GETITEMRECT, index, where);
  }
  return ClickAt(found->window, {area.left + 6, (area.top + area.bottom) / 2});
}

void Win32Driver::HoldKeys(bool shift, bool control) const {
  SendMessageW(helper_, kHoldKeys, shift, control);
}

Status Win32Driver::Press(Key key, char letter) {
  const HWND top = Top();
  if (top == nullptr) return Status(Code::kNotFound, "there is no window");
  if (!IsWindowEnabled(top)) {
    return Status(Code::kUnavailable, TextOf(top) + " takes no input");
  }
  const HWND focused = FocusedWindow();
  const HWND target = focused == nullptr ? top : focused;
  if (key == Key::kAccess) {
    constexpr LPARAM kAltIsDown = 1 << 29 | 1;
    PostMessageW(target, WM_SYSCHAR, static_cast<WPARAM>(letter), kAltIsDown);
    return Settle(kPatience);
  }
  HoldKeys(key == Key::kBackTab || key == Key::kPreviousPage,
           key == Key::kNextPage || key == Key::kPreviousPage);
  const WPARAM virtual_key = ModKeys::VirtualKey(key);
  PostMessageW(target, WM_KEYDOWN, virtual_key, 1);
  PostMessageW(target, WM_KEYUP, virtual_key, 1);
  Status settled = Settle(kPatience);
  if (!Ended()) HoldKeys(false, false);
  return settled;
}

void Win32Driver::PressWithCtrl(char letter) {
  HoldKeys(false, true);
  const HWND focused = FocusedWindow();
  PostMessageW(focused, WM_KEYDOWN, static_cast<WPARAM>(letter), 1);
  PostMessageW(focused, WM_CHAR, static_cast<WPARAM>(letter - 'A' + 1), 1);
  PostMessageW(focused, WM_KEYUP, static_cast<WPARAM>(letter), 1);
  Settle(kPatience).Ignore();  // the test sees what came of it
  HoldKeys(false, false);
}

Status Win32Driver::CloseByFrame() {
  const HWND top = Top();
  if (top == nullptr) return Status(Code::kNotFound, "there is no window");
  const UINT state = GetMenuState(GetSystemMenu(top, FALSE), SC_CLOSE, MF_BYCOMMAND);
  const bool grayed = state != static_cast<UINT>(-1) && (state & (MF_GRAYED | MF_DISABLED)) != 0;
  if ((StyleOf(top) & WS_SYSMENU) == 0 || grayed || !IsWindowEnabled(top)) {
    return Status(Code::kUnavailable, TextOf(top) + " has no close button");
  }
  PostMessageW(top, WM_SYSCOMMAND, SC_CLOSE, 0);
  return Settle(kPatience);
}

Status Win32Driver::Enlarge(int columns, int lines) {
  const HWND top = Top();
  const Win32View* view = top == nullptr ? nullptr : ViewOf(top);
  if (view == nullptr || !IsWindowEnabled(top) || (StyleOf(top) & WS_THICKFRAME) == 0) {
    return Status(Code::kUnavailable, "there is no frame to drag");
  }
  RECT area{};
  GetWindowRect(top, &area);
  SetWindowPos(top, nullptr, 0, 0,
               static_cast<int>(area.right - area.left) + columns * view->fonts().average_width(),
               static_cast<int>(area.bottom - area.top) + lines * view->fonts().line_height(),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  return Settle(kPatience);
}

Status Win32Driver::PickFile(std::string_view path) {
  const HWND top = Top();
  if (top == nullptr || !IsBox(top) || !IsPicker(top)) {
    return Status(Code::kNotFound, "there is no file picker on top");
  }
  if (path.empty()) return Click("CmdCancel");
  HWND name = GetDlgItem(top, kPickerCombo);
  if (name == nullptr) name = GetDlgItem(top, kPickerEdit);
  SendMessageW(name, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(ModWide::FromUtf8(path).c_str()));
  return Click("CmdOk");
}

}  // namespace vespro
