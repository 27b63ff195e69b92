#include "forms/text_picture.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "base/lines.h"
#include "base/text.h"

namespace vespro {
namespace {

constexpr int kBoxColumns = 20;  // where nothing else is said
constexpr int kListLines = 5;

// UTF-8 characters; each takes one cell.
std::vector<std::string> Characters(std::string_view text) {
  std::vector<std::string> characters;
  for (const char c : text) {
    const bool continues = (static_cast<unsigned char>(c) & 0xC0) == 0x80;
    if (!continues || characters.empty()) characters.emplace_back();
    characters.back().push_back(c);
  }
  return characters;
}

int Width(std::string_view text) { return static_cast<int>(Characters(text).size()); }

std::string Repeat(int count, std::string_view what) {
  std::string text;
  for (int i = 0; i < count; ++i) text += what;
  return text;
}

// Exactly `width` cells: filled up, or cut with ".." at its end.
std::string Fit(std::string_view text, int width, std::string_view filler = " ") {
  const std::vector<std::string> characters = Characters(text);
  const auto wanted = static_cast<std::size_t>(std::max(width, 0));
  std::string fitted;
  if (characters.size() <= wanted) {
    fitted = text;
    return fitted + Repeat(width - static_cast<int>(characters.size()), filler);
  }
  const std::size_t kept = wanted < 2 ? wanted : wanted - 2;
  for (std::size_t i = 0; i < kept; ++i) fitted += characters[i];
  return fitted + (wanted < 2 ? "" : "..");
}

// The access key's letter is shown after a "_".
std::string WithAccessKey(std::string_view caption) {
  std::string shown;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&') {
      if (++i == caption.size()) break;
      if (caption[i] != '&') shown.push_back('_');
    }
    shown.push_back(caption[i]);
  }
  return shown;
}

std::string IconText(const Icon& icon) {
  if (icon.kind != Icon::Kind::kFileType) return icon.name;
  const std::size_t dot = icon.name.rfind('.');
  return dot == std::string::npos ? "file" : icon.name.substr(dot);
}

using Looks = std::function<const ControlLook&(const Control&)>;

const std::vector<ListView::Column>& ColumnsOf(const Control& control) {
  return static_cast<const ListView&>(control).view_columns();
}

int RowWidth(const Control& control) {
  if (control.kind() != ControlKind::kListView || ColumnsOf(control).empty()) {
    return control.columns() > 0 ? control.columns() : kBoxColumns;
  }
  int width = 0;
  for (const ListView::Column& column : ColumnsOf(control)) width += column.columns + 3;
  return std::max(width - 3, control.columns());
}

std::string RowText(const Control& control, const Row& row) {
  const std::string icon =
      row.icon.kind == Icon::Kind::kNone ? "" : "<" + IconText(row.icon) + "> ";
  if (control.kind() != ControlKind::kListView || ColumnsOf(control).empty()) {
    return icon + row.text;
  }
  std::string text;
  const std::vector<ListView::Column>& columns = ColumnsOf(control);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string cell = i == 0                     ? icon + row.text
                             : i - 1 < row.cells.size() ? row.cells[i - 1]
                                                        : std::string();
    text += (i == 0 ? "" : " | ") + Fit(cell, columns[i].columns);
  }
  return text;
}

Row TitleRow(const Control& control) {
  Row row;
  for (const ListView::Column& column : ColumnsOf(control)) {
    if (&column == &ColumnsOf(control).front()) {
      row.text = column.title;
    } else {
      row.cells.push_back(column.title);
    }
  }
  return row;
}

bool HasTitles(const Control& control) {
  return control.kind() == ControlKind::kListView && !ColumnsOf(control).empty();
}

// A control's picture, without the cell for its mark. All lines are of one length.
class Drawing {
 public:
  // `width` and `height` 0: as much as it needs.
  Drawing(const Control& control, const ControlLook& look, bool is_default, int width, int height)
      : control_(control), look_(look), is_default_(is_default), width_(width), height_(height) {
    switch (control.kind()) {
      case ControlKind::kLabel:
        DrawLabel();
        break;
      case ControlKind::kTextBox:
        DrawTextBox();
        break;
      case ControlKind::kButton:
        DrawButton();
        break;
      case ControlKind::kOptionButton:
        lines.push_back((look.checked ? "(o) " : "( ) ") + WithAccessKey(look.caption));
        break;
      case ControlKind::kCheckBox:
        lines.push_back((look.checked ? "[x] " : "[ ] ") + WithAccessKey(look.caption));
        break;
      case ControlKind::kComboBox:
        DrawComboBox();
        break;
      case ControlKind::kListBox:
      case ControlKind::kListView:
        DrawList();
        break;
      case ControlKind::kTabStrip:
        DrawTabs();
        break;
      case ControlKind::kImage:
        lines.push_back("(" + IconText(look.icon) + ")");
        break;
      case ControlKind::kFrame:
        break;  // drawn around what is in it
    }
  }

  std::vector<std::string> lines;

 private:
  void DrawLabel() {
    const int columns = control_.columns() > 0 ? std::max(control_.columns(), width_) : 0;
    lines = WrapText(WithAccessKey(look_.caption), columns);
    if (static_cast<const Label&>(control_).style() == Label::Style::kLink) {
      for (std::string& line : lines) line = "<" + line + ">";
    }
  }

  void DrawTextBox() {
    const auto& box = static_cast<const TextBox&>(control_);
    const char* filler = look_.background == Background::kSilver ? "." : "_";
    const int inner = width_ > 2 ? width_ - 2 : control_.columns() > 0 ? control_.columns() : 20;
    if (!box.multi_line()) {
      lines.push_back("[" + Fit(look_.text, inner, filler) + "]");
      return;
    }
    std::vector<std::string> text = WrapText(look_.text, inner);
    const int shown = height_ > 2 ? height_ - 2 : control_.lines() > 0 ? control_.lines() : 3;
    const bool cut = text.size() > static_cast<std::size_t>(shown);
    text.resize(static_cast<std::size_t>(shown));
    Boxed(text, inner, cut ? " more below " : "");
  }

  void DrawButton() {
    const std::string caption = WithAccessKey(look_.caption);
    const char* side = is_default_ ? "=" : " ";
    const int spare = std::max(0, width_ - Width(caption) - 4);
    lines.push_back("[" + std::string(side) + Repeat(spare / 2, " ") + caption +
                    Repeat(spare - spare / 2, " ") + side + "]");
  }

  void DrawComboBox() {
    const bool chosen =
        look_.selected >= 0 && static_cast<std::size_t>(look_.selected) < look_.rows.size();
    const std::string& text = chosen ? look_.rows[static_cast<std::size_t>(look_.selected)].text
                                     : static_cast<const ComboBox&>(control_).prompt();
    const int inner = width_ > 4 ? width_ - 4 : control_.columns() > 0 ? control_.columns() : 20;
    const char* filler = look_.background == Background::kSilver ? "." : "_";
    lines.push_back("[" + Fit(text, inner, filler) + " v]");
  }

  void DrawList() {
    const int inner = width_ > 2 ? width_ - 2 : RowWidth(control_) + 1;
    const int titles = HasTitles(control_) ? 2 : 0;
    const int wanted = control_.lines() > 0 ? control_.lines() : kListLines;
    const auto shown = static_cast<std::size_t>(height_ > 2 ? height_ - 2 - titles : wanted);
    std::vector<std::string> text;
    if (titles > 0) {
      text.push_back(" " + RowText(control_, TitleRow(control_)));
      text.push_back(Repeat(inner, "-"));
    }
    const std::size_t count = look_.rows.size();
    const auto selected = static_cast<std::size_t>(std::max(look_.selected, 0));
    // Scrolled as far as the selected row needs.
    const std::size_t first = selected < shown ? 0 : selected - shown + 1;
    for (std::size_t i = first; i < first + shown; ++i) {
      if (i >= count) {
        text.emplace_back();
        continue;
      }
      text.push_back((static_cast<int>(i) == look_.selected ? "*" : " ") +
                     RowText(control_, look_.rows[i]));
    }
    Boxed(text, inner, count > shown ? " " + std::to_string(count) + " rows " : "");
  }

  void DrawTabs() {
    std::string line;
    for (std::size_t i = 0; i < look_.rows.size(); ++i) {
      const bool chosen = static_cast<int>(i) == look_.selected;
      line += (chosen ? "[" : " ") + look_.rows[i].text + (chosen ? "]" : " ");
    }
    lines.push_back(std::move(line));
  }

  void Boxed(const std::vector<std::string>& text, int inner, const std::string& note) {
    lines.push_back("+" + Repeat(inner, "-") + "+");
    for (const std::string& line : text) lines.push_back("|" + Fit(line, inner) + "|");
    lines.push_back("+" + note + Repeat(inner - Width(note), "-") + "+");
  }

  const Control& control_;
  const ControlLook& look_;
  const bool is_default_;
  const int width_, height_;
};

// Cells: the first of every control is for its mark.
class TextMeasure final : public Measure {
 public:
  TextMeasure(const Form& form, const Looks& looks) : form_(form), looks_(looks) {}

  Size NaturalSize(const Control& control) const override {
    if (control.kind() == ControlKind::kFrame) {
      return {Width(looks_(control).caption) + 6, 0};
    }
    const Drawing drawing(control, looks_(control), &control == form_.default_button(), 0, 0);
    int width = 0;
    for (const std::string& line : drawing.lines) width = std::max(width, Width(line));
    return {width + 1, static_cast<int>(drawing.lines.size())};
  }
  Borders BordersOf(const Control& outer) const override {
    if (outer.kind() == ControlKind::kTabStrip) return {2, 2, 2, 1};
    if (outer.caption().empty()) return {};
    return {2, 1, 2, 1};
  }
  Size Gap() const override { return {1, 0}; }
  int IndentWidth() const override { return 4; }

 private:
  const Form& form_;
  const Looks& looks_;
};

class Canvas {
 public:
  explicit Canvas(const Size& size)
      : cells_(static_cast<std::size_t>(size.height),
               std::vector<std::string>(static_cast<std::size_t>(size.width), " ")) {}

  void Write(int x, int y, std::string_view text) {
    if (y < 0 || static_cast<std::size_t>(y) >= cells_.size()) return;
    std::vector<std::string>& line = cells_[static_cast<std::size_t>(y)];
    for (std::string& character : Characters(text)) {
      if (x >= 0 && static_cast<std::size_t>(x) < line.size()) {
        line[static_cast<std::size_t>(x)] = std::move(character);
      }
      ++x;
    }
  }

  std::string Text() const {
    std::string text;
    for (const std::vector<std::string>& line : cells_) {
      for (const std::string& cell : line) text += cell;
      text += '\n';
    }
    return text;
  }

 private:
  std::vector<std::vector<std::string>> cells_;
};

// A box around other controls, right of the cell for their mark.
void DrawBox(Canvas& canvas, const Rectangle& where, const std::string& title) {
  const int inner = where.width - 3;
  canvas.Write(where.x + 1, where.y, "+" + title + Repeat(inner - Width(title), "-") + "+");
  for (int y = 1; y < where.height - 1; ++y) {
    canvas.Write(where.x + 1, where.y + y, "|");
    canvas.Write(where.x + where.width - 1, where.y + y, "|");
  }
  canvas.Write(where.x + 1, where.y + where.height - 1, "+" + Repeat(inner, "-") + "+");
}

void DrawFrame(Canvas& canvas, const Rectangle& where, const ControlLook& look) {
  if (look.caption.empty()) return;
  canvas.Write(where.x, where.y, look.enabled ? " " : "~");
  const std::string caption = WithAccessKey(look.caption);
  DrawBox(canvas, where, "-" + Fit(caption, std::min(where.width - 4, Width(caption))));
}

}  // namespace

std::vector<std::string> WrapText(std::string_view text, int columns) {
  const auto limit = static_cast<std::size_t>(std::max(columns, 0));
  std::vector<std::string> lines;
  if (text.empty()) lines.emplace_back();
  for (std::string_view line; NextLine(text, line);) {
    std::vector<std::string> rest = Characters(line);
    while (limit > 0 && rest.size() > limit) {
      const auto begin = rest.begin();
      const auto end = begin + static_cast<std::ptrdiff_t>(limit) + 1;
      const auto blank = std::find(std::make_reverse_iterator(end),
                                   std::make_reverse_iterator(begin), std::string(" "));
      auto cut = blank == std::make_reverse_iterator(begin) ? end - 1 : blank.base() - 1;
      std::string piece;
      for (auto i = begin; i != cut; ++i) piece += *i;
      lines.emplace_back(ModText::Trim(piece));
      while (cut != rest.end() && *cut == " ") ++cut;
      rest.erase(begin, cut);
    }
    std::string piece;
    for (const std::string& character : rest) piece += character;
    lines.push_back(std::move(piece));
  }
  return lines;
}

std::string ShownText(const TextBox& box, std::string_view text) {
  return box.style() == TextBox::Style::kMasked ? Repeat(Width(text), "*") : std::string(text);
}

ControlLook LookOf(const Control& control, const Control* focus) {
  ControlLook look;
  look.visible = control.IsVisible();
  look.enabled = control.IsEnabled();
  look.focused = focus == &control;
  look.background = control.background();
  look.caption = control.caption();
  look.tooltip = control.tooltip();
  switch (control.kind()) {
    case ControlKind::kTextBox: {
      const auto& box = static_cast<const TextBox&>(control);
      look.text = ShownText(box, box.text());
      break;
    }
    case ControlKind::kOptionButton:
    case ControlKind::kCheckBox:
      look.checked = static_cast<const Choice&>(control).checked();
      break;
    case ControlKind::kComboBox:
    case ControlKind::kListBox:
    case ControlKind::kListView:
    case ControlKind::kTabStrip:
      look.rows = static_cast<const RowsControl&>(control).rows();
      look.selected = static_cast<const RowsControl&>(control).selected();
      break;
    case ControlKind::kImage:
      look.icon = static_cast<const Image&>(control).icon();
      break;
    case ControlKind::kLabel:
    case ControlKind::kButton:
    case ControlKind::kFrame:
      break;
  }
  return look;
}

std::string DrawForm(const Form& form, std::string_view caption, const Looks& look,
                     const Size& beyond) {
  assert(!form.controls().empty() && "only a loaded form can be drawn");
  const TextMeasure cells(form, look);
  const MeasureOnce measure(cells);
  const std::string close = form.closable() ? "[x]-+" : "+";
  const std::string title = "+- " + std::string(caption) + " ";
  Size inner = NaturalSize(form.layout(), measure);
  inner.width = std::max(inner.width, Width(title) + Width(close) - 1) + beyond.width;
  inner.height += beyond.height;
  Canvas canvas({inner.width + 3, inner.height + 2});
  canvas.Write(0, 0, title + Repeat(inner.width + 3 - Width(title) - Width(close), "-") + close);
  for (int y = 1; y <= inner.height; ++y) {
    canvas.Write(0, y, "|");
    canvas.Write(inner.width + 2, y, "|");
  }
  canvas.Write(0, inner.height + 1, "+" + Repeat(inner.width + 1, "-") + "+");
  for (const Placed& placed : Place(form.layout(), measure, {1, 1, inner.width, inner.height})) {
    const ControlLook& shown = look(*placed.control);
    if (!shown.visible) continue;
    const Rectangle& where = placed.where;
    if (placed.control->kind() == ControlKind::kFrame) {
      DrawFrame(canvas, where, shown);
      continue;
    }
    if (placed.control->kind() == ControlKind::kTabStrip) {
      DrawBox(canvas, {where.x, where.y + 1, where.width, where.height - 1}, "");
    }
    const Drawing drawing(*placed.control, shown, placed.control == form.default_button(),
                          where.width - 1, where.height);
    canvas.Write(where.x, where.y, shown.focused ? ">" : shown.enabled ? " " : "~");
    for (std::size_t i = 0; i < drawing.lines.size(); ++i) {
      canvas.Write(where.x + 1, where.y + static_cast<int>(i), drawing.lines[i]);
    }
  }
  return canvas.Text();
}

}  // namespace vespro
