// win32/win32_measure.h - what single controls need, in pixels at a window's resolution. Sizes
// follow Windows' guidelines for dialogs. One thread.
#pragma once

#include "forms/layout.h"
#include "win32/fonts.h"

namespace vespro {

class Win32Measure final : public Measure {
 public:
  // `fonts` must outlive it.
  explicit Win32Measure(const Fonts& fonts) : fonts_(fonts) {}

  Size NaturalSize(const Control& control) const override;
  Borders BordersOf(const Control& outer) const override;
  Size Gap() const override;
  int IndentWidth() const override;
  // Around the whole form.
  Size Margin() const;
  // Of one tab: how high it is, and the room left and right of its text.
  int TabHeight() const;
  int TabPadding() const;

 private:
  Size LabelSize(const Label& label) const;
  Size TextBoxSize(const TextBox& box) const;
  Size ButtonSize(const Button& button) const;
  Size ChoiceSize(const Control& control) const;
  Size ComboBoxSize(const ComboBox& combo) const;
  Size ListSize(const RowsControl& list) const;
  Size TabsSize(const TabStrip& tabs) const;
  Size ImageSize(const Image& image) const;

  int BoxHeight() const;
  int ColumnsWidth(const Control& control, int otherwise) const;
  Size Caption(const Control& control, int wrap_at = 0) const;

  const Fonts& fonts_;
};

}  // namespace vespro
