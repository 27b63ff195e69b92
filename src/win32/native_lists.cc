// Controls with rows: drop-down lists, lists, lists with columns, and tabs.
#include "win32/native_control.h"

#include <commctrl.h>

#include <algorithm>
#include <map>

#include "base/win32/wide.h"
#include "win32/resolution.h"
#include "win32/win32_measure.h"

namespace vespro {
namespace {

constexpr int kOpenRows = 12;  // of a drop-down list

class NativeRows : public NativeControl {
 public:
  void Update(Change change, std::size_t row) override {
    switch (change) {
      case Change::kSelection:
        Select(rows_.selected());
        break;
      case Change::kRowInserted:
        Insert(row);
        break;
      case Change::kRowRemoved:
        Remove(row);
        break;
      case Change::kRowsCleared:
        Clear();
        break;
      default:
        NativeControl::Update(change, row);
    }
  }
  void TellSelection() override {
    if (!IsListOpen()) host_.Tell(UserAction::Select(control(), Selected()));
  }

 protected:
  NativeRows(NativeHost& host, RowsControl& rows) : NativeControl(host, rows), rows_(rows) {}

  virtual void Insert(std::size_t row) = 0;
  virtual void Remove(std::size_t row) = 0;
  virtual void Clear() = 0;
  virtual void Select(int row) = 0;
  virtual int Selected() const = 0;

  // After MakeWindow.
  void AddRows() {
    Send(WM_SETREDRAW, FALSE);
    for (std::size_t row = 0; row < rows_.rows().size(); ++row) Insert(row);
    Select(rows_.selected());
    Send(WM_SETREDRAW, TRUE);
  }
  // The native control has another row selected.
  void Moved() {
    if (host_.showing()) return;
    told_ = true;
    host_.TellLater(*this, NativeHost::Later::kSelection);
  }
  // A row was clicked; if another one, Moved has said so already.
  void Clicked() {
    if (!std::exchange(told_, false)) host_.TellLater(*this, NativeHost::Later::kSelection);
  }
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    if (message == WM_LBUTTONDOWN) told_ = false;
    return NativeControl::Handle(message, wparam, lparam);
  }
  const Row& RowAt(std::size_t row) const { return rows_.rows()[row]; }

  RowsControl& rows_;

 private:
  bool told_ = false;  // since the mouse button went down
};

class NativeComboBox final : public NativeRows {
 public:
  NativeComboBox(NativeHost& host, ComboBox& combo) : NativeRows(host, combo) {
    MakeWindow(WC_COMBOBOXW, CBS_DROPDOWNLIST | CBS_HASSTRINGS | WS_VSCROLL | WS_TABSTOP);
    draws_line_ = !SendText(CB_SETCUEBANNER, 0, combo.prompt());
    prompt_ = ModWide::FromUtf8(combo.prompt());
    AddRows();
  }

  // Its height is that of the list when open; closed, it is as high as its one line.
  void Place(const Rectangle& where) override {
    const auto line = static_cast<int>(Send(CB_GETITEMHEIGHT, static_cast<WPARAM>(-1)));
    RECT closed{};
    GetWindowRect(window(), &closed);
    const int around = static_cast<int>(closed.bottom - closed.top) - line;
    if (around > 0 && where.height > around) {
      Send(CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), where.height - around);
    }
    const int rows = std::clamp(static_cast<int>(rows_.rows().size()), 1, kOpenRows);
    Rectangle open = where;
    open.height += rows * static_cast<int>(Send(CB_GETITEMHEIGHT, 0)) + 2;
    NativeRows::Place(open);
  }
  void OnCommand(WORD code) override {
    switch (code) {
      case CBN_SELENDOK:
        Moved();
        break;
      case CBN_SELCHANGE:
        if (!IsListOpen()) Moved();
        break;
      case CBN_SELENDCANCEL:
        if (!pending(NativeHost::Later::kSelection)) Select(rows_.selected());
        break;
      case CBN_CLOSEUP:
        host_.TellLater(*this, NativeHost::Later::kFocus);
        break;
      default:
        break;
    }
  }
  bool IsListOpen() const override { return Send(CB_GETDROPPEDSTATE) != 0; }

 protected:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    const LRESULT result = NativeRows::Handle(message, wparam, lparam);
    if (message == WM_PAINT && draws_line_) DrawLine();
    return result;
  }

 private:
  // Drop-down lists of systems that know no prompts don't write in the middle of their line either.
  void DrawLine() const {
    COMBOBOXINFO info{};
    info.cbSize = sizeof(info);
    if (!GetComboBoxInfo(window(), &info)) return;
    const HDC dc = GetDC(window());
    const HGDIOBJ before = SelectObject(dc, host_.fonts().text());
    const bool enabled = IsWindowEnabled(window()) != FALSE;
    const bool marked = GetFocus() == window() && !IsListOpen();
    const int row = Selected();
    const auto behind = reinterpret_cast<HBRUSH>(
        SendMessageW(host_.window(), enabled ? WM_CTLCOLOREDIT : WM_CTLCOLORSTATIC,
                     reinterpret_cast<WPARAM>(dc), reinterpret_cast<LPARAM>(window())));
    FillRect(dc, &info.rcItem, marked ? GetSysColorBrush(COLOR_HIGHLIGHT) : behind);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, GetSysColor(marked                ? COLOR_HIGHLIGHTTEXT
                                 : enabled && row >= 0 ? COLOR_WINDOWTEXT
                                                       : COLOR_GRAYTEXT));
    const std::wstring text =
        row < 0 ? prompt_ : ModWide::FromUtf8(RowAt(static_cast<std::size_t>(row)).text);
    RECT line = info.rcItem;
    line.left += 2;
    DrawTextW(dc, text.c_str(), -1, &line,
              DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX | DT_END_ELLIPSIS);
    SelectObject(dc, before);
    ReleaseDC(window(), dc);
  }
  void Insert(std::size_t row) override { SendText(CB_INSERTSTRING, row, RowAt(row).text); }
  void Remove(std::size_t row) override { Send(CB_DELETESTRING, row); }
  void Clear() override { Send(CB_RESETCONTENT); }
  void Select(int row) override { Send(CB_SETCURSEL, static_cast<WPARAM>(row)); }
  int Selected() const override { return static_cast<int>(Send(CB_GETCURSEL)); }

  std::wstring prompt_;
  bool draws_line_ = false;
};

// Lists with and without columns. Asks for what it shows when it shows it, so that tens of
// thousands of rows cost nothing before.
class NativeListView final : public NativeRows {
 public:
  NativeListView(NativeHost& host, RowsControl& list, std::vector<ListView::Column> columns)
      : NativeRows(host, list), columns_(std::move(columns)) {
    const bool has_titles = !columns_.empty();
    MakeWindow(WC_LISTVIEWW,
               LVS_REPORT | LVS_OWNERDATA | LVS_SINGLESEL | LVS_SHOWSELALWAYS |
                   LVS_SHAREIMAGELISTS | WS_TABSTOP |
                   static_cast<DWORD>(has_titles ? LVS_NOSORTHEADER : LVS_NOCOLUMNHEADER),
               WS_EX_CLIENTEDGE);
    Send(LVM_SETEXTENDEDLISTVIEWSTYLE, 0,
         LVS_EX_FULLROWSELECT | LVS_EX_INFOTIP | LVS_EX_LABELTIP | LVS_EX_DOUBLEBUFFER);
    AddColumns();
    if (list.background() != Background::kDefault) ShowBackground();
    for (std::size_t row = 0; row < list.rows().size() && !images_; ++row) MakeRoomForIcon(row);
    ShowRows();
    Select(list.selected());
  }

  void UseFonts() override {
    NativeRows::UseFonts();
    Send(LVM_SETIMAGELIST, LVSIL_SMALL, 0);
    image_numbers_.clear();
    if (images_) MakeImages();  // of another size now
  }
  void Update(Change change, std::size_t row) override {
    NativeRows::Update(change, row);
    if (change == Change::kBackground) ShowBackground();
  }
  void ShowRows() override {
    Send(LVM_SETITEMCOUNT, rows_.rows().size(), LVSICF_NOSCROLL);
    if (width_ > 0 && (columns_.empty() || scrolls_ != Scrolls())) FitColumns();
  }
  LRESULT OnNotify(NMHDR& header) override {
    switch (header.code) {
      case static_cast<UINT>(LVN_ITEMCHANGED): {
        const auto& change = reinterpret_cast<const NMLISTVIEW&>(header);
        if ((change.uChanged & LVIF_STATE) != 0 &&
            ((change.uNewState ^ change.uOldState) & LVIS_SELECTED) != 0) {
          Moved();
        }
        break;
      }
      case static_cast<UINT>(NM_CLICK):
        if (reinterpret_cast<const NMITEMACTIVATE&>(header).iItem >= 0) Clicked();
        break;
      case static_cast<UINT>(LVN_GETINFOTIPW):
        SayTooltip(reinterpret_cast<NMLVGETINFOTIPW&>(header));
        break;
      case static_cast<UINT>(LVN_GETDISPINFOW):
        SayCell(reinterpret_cast<NMLVDISPINFOW&>(header).item);
        break;
      case static_cast<UINT>(LVN_ODFINDITEMW):
        return FindText(reinterpret_cast<const NMLVFINDITEMW&>(header));
      default:
        break;
    }
    return 0;
  }

 protected:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    const LRESULT result = NativeRows::Handle(message, wparam, lparam);
    if (message == WM_SIZE) {
      RECT area{};
      GetWindowRect(window(), &area);
      width_ = static_cast<int>(area.right - area.left);
      FitColumns();
    }
    return result;
  }

 private:
  UINT Dpi() const { return host_.fonts().dpi(); }
  std::size_t ColumnCount() const { return std::max<std::size_t>(columns_.size(), 1); }
  // Without columns it scrolls as far as its widest row.
  int ColumnWidth(std::size_t i) const {
    const int text = columns_.empty() ? host_.fonts().Widest(rows_.rows())
                                      : columns_[i].columns * host_.fonts().average_width();
    return text + host_.fonts().Across(6);
  }
  // The last column gets the room that the others leave.
  void FitColumns() {
    scrolls_ = Scrolls();
    const int scroll_bar = scrolls_ ? ModResolution::Metric(SM_CXVSCROLL, Dpi()) : 0;
    const int room = width_ - 2 * ModResolution::Metric(SM_CXEDGE, Dpi()) - scroll_bar;
    int used = 0;
    for (std::size_t i = 0; i < ColumnCount(); ++i) {
      const bool last = i + 1 == ColumnCount();
      const int width = last ? std::max(room - used, ColumnWidth(i)) : ColumnWidth(i);
      Send(LVM_SETCOLUMNWIDTH, i, width);
      used += width;
    }
  }
  bool Scrolls() const {
    return static_cast<LRESULT>(rows_.rows().size()) > Send(LVM_GETCOUNTPERPAGE);
  }
  void AddColumns() {
    for (std::size_t i = 0; i < ColumnCount(); ++i) {
      std::wstring title;
      if (!columns_.empty()) title = ModWide::FromUtf8(columns_[i].title);
      LVCOLUMNW column{};
      column.mask = LVCF_TEXT;
      column.pszText = title.data();
      Send(LVM_INSERTCOLUMNW, i, reinterpret_cast<LPARAM>(&column));
    }
  }
  void ShowBackground() {
    const bool silver = control().background() == Background::kSilver;
    const COLORREF color = silver ? RGB(192, 192, 192) : GetSysColor(COLOR_WINDOW);
    Send(LVM_SETBKCOLOR, 0, static_cast<LPARAM>(color));
    Send(LVM_SETTEXTBKCOLOR, 0, static_cast<LPARAM>(color));
  }

  void Insert(std::size_t row) override {
    if (!images_) MakeRoomForIcon(row);
    host_.TellLater(*this, NativeHost::Later::kRows);
  }
  // The native list keeps numbers, not rows: which are selected is said to it again.
  void Remove(std::size_t) override {
    ShowRows();
    Select(rows_.selected());
    InvalidateRect(window(), nullptr, TRUE);
  }
  void Clear() override { ShowRows(); }
  // A list in which no row has an icon keeps no room for one.
  void MakeRoomForIcon(std::size_t row) {
    if (RowAt(row).icon.kind != Icon::Kind::kNone) MakeImages();
  }
  void MakeImages() {
    const int size = ModResolution::Metric(SM_CXSMICON, Dpi());
    images_.Reset(ImageList_Create(size, size, ILC_COLOR32 | ILC_MASK, 4, 4));
    Send(LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(images_.get()));
  }
  int ImageNumber(const Icon& wanted) {
    const HICON icon = host_.icons().Find(wanted, ModResolution::Metric(SM_CXSMICON, Dpi()));
    if (icon == nullptr || !images_) return I_IMAGENONE;
    const auto [place, is_new] = image_numbers_.try_emplace(icon, 0);
    if (is_new) place->second = ImageList_ReplaceIcon(images_.get(), -1, icon);
    return place->second;
  }
  void SayCell(LVITEMW& asked) {
    const auto row = static_cast<std::size_t>(asked.iItem);
    if (asked.iItem < 0 || row >= rows_.rows().size()) return;
    if ((asked.mask & LVIF_TEXT) != 0 && asked.cchTextMax > 0) {
      lstrcpynW(asked.pszText, Cell(row, asked.iSubItem).c_str(), asked.cchTextMax);
    }
    if ((asked.mask & LVIF_IMAGE) != 0) {
      asked.iImage = asked.iSubItem == 0 ? ImageNumber(RowAt(row).icon) : I_IMAGENONE;
    }
  }
  std::wstring Cell(std::size_t row, int column) const {
    if (column <= 0) return ModWide::FromUtf8(RowAt(row).text);
    const std::vector<std::string>& cells = RowAt(row).cells;
    const auto index = static_cast<std::size_t>(column) - 1;
    return index < cells.size() ? ModWide::FromUtf8(cells[index]) : std::wstring();
  }
  // Letters typed into the list: the next row that begins with them, round the list.
  LRESULT FindText(const NMLVFINDITEMW& asked) const {
    const std::size_t count = rows_.rows().size();
    if ((asked.lvfi.flags & (LVFI_STRING | LVFI_PARTIAL)) == 0) return -1;
    const auto first = static_cast<std::size_t>(std::max(asked.iStart, 0));
    const int length = lstrlenW(asked.lvfi.psz);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t row = (first + i) % count;
      const std::wstring text = Cell(row, 0);
      if (static_cast<int>(text.size()) < length) continue;
      if (CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, text.c_str(), length, asked.lvfi.psz,
                         length) == CSTR_EQUAL) {
        return static_cast<LRESULT>(row);
      }
    }
    return -1;
  }
  void Select(int row) override {
    if (pending(NativeHost::Later::kRows)) ShowRows();
    LVITEMW item{};
    item.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    Send(LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&item));
    if (row < 0) return;
    item.state = item.stateMask;
    Send(LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    Send(LVM_ENSUREVISIBLE, static_cast<WPARAM>(row), FALSE);
  }
  int Selected() const override {
    return static_cast<int>(Send(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
  }
  void SayTooltip(NMLVGETINFOTIPW& asked) const {
    const auto row = static_cast<std::size_t>(asked.iItem);
    if (asked.iItem < 0 || row >= rows_.rows().size() || asked.cchTextMax <= 0) return;
    const std::wstring text = ModWide::FromUtf8(RowAt(row).tooltip);
    if (text.empty()) return;
    lstrcpynW(asked.pszText, text.c_str(), asked.cchTextMax);
  }

  const std::vector<ListView::Column> columns_;
  Owned<HIMAGELIST> images_;
  std::map<HICON, int> image_numbers_;
  int width_ = 0;         // in pixels; 0 before it has a place
  bool scrolls_ = false;  // it has more rows than room
};

class NativeTabs final : public NativeRows {
 public:
  NativeTabs(NativeHost& host, TabStrip& tabs) : NativeRows(host, tabs) {
    // It paints around its pages' controls, which lie upon it.
    MakeWindow(WC_TABCONTROLW, TCS_TABS | WS_TABSTOP | WS_CLIPSIBLINGS);
    AddRows();
  }
  void UseFonts() override {
    NativeRows::UseFonts();
    const Win32Measure measure(host_.fonts());
    Send(TCM_SETPADDING, 0, MAKELPARAM(measure.TabPadding(), host_.fonts().Down(2)));
    Send(TCM_SETITEMSIZE, 0, MAKELPARAM(0, measure.TabHeight()));
  }
  // Themes draw pages in colours and shades of their own: a picture of the whole serves as brush.
  HBRUSH Body() override {
    RECT area{};
    GetClientRect(window(), &area);
    if (body_ || drawing_ || IsRectEmpty(&area)) return body_.get();
    drawing_ = true;  // the tabs in turn ask for what is behind them
    const HDC screen = GetDC(nullptr);
    const Owned<HBITMAP> picture(CreateCompatibleBitmap(screen, area.right, area.bottom));
    {
      const Owned<HDC> dc(CreateCompatibleDC(screen));
      const HGDIOBJ before = SelectObject(dc.get(), picture.get());
      FillRect(dc.get(), &area, GetSysColorBrush(COLOR_3DFACE));
      Native(WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc.get()), PRF_CLIENT | PRF_ERASEBKGND);
      SelectObject(dc.get(), before);
    }
    ReleaseDC(nullptr, screen);
    body_.Reset(CreatePatternBrush(picture.get()));
    drawing_ = false;
    return body_.get();
  }
  LRESULT OnNotify(NMHDR& header) override {
    if (header.code == static_cast<UINT>(TCN_SELCHANGE)) Moved();
    if (header.code == static_cast<UINT>(NM_CLICK)) Clicked();
    return 0;
  }

 private:
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) override {
    if (message == WM_SIZE || message == WM_THEMECHANGED || message == WM_SYSCOLORCHANGE) {
      body_.Reset();
    }
    return NativeRows::Handle(message, wparam, lparam);
  }
  void Insert(std::size_t row) override {
    std::wstring text = ModWide::FromUtf8(RowAt(row).text);
    TCITEMW item{};
    item.mask = TCIF_TEXT;
    item.pszText = text.data();
    Send(TCM_INSERTITEMW, row, reinterpret_cast<LPARAM>(&item));
  }
  void Remove(std::size_t row) override { Send(TCM_DELETEITEM, row); }
  void Clear() override { Send(TCM_DELETEALLITEMS); }
  void Select(int row) override { Send(TCM_SETCURSEL, static_cast<WPARAM>(row)); }
  int Selected() const override { return static_cast<int>(Send(TCM_GETCURSEL)); }

  Owned<HBRUSH> body_;
  bool drawing_ = false;
};

}  // namespace

std::unique_ptr<NativeControl> MakeList(NativeHost& host, Control& control) {
  switch (control.kind()) {
    case ControlKind::kComboBox:
      return std::make_unique<NativeComboBox>(host, static_cast<ComboBox&>(control));
    case ControlKind::kListBox:
      return std::make_unique<NativeListView>(host, static_cast<ListBox&>(control),
                                              std::vector<ListView::Column>());
    case ControlKind::kListView: {
      auto& list = static_cast<ListView&>(control);
      return std::make_unique<NativeListView>(host, list, list.view_columns());
    }
    default:
      return std::make_unique<NativeTabs>(host, static_cast<TabStrip&>(control));
  }
}

}  // namespace vespro
