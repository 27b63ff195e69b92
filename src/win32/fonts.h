// win32/fonts.h - the fonts of one window and the sizes of texts in them, in pixels at the
// window's resolution. One thread.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

#include "forms/control.h"
#include "win32/owned.h"

namespace vespro {

class Fonts {
 public:
  explicit Fonts(UINT dpi);

  UINT dpi() const { return dpi_; }
  // The font that a control is written in.
  HFONT Of(const Control& control) const;
  HFONT text() const { return text_.get(); }

  int line_height() const { return line_height_; }
  // Of letters.
  int average_width() const { return average_width_; }
  // Dialog units, in which Windows' guidelines give sizes: a quarter of a letter's width and an
  // eighth of a line's height.
  int Across(int units) const { return MulDiv(units, average_width_, 4); }
  int Down(int units) const { return MulDiv(units, line_height_, 8); }

  // A text (UTF-8) of one or more lines; where `wrap_at` is not 0, broken at that width. With
  // `has_access_key`, "&" is not counted.
  SIZE Extent(HFONT font, std::string_view text, int wrap_at, bool has_access_key) const;
  // The width of the widest row's text; of tens of thousands, nearly.
  int Widest(const std::vector<Row>& rows) const;

 private:
  UINT dpi_;
  Owned<HFONT> text_;
  Owned<HFONT> heading_;
  Owned<HFONT> link_;
  int line_height_ = 0;
  int average_width_ = 0;
};

}  // namespace vespro
