#include "win32/win32_measure.h"

#include <algorithm>

#include "win32/resolution.h"

namespace vespro {
namespace {

constexpr int kBoxColumns = 20;  // where nothing else is said
constexpr int kListLines = 5;
constexpr int kBoxLines = 3;
constexpr int kPictureSize = 32;    // at 96 dots per inch, as all in pixels here
constexpr int kCheckSize = 13;      // the box of a check box
constexpr int kScrollAndEdge = 24;  // a list's scroll bar and edges

}  // namespace

Size Win32Measure::NaturalSize(const Control& control) const {
  switch (control.kind()) {
    case ControlKind::kLabel:
      return LabelSize(static_cast<const Label&>(control));
    case ControlKind::kTextBox:
      return TextBoxSize(static_cast<const TextBox&>(control));
    case ControlKind::kButton:
      return ButtonSize(static_cast<const Button&>(control));
    case ControlKind::kOptionButton:
    case ControlKind::kCheckBox:
      return ChoiceSize(control);
    case ControlKind::kComboBox:
      return ComboBoxSize(static_cast<const ComboBox&>(control));
    case ControlKind::kListBox:
    case ControlKind::kListView:
      return ListSize(static_cast<const RowsControl&>(control));
    case ControlKind::kTabStrip:
      return TabsSize(static_cast<const TabStrip&>(control));
    case ControlKind::kFrame:
      return {control.caption().empty() ? 0 : Caption(control).width + fonts_.Across(14), 0};
    case ControlKind::kImage:
      return ImageSize(static_cast<const Image&>(control));
  }
  return {};
}

Measure::Borders Win32Measure::BordersOf(const Control& outer) const {
  if (outer.kind() == ControlKind::kTabStrip) {
    return {fonts_.Across(7), TabHeight() + fonts_.Down(7), fonts_.Across(7), fonts_.Down(7)};
  }
  if (outer.caption().empty()) return {};
  return {fonts_.Across(7), fonts_.Down(11), fonts_.Across(7), fonts_.Down(7)};
}

Size Win32Measure::Gap() const { return {fonts_.Across(4), fonts_.Down(4)}; }

int Win32Measure::IndentWidth() const { return fonts_.Across(10); }

Size Win32Measure::Margin() const { return {fonts_.Across(7), fonts_.Down(7)}; }

Size Win32Measure::LabelSize(const Label& label) const {
  Size size = Caption(label, label.columns() * fonts_.average_width());
  // Wine draws large letters up to a thirtieth wider than it measures them.
  if (label.style() == Label::Style::kHeading) size.width += size.width / 30;
  // A link's focus is drawn around it.
  if (label.style() == Label::Style::kLink) size.width += fonts_.Across(2);
  return size;
}

Size Win32Measure::TextBoxSize(const TextBox& box) const {
  const int width = ColumnsWidth(box, kBoxColumns) + fonts_.Across(6);
  if (!box.multi_line()) return {width, BoxHeight()};
  const int lines = box.lines() > 0 ? box.lines() : kBoxLines;
  return {width + ModResolution::Scale(kScrollAndEdge, fonts_.dpi()),
          lines * fonts_.line_height() + fonts_.Down(6)};
}

Size Win32Measure::ButtonSize(const Button& button) const {
  const int content = Caption(button).width + fonts_.Across(10);
  const int wished =
      button.columns() > 0 ? button.columns() * fonts_.average_width() : fonts_.Across(50);
  return {std::max(content, wished), fonts_.Down(14)};
}

Size Win32Measure::ChoiceSize(const Control& control) const {
  const int box = ModResolution::Scale(kCheckSize, fonts_.dpi());
  const int before_text = box + fonts_.Across(6);
  const int wrap_at = control.columns() * fonts_.average_width();
  const Size text = Caption(control, wrap_at);
  return {before_text + text.width, std::max({fonts_.Down(10), box, text.height})};
}

Size Win32Measure::ComboBoxSize(const ComboBox& combo) const {
  const int prompt = fonts_.Extent(fonts_.text(), combo.prompt(), 0, false).cx;
  const int content =
      combo.columns() > 0
          ? combo.columns() * fonts_.average_width()
          : std::max({prompt, fonts_.Widest(combo.rows()), kBoxColumns * fonts_.average_width()});
  return {content + fonts_.Across(8) + ModResolution::Metric(SM_CXVSCROLL, fonts_.dpi()),
          BoxHeight()};
}

Size Win32Measure::ListSize(const RowsControl& list) const {
  const int lines = list.lines() > 0 ? list.lines() : kListLines;
  const int row = std::max(fonts_.line_height() + ModResolution::Scale(3, fonts_.dpi()),
                           ModResolution::Metric(SM_CYSMICON, fonts_.dpi()) + 1);
  int width = ColumnsWidth(list, kBoxColumns);
  int titles = 0;
  if (list.kind() == ControlKind::kListView) {
    const auto& columns = static_cast<const ListView&>(list).view_columns();
    if (!columns.empty()) titles = fonts_.Down(14);
    int all = 0;
    for (const ListView::Column& column : columns) {
      all += column.columns * fonts_.average_width() + fonts_.Across(6);
    }
    width = columns.empty() ? width : std::max(all, list.columns() * fonts_.average_width());
  }
  return {width + ModResolution::Scale(kScrollAndEdge, fonts_.dpi()),
          titles + lines * row + ModResolution::Scale(6, fonts_.dpi())};
}

Size Win32Measure::TabsSize(const TabStrip& tabs) const {
  int width = fonts_.Across(4);
  for (const Row& tab : tabs.rows()) {
    width +=
        fonts_.Extent(fonts_.text(), tab.text, 0, true).cx + 2 * TabPadding() + fonts_.Across(4);
  }
  return {width, TabHeight()};
}

int Win32Measure::TabHeight() const { return fonts_.Down(14); }

int Win32Measure::TabPadding() const { return fonts_.Across(5); }

Size Win32Measure::ImageSize(const Image& image) const {
  const int side = ModResolution::Scale(kPictureSize, fonts_.dpi());
  return {image.columns() > 0 ? image.columns() * fonts_.average_width() : side,
          image.lines() > 0 ? image.lines() * fonts_.line_height() : side};
}

// A native box writes its line at its top, so that more room would look lopsided.
int Win32Measure::BoxHeight() const { return fonts_.Down(13); }

int Win32Measure::ColumnsWidth(const Control& control, int otherwise) const {
  return (control.columns() > 0 ? control.columns() : otherwise) * fonts_.average_width();
}

Size Win32Measure::Caption(const Control& control, int wrap_at) const {
  const SIZE extent = fonts_.Extent(fonts_.Of(control), control.caption(), wrap_at, true);
  return {static_cast<int>(extent.cx) + 1, static_cast<int>(extent.cy)};
}

}  // namespace vespro
