#include "forms/control.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "base/text.h"
#include "forms/form.h"

namespace vespro {

Control::Control(Form* form, std::string_view name, ControlKind kind, std::string_view caption)
    : form_(*form), name_(name), kind_(kind), caption_(caption) {
  ++form_.declared_;
}

void Control::Tell(Change change, std::size_t row) { form_.Tell(*this, change, row); }

void Control::set_caption(std::string_view caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Tell(Change::kCaption);
}

void Control::set_tooltip(std::string_view tooltip) {
  if (tooltip_ == tooltip) return;
  tooltip_ = tooltip;
  Tell(Change::kTooltip);
}

void Control::set_background(Background background) {
  if (background_ == background) return;
  background_ = background;
  Tell(Change::kBackground);
}

void Control::set_enabled(bool enabled) {
  if (enabled_ == enabled) return;
  enabled_ = enabled;
  Tell(Change::kEnabled);
}

void Control::set_visible(bool visible) {
  if (visible_ == visible) return;
  visible_ = visible;
  Tell(Change::kVisible);
}

void Control::set_size(int columns, int lines) {
  columns_ = columns;
  lines_ = lines;
}

bool Control::IsEnabled() const { return enabled_ && (parent_ == nullptr || parent_->IsEnabled()); }

bool Control::IsVisible() const { return visible_ && (parent_ == nullptr || parent_->IsVisible()); }

bool Control::IsInside(const Control& outer) const {
  return parent_ != nullptr && (parent_ == &outer || parent_->IsInside(outer));
}

void TextBox::set_text(std::string_view text) {
  if (text_ == text) return;
  text_ = text;
  Tell(Change::kText);
}

void Choice::Set(bool checked) {
  if (checked_ == checked) return;
  checked_ = checked;
  Tell(Change::kChecked);
}

void OptionButton::Choose() { form_.ChooseOption(*this); }

void RowsControl::AddRow(Row row) {
  rows_.push_back(std::move(row));
  Tell(Change::kRowInserted, rows_.size() - 1);
}

void RowsControl::RemoveRow(int index) {
  assert(index >= 0 && static_cast<std::size_t>(index) < rows_.size());
  rows_.erase(rows_.begin() + index);
  const int before = std::exchange(selected_, selected_ == index  ? -1
                                              : selected_ > index ? selected_ - 1
                                                                  : selected_);
  Tell(Change::kRowRemoved, static_cast<std::size_t>(index));
  if (before != selected_) Tell(Change::kSelection);
}

void RowsControl::Clear() {
  rows_.clear();
  selected_ = -1;
  Tell(Change::kRowsCleared);
}

int RowsControl::FindKey(std::string_view key) const {
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.key == key; });
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

void RowsControl::Select(int index) {
  assert(index >= -1 && index < static_cast<int>(rows_.size()));
  if (selected_ == index) return;
  selected_ = index;
  Tell(Change::kSelection);
}

void Image::set_icon(Icon icon) {
  if (icon_ == icon) return;
  icon_ = std::move(icon);
  Tell(Change::kIcon);
}

namespace ModCaption {

std::string Literal(std::string_view text) { return ModText::ReplaceAll(text, "&", "&&"); }

std::string Plain(std::string_view caption) {
  std::string plain;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&' && ++i == caption.size()) break;
    plain.push_back(caption[i]);
  }
  return plain;
}

char AccessKey(std::string_view caption) {
  for (std::size_t i = 0; i + 1 < caption.size(); ++i) {
    if (caption[i] != '&') continue;
    const char letter = caption[++i];
    if (letter != '&') return ModText::LowerAscii({&letter, 1}).front();
  }
  return 0;
}

}  // namespace ModCaption
}  // namespace vespro
